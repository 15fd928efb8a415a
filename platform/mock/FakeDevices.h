#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ZELPlatform/Resources.h"
#include "mock/PlatformCalls.h"
#include "tuk/Channel.h"
#include "tuk/Device.h"
#include "tuk/Feature.h"

namespace qarmock {

constexpr int kDeviceType = 2001;
constexpr int kCameraType = 1001;

// Objects whose public fields are what their operations answer. Change the plain fields only while nobody reads them;
// the atomic ones at any time.

class FakeVideoFeature : public tuk::CVideoFeature {
public:
    std::string url_format;

    void GetUrlFormat(std::string& format) const override { format = url_format; }
};

class FakeDevice : public tuk::CDevice {
public:
    int id = 0;
    int type = kDeviceType;
    std::string guid;
    std::string text_a;
    std::string text_b;
    std::string text_c;
    std::string text_d;
    std::string text_e;
    unsigned short port = 0;
    unsigned short alternate_port = 0;
    int login_mode = 0;
    int sub_category = 0;
    std::string firmware_version;
    long long time_value = 0;
    std::string online_identification_guid;
    std::string stream_key;
    std::atomic<bool> online{true};
    std::atomic<bool> guard{true};
    std::map<int, std::shared_ptr<tuk::CFeature>> features;  ///< by kind
    std::vector<std::shared_ptr<tuk::CChannel>> channels;    ///< what GetChannels gives, by their own types

    std::shared_ptr<tuk::CFeature> GetFeature(int kind) const override;
    int GetLoginMode() const override { return login_mode; }
    int GetType() const override { return type; }
    std::string GetTextC() const override { return text_c; }
    unsigned short GetPort() const override { return port; }
    std::string GetTextD() const override { return text_d; }
    std::string GetTextE() const override { return text_e; }
    std::string GetGuid() const override { return guid; }
    int GetID() const override { return id; }
    std::string GetTextB() const override { return text_b; }
    std::string GetTextA() const override { return text_a; }
    unsigned short GetAlternatePort() const override { return alternate_port; }
    bool IsOnline() const override { return !CallFails("IDevice::IsOnline") && online; }
    bool GetGuardStatus() const override { return !CallFails("IDevice::GetGuardStatus") && guard; }
    int GetSubCategory() const override { return sub_category; }
    void GetChannels(std::vector<std::shared_ptr<tuk::CChannel>>& found, int channel_type) const override;
    std::shared_ptr<tuk::CChannel> FindChannelByID(int channel_id, int channel_type) const override;
    std::shared_ptr<tuk::CChannel> FindChannelByNo(int no, int channel_type) const override;
    std::string GetFirmwareVersion() const override { return firmware_version; }
    long long GetTimeValue() const override { return time_value; }
    std::string GetOnlineIdentificationGUID() const override { return online_identification_guid; }
    std::string GetStreamKey() const override { return stream_key; }
};

/// The fields of a channel, for a channel that is no camera and for one that is.
template <class Base>
class FakeChannelOf : public Base {
public:
    int id = 0;
    int type = kCameraType;
    std::string guid;
    int no = 0;
    int device_id = 0;
    std::string device_guid;
    std::atomic<bool> online{true};
    std::weak_ptr<tuk::IDevice> device;

    int GetID() const override { return id; }
    int GetType() const override { return type; }
    std::string GetGuid() const override { return guid; }
    int GetNo() const override { return no; }
    int GetDeviceID() const override { return device_id; }
    std::string GetDeviceGuid() const override { return device_guid; }
    bool IsOnline() const override { return !CallFails("CChannel::IsOnline") && online; }
    std::shared_ptr<tuk::IDevice> GetDevicePtr() const override {
        return CallFails("CChannel::GetDevicePtr") ? nullptr : device.lock();
    }
};

class FakeChannel : public FakeChannelOf<tuk::CChannel> {};

class FakeCamera : public FakeChannelOf<tuk::CCamera> {
public:
    int trapi_camera_no = 0;
    unsigned char multi_stream_proto = 0;

    int GetTRAPICameraNo() const override { return trapi_camera_no; }
    unsigned char GetMultiStreamProto() const override { return multi_stream_proto; }
};

class FakeElement : public ZELPlatform::Resources::CElementInterface {
public:
    unsigned int id = 0;
    std::string guid;
    std::string name;
    unsigned int area_id = 0;
    std::string area_name;
    int type = kCameraType;
    unsigned int physical_id = 0;
    unsigned int device_id = 0;
    std::atomic<bool> online{true};
    long long create_time = 0;
    int device_type = kDeviceType;
    std::string online_identification_guid;

    unsigned int GetID() const override { return id; }
    std::string GetGuid() const override { return guid; }
    std::string GetName() const override { return name; }
    unsigned int GetAreaID() const override { return area_id; }
    std::string GetAreaName() const override { return area_name; }
    int GetType() const override { return type; }
    unsigned int GetPhysicalID() const override { return physical_id; }
    unsigned int GetDeviceID() const override { return device_id; }
    bool IsOnline() const override { return online; }
    long long GetCreateTime() const override { return create_time; }
    int GetDeviceType() const override { return device_type; }
    std::string GetOnlineIdentificationGUID() const override { return online_identification_guid; }
};

}  // namespace qarmock
