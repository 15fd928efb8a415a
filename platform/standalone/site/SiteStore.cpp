#include "standalone/site/SiteStore.h"

#include <algorithm>
#include <map>
#include <utility>

#include "Mox/Base/GuidUtil.h"
#include "standalone/site/SiteDatabase.h"

namespace qarplatform {

namespace {

using sqlite::Statement;
using ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype;

constexpr int kVersionWithUsers = 2;
constexpr const char* kNoSite = "no site has been imported yet";

std::string GuidOr(const std::string& guid) { return guid.empty() ? Mox::Base::GuidUtil::CreateGuid() : guid; }

int Int(const Statement& row, int column) { return static_cast<int>(row.Int(column)); }

}  // namespace

SiteStore::SiteStore() : database_(std::make_unique<SiteDatabase>()), users_(*database_) {}
SiteStore::~SiteStore() = default;

bool SiteStore::Open(const std::string& path, std::string& error) {
    return database_->Open(path, SiteDatabase::Upgrade::kYes, error);
}

bool SiteStore::OpenToRead(const std::string& path, std::string& error) {
    return database_->Open(path, SiteDatabase::Upgrade::kNo, error);
}

bool SiteStore::Imported() const {
    const auto lock = database_->Lock();
    int64_t sites = 0;
    return database_->IsOpen() && database_->Number("SELECT count(*) FROM site", sites) && sites != 0;
}

bool SiteStore::Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error) {
    const auto lock = database_->Lock();
    bool filled = false;
    const bool imported = database_->InTransaction([&] {
        int64_t sites = 0;
        if (!database_->Number("SELECT count(*) FROM site", sites)) {
            return false;
        }
        filled = sites != 0;
        return !filled && Insert(site, origin_ms, start_ms);
    });
    if (filled) {
        return database_->Fail(error, "a site has been imported already");
    }
    return imported || database_->Fail(error);
}

bool SiteStore::Insert(const Site& site, int64_t origin_ms, int64_t start_ms) {
    int64_t position = 0;
    for (const ZoneRecord& zone : site.zones) {
        if (!database_->Run("INSERT INTO zone VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", ++position, zone.name,
                            zone.display_name, zone.bias, zone.has_daylight, zone.daylight_enable, zone.daylight_date,
                            zone.standard_date, zone.daylight_bias)) {
            return false;
        }
    }
    for (const AreaRecord& area : site.areas) {
        if (!database_->Run("INSERT INTO area VALUES (?, ?, ?)", area.id, area.name, area.parent)) {
            return false;
        }
    }
    for (const DeviceRecord& device : site.devices) {
        if (!database_->Run("INSERT INTO device VALUES (?, ?, ?, ?, ?, ?, ?, ?)", device.id, device.type,
                            GuidOr(device.guid), device.name, device.probe, device.archive, device.zone,
                            device.guard)) {
            return false;
        }
    }
    for (const ChannelRecord& channel : site.channels) {
        if (!database_->Run("INSERT INTO channel VALUES (?, ?, ?, ?, ?)", channel.id, channel.type,
                            GuidOr(channel.guid), channel.device, channel.no)) {
            return false;
        }
    }
    for (const ElementRecord& element : site.elements) {
        const int64_t create_time = element.create_time != 0 ? element.create_time : start_ms / 1000;
        if (!database_->Run("INSERT INTO element VALUES (?, ?, ?, ?, ?, ?)", element.id, GuidOr(element.guid),
                            element.name, element.channel, element.area, create_time)) {
            return false;
        }
    }
    position = 0;
    for (const PluginRecord& plugin : site.plugins) {
        if (!database_->Run("INSERT INTO plugin VALUES (?, ?, ?, ?)", ++position, plugin.id, plugin.path,
                            plugin.config_json)) {
            return false;
        }
    }
    return InsertUsers(site) && database_->Run(
                                    "INSERT INTO site (one, origin_ms, start_ms, database_dir, access_type) "
                                    "VALUES (1, ?, ?, ?, ?)",
                                    origin_ms, start_ms, site.database_dir, site.access_type);
}

bool SiteStore::InsertUsers(const Site& site) {
    const auto insert_role = [this](const RoleRecord& role) {
        return database_->Run("INSERT INTO role (name) VALUES (?)", role.name) &&
               std::all_of(role.permissions.begin(), role.permissions.end(), [&](int permission) {
                   return database_->Run("INSERT INTO role_permission SELECT id, ? FROM role WHERE name = ?",
                                         permission, role.name);
               });
    };
    const auto insert_user = [this](const UserRecord& user) {
        return database_->Run("INSERT INTO user (id, name, person) VALUES (?, ?, nullif(?, 0))", user.id, user.name,
                              user.person) &&
               std::all_of(user.roles.begin(), user.roles.end(), [&](const std::string& role) {
                   return database_->Run("INSERT INTO user_role SELECT ?, id FROM role WHERE name = ?", user.id, role);
               });
    };
    return std::all_of(site.roles.begin(), site.roles.end(), insert_role) &&
           std::all_of(site.users.begin(), site.users.end(), insert_user);
}

bool SiteStore::ImportUsers(const Site& site, std::string& error) {
    const auto lock = database_->Lock();
    return database_->InTransaction([&] {
        int64_t stored = 0;
        return database_->Number("SELECT (SELECT count(*) FROM user) + (SELECT count(*) FROM role)", stored) &&
               (stored != 0 || InsertUsers(site));
    }) || database_->Fail(error);
}

