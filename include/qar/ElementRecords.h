#pragma once

#include <memory>
#include <string>

#include "qar/DeviceRecords.h"
#include "qar/Export.h"

namespace qar {

/// How a remote site itself sees an element.
struct QARCOMMON_API SSiteElementInfo {
    SSiteElementInfo();
    SSiteElementInfo(const SSiteElementInfo& other);
    SSiteElementInfo(SSiteElementInfo&& other);
    SSiteElementInfo& operator=(const SSiteElementInfo& other);
    SSiteElementInfo& operator=(SSiteElementInfo&& other);
    ~SSiteElementInfo();

    int n_remote_site_id;                           ///< the remote site
    int n_id_in_remote_site;                        ///< element id there
    std::shared_ptr<SChannelBaseInfo> ptr_channel;  ///< the channel, its id as that site knows it
    std::shared_ptr<SDeviceDetailInfo> ptr_device;  ///< the device, its id as that site knows it
    void* reserved;                                 ///< the library's own; copied as it is
};

/// One element, the platform's resource on top of a channel.
struct QARCOMMON_API SElementBaseInfo {
    SElementBaseInfo();
    SElementBaseInfo(const SElementBaseInfo& other);
    SElementBaseInfo& operator=(const SElementBaseInfo& other);
    ~SElementBaseInfo();

    /// @return -1 when not set
    int GetDeviceCategory() const;
    void SetDeviceCategory(int n_device_category);
    /// Does not change the record, although not const: the operation is exported so.
    std::string GetOnlineIdentificationGUID();
    void SetOnlineIdentificationGUID(const std::string& str_guid);

    int n_element_id;                                    ///< element id
    std::string str_element_guid;                        ///< GUID
    std::string str_element_name;                        ///< name
    int n_area_id;                                       ///< area that holds the element
    std::string str_area_name;                           ///< name of that area
    int n_element_type;                                  ///< 1001 is a camera
    int n_physical_id;                                   ///< id of the channel behind the element
    int n_device_id;                                     ///< id of the device behind the element
    int n_site_id;                                       ///< 0 for a local element, else the remote site
    bool b_online;                                       ///< whether the element is online
    long long n_create_time;                             ///< seconds since 1970 UTC; -1 for an element of a remote site
    std::shared_ptr<SChannelBaseInfo> ptr_channel;       ///< set when the caller asked for detail
    std::shared_ptr<SDeviceBaseInfo> ptr_device;         ///< set when the caller asked for detail
    std::shared_ptr<SSiteElementInfo> ptr_site_element;  ///< set for an element of a remote site

private:
    struct Ext;
    Ext* ext;
};

}  // namespace qar
