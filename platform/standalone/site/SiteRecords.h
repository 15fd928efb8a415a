#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ZELPlatform/BusTypes.h"

namespace qarplatform {

/// What a site consists of, as the site file tells it and the store keeps it.
struct ZoneRecord {
    std::string name;
    std::string display_name;
    int bias = 0;  ///< minutes; local + bias = UTC
    bool has_daylight = false;
    bool daylight_enable = false;
    std::string daylight_date;
    std::string standard_date;
    int daylight_bias = 0;
};

struct AreaRecord {
    int id = 0;
    std::string name;
    int parent = 0;  ///< 0: the root
};

struct DeviceRecord {
    int id = 0;
    int type = 2001;
    std::string guid;
    std::string name;
    std::string probe;    ///< tcp://, http:// or rtsp:// address
    std::string archive;  ///< URL of the device's own storage; may be empty
    std::string zone;     ///< name of a zone; empty: UTC
    bool guard = true;
};

struct ChannelRecord {
    int id = 0;
    int type = 1001;
    std::string guid;
    int device = 0;
    int no = 0;
};

struct ElementRecord {
    int id = 0;
    std::string guid;
    std::string name;
    int channel = 0;
    int area = 0;
    int64_t create_time = 0;  ///< seconds since 1970 UTC
};

struct PluginRecord {
    std::string id;
    std::string path;
    std::string config_json;  ///< an object
};

/// The role whose users may do everything.
constexpr const char* kAdministratorRole = "Administrator";

struct RoleRecord {
    std::string name;
    std::vector<int> permissions;
};

/// Longest name of a user in bytes.
constexpr std::size_t kLongestUserName = 128;

struct UserRecord {
    int id = 0;
    std::string name;
    std::vector<std::string> roles;  ///< names
    int person = 0;                  ///< of a person account; 0: a user account
    bool has_password = false;       ///< as the store knows; a site file tells none
};

struct Site {
    ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype access_type =
        ZELPlatform::InterfaceCommonData::AccesstypeInfo::kAccessHttp;
    std::vector<ZoneRecord> zones;
    std::vector<AreaRecord> areas;
    std::vector<DeviceRecord> devices;
    std::vector<ChannelRecord> channels;
    std::vector<ElementRecord> elements;
    std::vector<PluginRecord> plugins;
    std::vector<RoleRecord> roles;
    std::vector<UserRecord> users;
    std::string database_dir;  ///< absolute
};

}  // namespace qarplatform