bool SiteStore::LoadPlaces(Site& site) {
    return database_->Rows(
               "SELECT name, display_name, bias, has_daylight, daylight_enable, daylight_date, "
               "standard_date, daylight_bias FROM zone ORDER BY position",
               [&](const Statement& row) {
                   site.zones.push_back({row.Text(0), row.Text(1), Int(row, 2), row.Int(3) != 0, row.Int(4) != 0,
                                         row.Text(5), row.Text(6), Int(row, 7)});
               }) &&
           database_->Rows("SELECT id, name, parent FROM area ORDER BY id", [&](const Statement& row) {
               site.areas.push_back({Int(row, 0), row.Text(1), Int(row, 2)});
           });
}

bool SiteStore::LoadDevices(Site& site) {
    return database_->Rows("SELECT id, type, guid, name, probe, archive, zone, guard FROM device ORDER BY id",
                           [&](const Statement& row) {
                               site.devices.push_back({Int(row, 0), Int(row, 1), row.Text(2), row.Text(3), row.Text(4),
                                                       row.Text(5), row.Text(6), row.Int(7) != 0});
                           }) &&
           database_->Rows(
               "SELECT id, type, guid, device, no FROM channel ORDER BY id",
               [&](const Statement& row) {
                   site.channels.push_back({Int(row, 0), Int(row, 1), row.Text(2), Int(row, 3), Int(row, 4)});
               }) &&
           database_->Rows("SELECT id, guid, name, channel, area, create_time FROM element ORDER BY id",
                           [&](const Statement& row) {
                               site.elements.push_back(
                                   {Int(row, 0), row.Text(1), row.Text(2), Int(row, 3), Int(row, 4), row.Int(5)});
                           });
}

bool SiteStore::LoadUsers(Site& site) {
    std::map<std::string, RoleRecord*> roles;
    std::map<int, UserRecord*> users;
    const bool loaded =
        database_->Rows("SELECT name FROM role ORDER BY id",
                        [&](const Statement& row) {
                            site.roles.push_back({row.Text(0), {}});
                        }) &&
        database_->Rows("SELECT id, name, person, password IS NOT NULL FROM user ORDER BY id",
                        [&](const Statement& row) {
                            site.users.push_back({Int(row, 0), row.Text(1), {}, Int(row, 2), row.Int(3) != 0});
                        });
    for (RoleRecord& role : site.roles) {
        roles[role.name] = &role;
    }
    for (UserRecord& user : site.users) {
        users[user.id] = &user;
    }
    return loaded &&
           database_->Rows(
               "SELECT name, permission FROM role_permission JOIN role ON id = role ORDER BY role, permission",
               [&](const Statement& row) { roles.at(row.Text(0))->permissions.push_back(Int(row, 1)); }) &&
           database_->Rows("SELECT user, name FROM user_role JOIN role ON id = role ORDER BY user, role",
                           [&](const Statement& row) { users.at(Int(row, 0))->roles.push_back(row.Text(1)); });
}

bool SiteStore::Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error) {
    const auto lock = database_->Lock();
    const bool has_users = database_->Version() >= kVersionWithUsers;
    Site loaded;
    int64_t loaded_origin = 0;
    int64_t loaded_start = 0;
    bool found = false;
    const auto load_head = [&] {
        const bool read =
            database_->Rows("SELECT origin_ms, start_ms, database_dir FROM site", [&](const Statement& row) {
                loaded_origin = row.Int(0);
                loaded_start = row.Int(1);
                loaded.database_dir = row.Text(2);
                found = true;
            });
        return read && (!has_users || database_->Rows("SELECT access_type FROM site", [&](const Statement& row) {
                   loaded.access_type = static_cast<Accesstype>(row.Int(0));
               }));
    };
    const auto load = [&] {
        return load_head() && LoadPlaces(loaded) && LoadDevices(loaded) &&
               database_->Rows("SELECT id, path, config_json FROM plugin ORDER BY position",
                               [&](const Statement& row) {
                                   loaded.plugins.push_back({row.Text(0), row.Text(1), row.Text(2)});
                               }) &&
               (!has_users || LoadUsers(loaded));
    };
    if (!database_->InSnapshot(load, error)) {
        return false;
    }
    if (!found) {
        return database_->Fail(error, kNoSite);
    }
    site = std::move(loaded);
    origin_ms = loaded_origin;
    start_ms = loaded_start;
    return true;
}

bool SiteStore::SetGuard(int device_id, bool guard, std::string& error) {
    const auto lock = database_->Lock();
    int64_t changed = 0;
    if (!database_->Change(changed, "UPDATE device SET guard = ? WHERE id = ?", guard, device_id)) {
        return database_->Fail(error);
    }
    return changed != 0 || database_->Fail(error, "there is no device " + std::to_string(device_id));
}

bool SiteStore::SetDatabaseDir(const std::string& dir, std::string& error) {
    const auto lock = database_->Lock();
    return SetOfSite("UPDATE site SET database_dir = ?", dir, error);
}

bool SiteStore::SetAccessType(Accesstype type, std::string& error) {
    const auto lock = database_->Lock();
    return SetOfSite("UPDATE site SET access_type = ?", type, error);
}

template <class Value>
bool SiteStore::SetOfSite(const char* sql, const Value& value, std::string& error) {
    int64_t changed = 0;
    if (!database_->Change(changed, sql, value)) {
        return database_->Fail(error);
    }
    return changed != 0 || database_->Fail(error, kNoSite);
}

}  // namespace qarplatform
