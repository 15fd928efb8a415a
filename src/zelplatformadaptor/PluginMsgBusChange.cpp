#include "zelplatformadaptor/PluginMsgBusChange.h"

#include <utility>
#include <vector>

#include "DepotModule/StorageManagerObserverParam.h"
#include "PersonCredential/PersonObserver.h"
#include "ZELPlatform/Resources.h"
#include "internal/Log.h"
#include "internal/Topics.h"
#include "ortmodule_interface/MgrState.h"
#include "qarutil/RapidJsonProto.h"
#include "relaymodule/SMSManagerObserverParam.h"
#include "tuk/DeviceAccessObserverParam.h"
#include "zelplatformadaptor/BusMsgBlock.h"

namespace qar {

namespace {

constexpr int kResourceCamera = 1001;
constexpr int kResourceArea = 1010;
constexpr int kResourceStorageServer = 3001;
constexpr int kResourceStreamServer = 3002;
constexpr int kResourcePerson = 4000;
constexpr int kResourceRemoteSite = 11001;

constexpr int kAreaManagerElementChange = 8;

}  // namespace

CPluginMsgBusChange::CPluginMsgBusChange(const std::string& observer, int change_type,
                                         std::shared_ptr<ZELPlatform::CBaseContent> content)
    : ptr_content(std::move(content)),
      str_observer(observer),
      n_change_type(change_type),
      n_resource_type(-1),
      n_resource_id(-1),
      p_data(nullptr),
      n_data_size(0) {
    if (ptr_content == nullptr) return;
    const internal::BusMsgBlock block = internal::ContentBlock(*ptr_content);
    p_data = block.p_data;
    n_data_size = block.n_data_size;
    if (auto* observer_content = dynamic_cast<ZELPlatform::CObserverBaseContent*>(ptr_content.get())) {
        n_change_type = observer_content->ObserverMsgType();
    }
    if (ReadTopicParam()) return;
    QAR_LOG(internal::kLogDebug, internal::kModuleCommon, "[%s]CPluginMsgBusChange JsonTxt:[%s][%s(%d)]",
            GetJsonTxt().c_str());
    ReadJson();
}

int CPluginMsgBusChange::Type() const { return n_change_type; }
int CPluginMsgBusChange::SourceType() const { return n_resource_type; }
unsigned int CPluginMsgBusChange::SourceID() const { return static_cast<unsigned int>(n_resource_id); }
const char* CPluginMsgBusChange::Data() const { return p_data; }
unsigned int CPluginMsgBusChange::DataSize() const { return n_data_size; }
bool CPluginMsgBusChange::BinaryData() const { return internal::ContentIsBinary(ptr_content); }
std::string CPluginMsgBusChange::GetJsonTxt() const { return internal::BlockText(p_data, n_data_size); }
const char* CPluginMsgBusChange::GetBinaryData() const { return internal::BlockBinary(p_data, n_data_size); }

/// Reads the resource from the topic's parameter class; a content of another class leaves it unknown.
/// @return false for a topic that has no parameter class
bool CPluginMsgBusChange::ReadTopicParam() {
    auto* content = ptr_content.get();
    if (str_observer == internal::kTopicArea) {
        if (const auto* param = dynamic_cast<ZELPlatform::Resources::CAreaObserverParam*>(content)) {
            n_resource_id = param->GetValElementID();
            n_resource_type = param->GetValElementType();
        }
    } else if (str_observer == internal::kTopicDeviceAccess) {
        if (const auto* param = dynamic_cast<tuk::CDeviceAccessObserverParam*>(content)) {
            n_resource_id = param->GetVal_id();
            n_resource_type = param->GetVal_resource_type();
        }
    } else if (str_observer == internal::kTopicAreaManager) {
        if (const auto* param = dynamic_cast<ZELPlatform::Resources::CAreaManagerObserverParam*>(content)) {
            const bool element = n_change_type == kAreaManagerElementChange;
            n_resource_id = element ? param->GetValElementID() : param->GetValAreaID();
            n_resource_type = element ? param->GetValElementType() : kResourceArea;
        }
    } else if (str_observer == internal::kTopicStorageServerManager) {
        if (const auto* param = dynamic_cast<DepotModule::CStorageManagerObserverParam*>(content)) {
            n_resource_id = param->GetStorageId();
            n_resource_type = kResourceStorageServer;
        }
    } else if (str_observer == internal::kTopicSmsManager) {
        if (const auto* param = dynamic_cast<relaymodule::CSMSManagerObserverParam*>(content)) {
            n_resource_id = param->GetSMSId();
            n_resource_type = kResourceStreamServer;
        }
    } else if (str_observer == internal::kTopicElementSiteObserver) {
        if (const auto* param = dynamic_cast<ortmodule_interface::CElementMgrState*>(content)) {
            n_resource_id = param->GetValelementId();
            n_resource_type = kResourceCamera;
        }
    } else if (str_observer == internal::kTopicSiteObserver) {
        if (const auto* param = dynamic_cast<ortmodule_interface::CRemoteSiteMgrState*>(content)) {
            n_resource_id = param->GetValsiteId();
            n_resource_type = kResourceRemoteSite;
        }
    } else if (str_observer == internal::kTopicAreaObserver) {
        if (const auto* param = dynamic_cast<ortmodule_interface::CAreaMgrState*>(content)) {
            n_resource_id = param->GetValareaId();
            n_resource_type = kResourceArea;
        }
    } else if (str_observer == internal::kTopicPersonModule) {
        ReadPersonChange();
    } else if (str_observer == internal::kTopicPersonAdditionalInfo) {
        ReadPersonAdditionalInfo();
    } else {
        return false;
    }
    return true;
}

void CPluginMsgBusChange::ReadPersonChange() {
    auto* observer = dynamic_cast<PersonCredential::IPersonModuleObserver*>(ptr_content.get());
    if (observer == nullptr) return;
    const auto change = observer->GetChange();
    if (change == nullptr) return;
    const auto person = change->GetPerson();
    if (person == nullptr) return;
    n_resource_id = person->GetPersonID();
    n_resource_type = kResourcePerson;
    n_change_type = change->GetChangeType();
}

void CPluginMsgBusChange::ReadPersonAdditionalInfo() {
    auto* observer = dynamic_cast<PersonCredential::IPersonAdditionalTypeInfoObserver*>(ptr_content.get());
    if (observer == nullptr) return;
    std::vector<std::shared_ptr<PersonCredential::IPersonAdditionalTypeInfoChange>> changes;
    observer->GetChanges(changes);
    for (const auto& change : changes) {
        const auto new_value = change->GetNewValue();
        if (new_value == nullptr || new_value->GetType() != 0) continue;
        // The first record of the kind decides, also when nothing of it has changed.
        const auto old_value = change->GetOldValue();
        const bool same =
            old_value != nullptr && old_value->GetType() == 0 && old_value->GetValue() == new_value->GetValue();
        if (same) return;
        n_resource_id = new_value->GetID();
        n_resource_type = new_value->GetType();
        n_change_type = change->GetChangeType();
        return;
    }
}

/// A member that is missing makes its field -1, also the type that the content told before.
void CPluginMsgBusChange::ReadJson() {
    const std::string block = p_data != nullptr ? std::string(p_data, n_data_size) : std::string();
    if (block.empty()) return;
    CRapidJsonProto json;
    if (!json.set_str(block)) return;
    n_change_type = json.get_int_v("/ChangeType", -1);
    n_resource_id = json.get_int_v("/ResourceID", -1);
    n_resource_type = json.get_int_v("/ResourceType", -1);
}

}  // namespace qar
