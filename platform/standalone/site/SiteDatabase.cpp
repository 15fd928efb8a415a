#include "standalone/site/SiteDatabase.h"

#include <chrono>

#include "standalone/site/SiteSchema.h"

namespace qarplatform {

namespace {

constexpr std::chrono::seconds kBusyTimeout(3);

}  // namespace

bool SiteDatabase::Fail(std::string& error, const std::string& text) const {
    error = path_ + ": " + text;
    return false;
}

bool SiteDatabase::Open(const std::string& path, Upgrade upgrade, std::string& error) {
    const auto lock = Lock();
    path_ = path;
    if (!database_.Open(path, kBusyTimeout)) {
        error = database_.Error();
        return false;
    }
    if (!BringUpToDate(upgrade, error)) {
        database_.Close();
        return false;
    }
    return true;
}

bool SiteDatabase::ReadHead(int64_t& application, int64_t& version, int64_t& tables) {
    return Number("PRAGMA application_id", application) && Number("PRAGMA user_version", version) &&
           Number("SELECT count(*) FROM sqlite_schema", tables);
}

bool SiteDatabase::Raise(int64_t version) {
    while (version < kSiteSchemaVersion) {
        if (!database_.Exec(kSiteSchemaSteps[version++])) {
            return false;
        }
    }
    return database_.Exec("PRAGMA application_id = " + std::to_string(kSiteApplicationId)) &&
           database_.Exec("PRAGMA user_version = " + std::to_string(version));
}

bool SiteDatabase::BringUpToDate(Upgrade upgrade, std::string& error) {
    int64_t application = 0;
    int64_t version = 0;
    int64_t tables = 0;
    if (!ReadHead(application, version, tables)) {
        return Fail(error);
    }
    const auto is_ours = [&] {
        return (application == kSiteApplicationId && version > 0) || (tables == 0 && version == 0);
    };
    if (upgrade == Upgrade::kYes && is_ours() && version < kSiteSchemaVersion) {
        // Another process may be first: what the file holds is looked at again under the lock.
        const bool raised = InTransaction([&] {
            return ReadHead(application, version, tables) && (!is_ours() || Raise(version)) &&
                   ReadHead(application, version, tables);
        });
        if (!raised) {
            return Fail(error);
        }
    }
    if (!is_ours()) {
        return Fail(error, "holds something else than a site");
    }
    if (version > kSiteSchemaVersion) {
        return Fail(error, "was written by a newer program: its tables have version " + std::to_string(version) +
                               ", this program knows versions up to " + std::to_string(kSiteSchemaVersion));
    }
    version_ = static_cast<int>(version);
    return true;
}

}  // namespace qarplatform
