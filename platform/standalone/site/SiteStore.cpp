#include "standalone/site/SiteStore.h"

#include <chrono>
#include <mutex>
#include <string_view>
#include <type_traits>

#include "Mox/Base/GuidUtil.h"
#include "standalone/database/sqlite/Database.h"
#include "standalone/site/SiteSchema.h"

namespace qarplatform {

namespace {

using sqlite::Database;
using sqlite::Statement;

constexpr std::chrono::seconds kBusyTimeout(3);

std::string GuidOr(const std::string& guid) { return guid.empty() ? Mox::Base::GuidUtil::CreateGuid() : guid; }

bool BindAll(Statement&, int) { return true; }

template <class Value, class... Values>
bool BindAll(Statement& statement, int parameter, const Value& value, const Values&... values) {
    bool bound = false;
    if constexpr (std::is_integral_v<Value>) {
        bound = statement.BindInt(parameter, value);
    } else {
        bound = statement.BindText(parameter, value);
    }
    return bound && BindAll(statement, parameter + 1, values...);
}

}  // namespace

class SiteStore::Impl {
public:
    bool Open(const std::string& path, std::string& error);
    bool Imported();
    bool Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error);
    bool Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error);
    bool SetGuard(int device_id, bool guard, std::string& error);
    bool SetDatabaseDir(const std::string& dir, std::string& error);

private:
    /// Runs a statement that gives no rows.
    template <class... Values>
    bool Run(std::string_view sql, const Values&... values);
    /// Reads one number.
    bool Number(std::string_view sql, int64_t& number);
    /// Calls `row_fn` for each row.
    template <class RowFn>
    bool Rows(std::string_view sql, RowFn row_fn);

    bool BringUpToDate(std::string& error);
    bool Insert(const Site& site, int64_t origin_ms, int64_t start_ms);
    bool Fail(std::string& error) const;
    bool Fail(std::string& error, const std::string& text) const;

    std::mutex mutex_;
    Database database_;  // guarded by mutex_
    std::string path_;
};

template <class... Values>
bool SiteStore::Impl::Run(std::string_view sql, const Values&... values) {
    Statement statement = database_.Prepare(sql);
    if (!statement) {
        return false;
    }
    if (!BindAll(statement, 1, values...) || !statement.Run()) {
        database_.NoteError();
        return false;
    }
    return true;
}

bool SiteStore::Impl::Number(std::string_view sql, int64_t& number) {
    return Rows(sql, [&number](const Statement& row) { number = row.Int(0); });
}

template <class RowFn>
bool SiteStore::Impl::Rows(std::string_view sql, RowFn row_fn) {
    Statement statement = database_.Prepare(sql);
    if (!statement) {
        return false;
    }
    Statement::Result result = statement.Step();
    for (; result == Statement::Result::kRow; result = statement.Step()) {
        row_fn(statement);
    }
    if (result == Statement::Result::kError) {
        database_.NoteError();
        return false;
    }
    return true;
}

bool SiteStore::Impl::Fail(std::string& error, const std::string& text) const {
    error = path_ + ": " + text;
    return false;
}

bool SiteStore::Impl::Fail(std::string& error) const { return Fail(error, database_.Error()); }

bool SiteStore::Impl::Open(const std::string& path, std::string& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    path_ = path;
    if (!database_.Open(path, kBusyTimeout)) {
        error = database_.Error();
        return false;
    }
    if (!BringUpToDate(error)) {
        database_.Close();
        return false;
    }
    return true;
}

