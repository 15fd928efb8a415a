#include "standalone/site/SiteFileReader.h"

#include <algorithm>
#include <limits>
#include <set>
#include <tuple>
#include <utility>

#include "standalone/device/DeviceAddress.h"
#include "standalone/site/HttpSection.h"
#include "standalone/site/TomlJson.h"
#include "standalone/timezone/DaylightRule.h"

namespace qarplatform {

namespace {

namespace fs = std::filesystem;

constexpr int kHighestBias = 14 * 60;
constexpr int kHighestDaylightBias = 3 * 60;
constexpr int kUsualDaylightBias = -60;
constexpr int kSecondsPerDay = 24 * 3600;
constexpr std::size_t kLongestIdentifier = 64;

constexpr std::pair<const char*, int> kLogLevels[] = {
    {"debug", 2}, {"information", 3}, {"warning", 4}, {"error", 5}, {"critical", 6}};

/// Identifiers stand in file names, log lines and SQL texts.
bool IsIdentifier(const std::string& text) {
    return text.size() <= kLongestIdentifier &&
           text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
               std::string::npos;
}

std::string Shown(const std::string& value) { return "\"" + value + "\""; }
std::string Shown(int value) { return std::to_string(value); }

}  // namespace

SiteFileReader::SiteFileReader(const toml::table& root, const fs::path& folder, SiteFileErrors& errors)
    : root_(root, "", errors), folder_(folder), errors_(errors) {}

SiteFile SiteFileReader::Read() {
    ReadSite();
    ReadLog();
    ReadClock();
    ReadDatabase();
    ReadProbe();
    ReadHttp();
    ReadZones();
    ReadAreas();
    ReadDevices();
    ReadChannels();
    ReadElements();
    ReadPlugins();
    ReadRoles();
    ReadUsers();
    root_.ReportUnknown();
    CheckAreaParents();
    CheckReferences();
    return std::move(file_);
}

SiteFileReader::Sections SiteFileReader::ListOf(const char* key) {
    Sections sections;
    if (const toml::array* list = root_.Tables(key)) {
        for (std::size_t i = 0; i < list->size(); ++i) {
            sections.emplace_back(*(*list)[i].as_table(), std::string(key) + "[" + std::to_string(i + 1) + "]",
                                  errors_);
        }
    }
    return sections;
}

std::string SiteFileReader::Absolute(const fs::path& folder, const std::string& path) const {
    return (folder / path).lexically_normal().string();
}

void SiteFileReader::ReadPath(TomlSection& section, const char* key, std::string& path) {
    if (section.Text(key, Need::kOptional, path) && path.empty()) {
        section.Error(key, "must not be empty");
    }
}

template <class Key>
void SiteFileReader::Claim(Owners<Key>& owners, const Key& value, const TomlSection& section, const char* key) {
    const auto [owner, claimed] = owners.emplace(value, &section);
    if (!claimed) {
        section.Error(key, Shown(value) + " stands at " + owner->second->Path() + " already, in line " +
                               std::to_string(owner->second->Line(key)));
    }
}

void SiteFileReader::ReadSite() {
    std::string data_dir = "data";
    if (const toml::table* table = root_.Table("site", Need::kRequired)) {
        TomlSection section(*table, "site", errors_);
        section.Text("name", Need::kRequired, file_.name);
        ReadPath(section, "data_dir", data_dir);
        file_.data_dir = Absolute(folder_, data_dir);
        if (file_.data_dir.size() > kLongestDataDir) {
            section.Error("data_dir", "must be a path of at most " + std::to_string(kLongestDataDir) +
                                          " bytes, as the control socket lies in it, found " +
                                          std::to_string(file_.data_dir.size()) + ": " + file_.data_dir);
        }
        section.ReportUnknown();
    }
}

void SiteFileReader::ReadLog() {
    std::string path = "log/qarhost.log";
    if (const toml::table* table = root_.Table("log", Need::kOptional)) {
        TomlSection section(*table, "log", errors_);
        std::string level;
        if (section.Text("level", Need::kOptional, level)) {
            const auto known = std::find_if(std::begin(kLogLevels), std::end(kLogLevels),
                                            [&level](const auto& entry) { return level == entry.first; });
            if (known == std::end(kLogLevels)) {
                section.Error("level", "must be debug, information, warning, error or critical, found " + Shown(level));
            } else {
                file_.log.level = known->second;
            }
        }
        ReadPath(section, "file", path);
        section.Integer("max_bytes", Need::kOptional, 4096, int64_t{1} << 40, file_.log.max_bytes);
        section.Integer("files", Need::kOptional, 1, 1000, file_.log.files);
        section.ReportUnknown();
    }
    file_.log.file = Absolute(file_.data_dir, path);
}

void SiteFileReader::ReadClock() {
    if (const toml::table* table = root_.Table("clock", Need::kOptional)) {
        TomlSection section(*table, "clock", errors_);
        section.Number("scale", Need::kOptional, 0.001, 100000, file_.clock_scale);
        section.Moment("origin", Need::kOptional, file_.clock_origin_ms);
        section.Moment("start", Need::kOptional, file_.clock_start_ms);
        section.ReportUnknown();
    }
}

void SiteFileReader::ReadDatabase() {
    std::string dir = "db";
    if (const toml::table* table = root_.Table("database", Need::kOptional)) {
        TomlSection section(*table, "database", errors_);
        ReadPath(section, "dir", dir);
        if (!dir.empty() && SameFolder(Absolute(file_.data_dir, dir), file_.data_dir)) {
            section.Error("dir", "must not be site.data_dir, where the host's own files lie");
        }
        section.ReportUnknown();
    }
    file_.site.database_dir = Absolute(file_.data_dir, dir);
}

void SiteFileReader::ReadProbe() {
    if (const toml::table* table = root_.Table("probe", Need::kOptional)) {
        TomlSection section(*table, "probe", errors_);
        section.Integer("period_s", Need::kOptional, 1, kSecondsPerDay, file_.probe.period_s);
        section.Integer("timeout_ms", Need::kOptional, 10, 60000, file_.probe.timeout_ms);
        section.Integer("failures", Need::kOptional, 1, 1000, file_.probe.failures);
        section.Integer("connections", Need::kOptional, 4, 10000, file_.probe.connections);
        section.ReportUnknown();
    }
}

void SiteFileReader::ReadHttp() {
    using namespace ZELPlatform::InterfaceCommonData;
    if (const toml::table* table = root_.Table("http", Need::kOptional)) {
        TomlSection section(*table, "http", errors_);
        file_.http = ReadHttpSection(section, folder_);
        file_.site.access_type = file_.http->IsSecure() ? AccesstypeInfo::kAccessHttps : AccesstypeInfo::kAccessHttp;
    }
}

void SiteFileReader::ReadZones() {
    zones_ = ListOf("zone");
    for (TomlSection& section : zones_) {
        ZoneRecord zone;
        if (section.Text("name", Need::kRequired, zone.name)) {
            Claim(zone_names_, zone.name, section, "name");
        }
        zone.display_name = zone.name;
        section.Text("display_name", Need::kOptional, zone.display_name);
        section.Integer("bias", Need::kRequired, -kHighestBias, kHighestBias, zone.bias);
        ReadDaylight(section, zone);
        section.ReportUnknown();
        file_.site.zones.push_back(zone);
    }
}

void SiteFileReader::ReadDaylight(TomlSection& section, ZoneRecord& zone) {
    zone.has_daylight = section.Has("daylight_enable") || section.Has("daylight_date") ||
                        section.Has("standard_date") || section.Has("daylight_bias");
    zone.daylight_bias = zone.has_daylight ? kUsualDaylightBias : 0;
    section.Flag("daylight_enable", zone.has_daylight ? Need::kRequired : Need::kOptional, zone.daylight_enable);
    section.Integer("daylight_bias", Need::kOptional, -kHighestDaylightBias, kHighestDaylightBias, zone.daylight_bias);

    const Need need = zone.daylight_enable ? Need::kRequired : Need::kOptional;
    DaylightRule begins;
    DaylightRule ends;
    const auto read = [&section, need](const char* key, std::string& text, DaylightRule& rule) {
        std::string error;
        if (!section.Text(key, need, text)) {
            return false;
        }
        if (!ParseDaylightRule(text, rule, error)) {
            section.Error(key, "not a rule of daylight saving: " + error);
            return false;
        }
        return true;
    };
    const bool has_begin = read("daylight_date", zone.daylight_date, begins);
    const bool has_end = read("standard_date", zone.standard_date, ends);
    if (has_begin && has_end && begins == ends) {
        section.Error("standard_date", "must differ from daylight_date");
    }
}

void SiteFileReader::ReadAreas() {
    areas_ = ListOf("area");
    for (TomlSection& section : areas_) {
        AreaRecord area;
        if (section.Id("id", Need::kRequired, area.id)) {
            Claim(area_ids_, area.id, section, "id");
        }
        section.Text("name", Need::kRequired, area.name);
        section.Integer("parent", Need::kOptional, 0, std::numeric_limits<int>::max(), area.parent);
        section.ReportUnknown();
        file_.site.areas.push_back(area);
    }
}

void SiteFileReader::ReadGuid(TomlSection& section, std::string& guid) {
    if (!section.Text("guid", Need::kOptional, guid)) {
        return;
    }
    if (guid.empty() || !IsIdentifier(guid)) {
        section.Error("guid", "must be 1 to 64 letters, digits, '.', '_' and '-'");
        return;
    }
    Claim(guids_, guid, section, "guid");
}

void SiteFileReader::ReadDevices() {
    devices_ = ListOf("device");
    for (TomlSection& section : devices_) {
        DeviceRecord device;
        if (section.Id("id", Need::kRequired, device.id)) {
            Claim(device_ids_, device.id, section, "id");
        }
        section.Id("type", Need::kOptional, device.type);
        ReadGuid(section, device.guid);
        section.Text("name", Need::kRequired, device.name);
        DeviceAddress address;
        std::string error;
        if (section.Text("probe", Need::kRequired, device.probe) && !ParseDeviceAddress(device.probe, address, error)) {
            section.Error("probe", "not an address: " + error);
        }
        if (section.Text("archive", Need::kOptional, device.archive) && !device.archive.empty() &&
            !IsHttpUrl(device.archive, error)) {
            section.Error("archive", "not an address: " + error);
        }
        section.Text("zone", Need::kOptional, device.zone);
        section.Flag("guard", Need::kOptional, device.guard);
        section.ReportUnknown();
        file_.site.devices.push_back(device);
    }
}

void SiteFileReader::ReadChannels() {
    channels_ = ListOf("channel");
    for (TomlSection& section : channels_) {
        ChannelRecord channel;
        if (section.Id("id", Need::kRequired, channel.id)) {
            Claim(channel_ids_, channel.id, section, "id");
        }
        section.Id("type", Need::kOptional, channel.type);
        ReadGuid(section, channel.guid);
        section.Id("device", Need::kRequired, channel.device);
        section.Integer("no", Need::kRequired, 0, 65535, channel.no);
        section.ReportUnknown();
        file_.site.channels.push_back(channel);
    }
}

void SiteFileReader::ReadElements() {
    elements_ = ListOf("element");
    for (TomlSection& section : elements_) {
        ElementRecord element;
        if (section.Id("id", Need::kRequired, element.id)) {
            Claim(element_ids_, element.id, section, "id");
        }
        ReadGuid(section, element.guid);
        section.Text("name", Need::kRequired, element.name);
        section.Id("channel", Need::kRequired, element.channel);
        section.Integer("area", Need::kRequired, 0, std::numeric_limits<int>::max(), element.area);
        section.ReportUnknown();
        file_.site.elements.push_back(element);
    }
}

void SiteFileReader::ReadPlugins() {
    plugins_ = ListOf("plugin");
    for (TomlSection& section : plugins_) {
        PluginRecord plugin;
        if (section.Text("id", Need::kRequired, plugin.id)) {
            if (!IsIdentifier(plugin.id)) {
                section.Error("id", "must be 1 to 64 letters, digits, '.', '_' and '-'");
            }
            Claim(plugin_ids_, plugin.id, section, "id");
        }
        if (section.Text("path", Need::kRequired, plugin.path)) {
            // A bare file name that does not stand beside the site file is looked for in the host's plug-in folder.
            const fs::path path(plugin.path);
            std::error_code error;
            if (path.has_parent_path() || fs::exists(folder_ / path, error)) {
                plugin.path = Absolute(folder_, plugin.path);
            }
        }
        plugin.config_json = "{}";
        if (const toml::table* config = section.Table("config", Need::kOptional)) {
            plugin.config_json = TomlToJson(*config, section.Path() + ".config", errors_);
        }
        section.ReportUnknown();
        file_.site.plugins.push_back(plugin);
    }
}

void SiteFileReader::ReadRoles() {
    roles_ = ListOf("role");
    for (TomlSection& section : roles_) {
        RoleRecord role;
        if (section.Text("name", Need::kRequired, role.name)) {
            Claim(role_names_, role.name, section, "name");
        }
        section.Integers("permissions", Need::kOptional, role.permissions);
        section.ReportUnknown();
        file_.site.roles.push_back(role);
    }
}

void SiteFileReader::ReadUsers() {
    users_ = ListOf("user");
    for (TomlSection& section : users_) {
        UserRecord user;
        if (section.Id("id", Need::kRequired, user.id)) {
            Claim(user_ids_, user.id, section, "id");
        }
        if (section.Text("name", Need::kRequired, user.name)) {
            if (user.name.size() > kLongestUserName) {
                section.Error("name", "must be at most " + std::to_string(kLongestUserName) + " bytes, found " +
                                          std::to_string(user.name.size()));
            }
            Claim(user_names_, user.name, section, "name");
        }
        section.Texts("roles", Need::kOptional, user.roles);
        section.Id("person", Need::kOptional, user.person);
        section.ReportUnknown();
        file_.site.users.push_back(user);
    }
}

void SiteFileReader::CheckAreaParents() {
    std::map<int, int> parents;
    for (const AreaRecord& area : file_.site.areas) {
        parents.emplace(area.id, area.parent);
    }
    std::set<int> clean;
    for (std::size_t i = 0; i < areas_.size(); ++i) {
        const AreaRecord& area = file_.site.areas[i];
        if (area.parent != 0 && area_ids_.count(area.parent) == 0) {
            areas_[i].Error("parent", "there is no area " + std::to_string(area.parent));
        }
        std::set<int> seen;
        int at = area.id;
        while (at != 0 && clean.count(at) == 0 && seen.insert(at).second) {
            const auto parent = parents.find(at);
            at = parent == parents.end() ? 0 : parent->second;
        }
        if (seen.count(at) != 0) {
            area_ids_.at(at)->Error("parent", "the area would lie inside itself");
        }
        clean.merge(seen);
    }
}

void SiteFileReader::CheckReferences() {
    const Site& site = file_.site;
    const auto missing = [](const TomlSection& section, const char* key, const std::string& what) {
        section.Error(key, "there is no " + what);
    };
    for (std::size_t i = 0; i < devices_.size(); ++i) {
        if (!site.devices[i].zone.empty() && zone_names_.count(site.devices[i].zone) == 0) {
            missing(devices_[i], "zone", "zone " + Shown(site.devices[i].zone));
        }
    }
    std::map<std::tuple<int, int, int>, const TomlSection*> numbers;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        const ChannelRecord& channel = site.channels[i];
        if (channel.device == 0) {
            continue;
        }
        if (device_ids_.count(channel.device) == 0) {
            missing(channels_[i], "device", "device " + std::to_string(channel.device));
        }
        const auto [owner, unique] =
            numbers.emplace(std::tuple(channel.device, channel.type, channel.no), &channels_[i]);
        if (!unique && channels_[i].Has("no")) {
            channels_[i].Error("no", "the device has a channel " + std::to_string(channel.no) + " of this type at " +
                                         owner->second->Path() + " already, in line " +
                                         std::to_string(owner->second->Line("no")));
        }
    }
    for (std::size_t i = 0; i < elements_.size(); ++i) {
        const ElementRecord& element = site.elements[i];
        if (element.channel != 0 && channel_ids_.count(element.channel) == 0) {
            missing(elements_[i], "channel", "channel " + std::to_string(element.channel));
        }
        if (element.area != 0 && area_ids_.count(element.area) == 0) {
            missing(elements_[i], "area", "area " + std::to_string(element.area));
        }
    }
    for (std::size_t i = 0; i < users_.size(); ++i) {
        for (const std::string& role : site.users[i].roles) {
            if (role_names_.count(role) == 0) {
                missing(users_[i], "roles", "role " + Shown(role));
            }
        }
    }
}

}  // namespace qarplatform
