#pragma once

#include <string>

#include "qar/Export.h"

namespace qar {

// Records are values: plain fields that plug-ins are compiled against, and last one pointer that is the library's own.
// The public layout is frozen; a record grows behind that pointer only. Strings hold UTF-8. An integer of -1 is not
// set. Threads: a record has no lock; whoever fills it owns it until it is handed on.

/// One device.
struct QARCOMMON_API SDeviceBaseInfo {
    SDeviceBaseInfo();
    SDeviceBaseInfo(const SDeviceBaseInfo& other);
    SDeviceBaseInfo& operator=(const SDeviceBaseInfo& other);
    ~SDeviceBaseInfo();

    bool GetGuardStatus() const;
    void SetGuardStatus(bool b_guard_status);
    /// @return -1 when not set
    int GetSubCategory() const;
    void SetSubCategory(int n_sub_category);
    /// Does not change the record, although not const: the operation is exported so.
    std::string GetOnlineIdentificationGUID();
    void SetOnlineIdentificationGUID(const std::string& str_guid);

    int n_device_type;              ///< type as the device reports it; GetAllDevices stores the type it was asked for
    int n_device_id;                ///< unique within the type
    std::string str_device_guid;    ///< GUID
    std::string str_device_text_a;  ///< first text attribute of the device; empty for a device of a remote site
    std::string str_device_text_b;  ///< second text attribute; likewise
    std::string str_device_text_c;  ///< third text attribute; likewise
    unsigned int n_device_port;     ///< 0 to 65535; 0 for a device of a remote site
    bool b_device_flag;             ///< whether the device is online
    long long n_device_time;        ///< a time value of the device

private:
    struct Ext;
    Ext* ext;
};

/// A device with the attributes that only the look-up of one device returns.
struct QARCOMMON_API SDeviceDetailInfo : SDeviceBaseInfo {
    SDeviceDetailInfo();
    SDeviceDetailInfo(const SDeviceDetailInfo& other);
    SDeviceDetailInfo(SDeviceDetailInfo&& other);
    SDeviceDetailInfo& operator=(const SDeviceDetailInfo& other);
    SDeviceDetailInfo& operator=(SDeviceDetailInfo&& other);
    ~SDeviceDetailInfo();

    std::string str_device_text_d;     ///< further text attribute; empty for a device of a remote site
    std::string str_device_text_e;     ///< further text attribute; likewise
    int n_login_mode;                  ///< login mode
    std::string str_firmware_version;  ///< firmware version
    std::string str_stream_key;        ///< stream key
    std::string str_url_format;        ///< format of the stream URLs; empty for a device without the video feature
    void* reserved;                    ///< the library's own; copied as it is
};

/// One channel of a device.
struct QARCOMMON_API SChannelBaseInfo {
    SChannelBaseInfo();
    SChannelBaseInfo(const SChannelBaseInfo& other);
    /// Copies all fields but n_channel_spare, which the target keeps. The stream protocol is copied as
    /// GetMultiStreamProto() gives it, so a copy can know more than its source, at the price of one look-up for each
    /// copy of a record that does not know it: hand channels on by std::shared_ptr.
    SChannelBaseInfo& operator=(const SChannelBaseInfo& other);
    ~SChannelBaseInfo();

    /// @return the value that was set; while none is, what the device layer says of the camera at this moment, -1 when
    ///         the channel is unknown or no camera. The answer is not stored. Threads: any.
    int GetMultiStreamProto() const;
    void SetMultiStreamProto(int n_multi_stream_proto);
    /// Does not change the record, although not const: the operation is exported so. The same holds for the next
    /// getter.
    std::string GetRelatedChannelIP();
    void SetRelatedChannelIP(const std::string& str_ip);
    std::string GetRelatedChannelIPFileterInvaild();
    void SetRelatedChannelIPFileterInvaild(const std::string& str_ip);

    int n_channel_type;            ///< 1001 is a camera
    int n_channel_id;              ///< unique within the type
    std::string str_channel_guid;  ///< GUID
    int n_channel_no;              ///< number on the device
    int n_trapi_camera_no;         ///< for a camera its number on the TRAPI interface; otherwise n_channel_no again
    int n_channel_spare;           ///< never filled and never copied by the library
    bool b_channel_flag;           ///< whether the channel is online
    int n_device_id;               ///< id of the owning device; -1 when that is gone
    int n_device_type;             ///< type of the owning device; -1 when that is gone

private:
    struct Ext;
    Ext* ext;
};

}  // namespace qar
