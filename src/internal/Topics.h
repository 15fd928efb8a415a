#pragma once

#include <string>

namespace qar::internal {

// Topics of the bus's observers, compared as strings.
inline const std::string kTopicDeviceAccess = "TUK_DeviceAccess";
inline const std::string kTopicAreaManager = "LogicResource_AreaManager";
inline const std::string kTopicArea = "LogicResource_Area";
inline const std::string kTopicStorageServerManager = "LEN_StorageServerManager";
inline const std::string kTopicSmsManager = "LEN_SMSManager";
inline const std::string kTopicSiteObserver = "ORT_SiteObserver";
inline const std::string kTopicElementSiteObserver = "ORT_ElementSiteObserver";
inline const std::string kTopicAreaSiteObserver = "ORT_AreaSiteObserver";
inline const std::string kTopicAreaObserver = "ORT_AreaObserver";
inline const std::string kTopicRemoteEventMsg = "ORT_EventMsg";
inline const std::string kTopicSiteGroupObserver = "ORT_SiteGroupObserver";
inline const std::string kTopicPersonModule = "PersonCredential_PersonModuleMgr";
inline const std::string kTopicPersonAdditionalInfo = "PersonCredential_PersonAdditionalInfoMgr";
inline const std::string kTopicLocalConfig = "Config_LocalConfigManager";

// Ids under which the library itself subscribes.
inline const std::string kSubscriberStateHistory = "qarcommon.s";
inline const std::string kSubscriberDbManager = "qarcommon";

}  // namespace qar::internal