bool SiteStore::Impl::BringUpToDate(std::string& error) {
    int64_t application = 0;
    int64_t version = 0;
    int64_t tables = 0;
    const auto read_head = [&] {
        return Number("PRAGMA application_id", application) && Number("PRAGMA user_version", version) &&
               Number("SELECT count(*) FROM sqlite_schema", tables);
    };
    if (!read_head()) {
        return Fail(error);
    }
    if (tables == 0 && version == 0) {
        // Another process may be first: what the file holds is looked at again under the lock.
        const bool made = database_.InTransaction([&] {
            return read_head() &&
                   (tables != 0 || (database_.Exec(kSiteSchema) &&
                                    database_.Exec("PRAGMA application_id = " + std::to_string(kSiteApplicationId)) &&
                                    database_.Exec("PRAGMA user_version = " + std::to_string(kSiteSchemaVersion))));
        });
        if (!made || !read_head()) {
            return Fail(error);
        }
    }
    if (application != kSiteApplicationId) {
        return Fail(error, "holds something else than a site");
    }
    if (version != kSiteSchemaVersion) {
        return Fail(error, "was written by a newer program: its tables have version " + std::to_string(version) +
                               ", this program knows versions up to " + std::to_string(kSiteSchemaVersion));
    }
    return true;
}

bool SiteStore::Impl::Imported() {
    const std::lock_guard<std::mutex> lock(mutex_);
    int64_t sites = 0;
    return database_.IsOpen() && Number("SELECT count(*) FROM site", sites) && sites != 0;
}

bool SiteStore::Impl::Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    bool filled = false;
    const bool imported = database_.InTransaction([&] {
        int64_t sites = 0;
        if (!Number("SELECT count(*) FROM site", sites)) {
            return false;
        }
        filled = sites != 0;
        return !filled && Insert(site, origin_ms, start_ms);
    });
    if (filled) {
        return Fail(error, "a site has been imported already");
    }
    return imported || Fail(error);
}

bool SiteStore::Impl::Insert(const Site& site, int64_t origin_ms, int64_t start_ms) {
    int64_t position = 0;
    for (const ZoneRecord& zone : site.zones) {
        if (!Run("INSERT INTO zone VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", ++position, zone.name, zone.display_name,
                 zone.bias, zone.has_daylight, zone.daylight_enable, zone.daylight_date, zone.standard_date,
                 zone.daylight_bias)) {
            return false;
        }
    }
    for (const AreaRecord& area : site.areas) {
        if (!Run("INSERT INTO area VALUES (?, ?, ?)", area.id, area.name, area.parent)) {
            return false;
        }
    }
    for (const DeviceRecord& device : site.devices) {
        if (!Run("INSERT INTO device VALUES (?, ?, ?, ?, ?, ?, ?, ?)", device.id, device.type, GuidOr(device.guid),
                 device.name, device.probe, device.archive, device.zone, device.guard)) {
            return false;
        }
    }
    for (const ChannelRecord& channel : site.channels) {
        if (!Run("INSERT INTO channel VALUES (?, ?, ?, ?, ?)", channel.id, channel.type, GuidOr(channel.guid),
                 channel.device, channel.no)) {
            return false;
        }
    }
    for (const ElementRecord& element : site.elements) {
        const int64_t create_time = element.create_time != 0 ? element.create_time : start_ms / 1000;
        if (!Run("INSERT INTO element VALUES (?, ?, ?, ?, ?, ?)", element.id, GuidOr(element.guid), element.name,
                 element.channel, element.area, create_time)) {
            return false;
        }
    }
    position = 0;
    for (const PluginRecord& plugin : site.plugins) {
        if (!Run("INSERT INTO plugin VALUES (?, ?, ?, ?)", ++position, plugin.id, plugin.path, plugin.config_json)) {
            return false;
        }
    }
    return Run("INSERT INTO site VALUES (1, ?, ?, ?)", origin_ms, start_ms, site.database_dir);
}

bool SiteStore::Impl::Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error) {
    const auto number = [](const Statement& row, int column) { return static_cast<int>(row.Int(column)); };
    const std::lock_guard<std::mutex> lock(mutex_);
    Site loaded;
    int64_t loaded_origin = 0;
    int64_t loaded_start = 0;
    bool found = false;
    const auto load = [&] {
        return Rows("SELECT origin_ms, start_ms, database_dir FROM site",
                    [&](const Statement& row) {
                        loaded_origin = row.Int(0);
                        loaded_start = row.Int(1);
                        loaded.database_dir = row.Text(2);
                        found = true;
                    }) &&
               Rows(
                   "SELECT name, display_name, bias, has_daylight, daylight_enable, daylight_date, standard_date, "
                   "daylight_bias FROM zone ORDER BY position",
                   [&](const Statement& row) {
                       loaded.zones.push_back({row.Text(0), row.Text(1), number(row, 2), row.Int(3) != 0,
                                               row.Int(4) != 0, row.Text(5), row.Text(6), number(row, 7)});
                   }) &&
               Rows("SELECT id, name, parent FROM area ORDER BY id",
                    [&](const Statement& row) {
                        loaded.areas.push_back({number(row, 0), row.Text(1), number(row, 2)});
                    }) &&
               Rows("SELECT id, type, guid, name, probe, archive, zone, guard FROM device ORDER BY id",
                    [&](const Statement& row) {
                        loaded.devices.push_back({number(row, 0), number(row, 1), row.Text(2), row.Text(3), row.Text(4),
                                                  row.Text(5), row.Text(6), row.Int(7) != 0});
                    }) &&
               Rows("SELECT id, type, guid, device, no FROM channel ORDER BY id",
                    [&](const Statement& row) {
                        loaded.channels.push_back(
                            {number(row, 0), number(row, 1), row.Text(2), number(row, 3), number(row, 4)});
                    }) &&
               Rows("SELECT id, guid, name, channel, area, create_time FROM element ORDER BY id",
                    [&](const Statement& row) {
                        loaded.elements.push_back(
                            {number(row, 0), row.Text(1), row.Text(2), number(row, 3), number(row, 4), row.Int(5)});
                    }) &&
               Rows("SELECT id, path, config_json FROM plugin ORDER BY position", [&](const Statement& row) {
                   loaded.plugins.push_back({row.Text(0), row.Text(1), row.Text(2)});
               });
    };
    // One transaction, so that all tables are read as of one moment.
    if (!database_.Exec("BEGIN") || !load()) {
        Fail(error);
        database_.Rollback();
        return false;
    }
    database_.Rollback();
    if (!found) {
        return Fail(error, "no site has been imported yet");
    }
    site = std::move(loaded);
    origin_ms = loaded_origin;
    start_ms = loaded_start;
    return true;
}

bool SiteStore::Impl::SetGuard(int device_id, bool guard, std::string& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    int64_t changed = 0;
    if (!Run("UPDATE device SET guard = ? WHERE id = ?", guard, device_id) || !Number("SELECT changes()", changed)) {
        return Fail(error);
    }
    return changed != 0 || Fail(error, "there is no device " + std::to_string(device_id));
}

bool SiteStore::Impl::SetDatabaseDir(const std::string& dir, std::string& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    int64_t changed = 0;
    if (!Run("UPDATE site SET database_dir = ?", dir) || !Number("SELECT changes()", changed)) {
        return Fail(error);
    }
    return changed != 0 || Fail(error, "no site has been imported yet");
}

SiteStore::SiteStore() : impl_(std::make_unique<Impl>()) {}
SiteStore::~SiteStore() = default;

bool SiteStore::Open(const std::string& path, std::string& error) { return impl_->Open(path, error); }
bool SiteStore::Imported() const { return impl_->Imported(); }
bool SiteStore::Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error) {
    return impl_->Import(site, origin_ms, start_ms, error);
}
bool SiteStore::Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error) {
    return impl_->Load(site, origin_ms, start_ms, error);
}
bool SiteStore::SetGuard(int device_id, bool guard, std::string& error) {
    return impl_->SetGuard(device_id, guard, error);
}
bool SiteStore::SetDatabaseDir(const std::string& dir, std::string& error) { return impl_->SetDatabaseDir(dir, error); }

}  // namespace qarplatform
