#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "standalone/site/SiteRecords.h"
#include "standalone/site/UserStore.h"

namespace qarplatform {

class SiteDatabase;

/// The site's store, one SQLite file. After the first import it is the truth. Threads: any.
/// Operations give false with a text that names the file and what went wrong; nothing is half done.
class SiteStore {
public:
    SiteStore();
    ~SiteStore();
    SiteStore(const SiteStore&) = delete;
    SiteStore& operator=(const SiteStore&) = delete;

    /// Opens the store, made if absent (mode 0600), its tables brought up to date.
    bool Open(const std::string& path, std::string& error);
    /// Opens the store to look at it, an older version's too; its tables stay as they are. Without an effect on what
    /// an older program does with it.
    bool OpenToRead(const std::string& path, std::string& error);
    /// @return whether a site has been imported
    bool Imported() const;
    /// Puts a site into an empty store, in one transaction; missing GUIDs are made.
    /// @param origin_ms, start_ms  the clock's, kept with the site
    bool Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error);
    /// Puts the roles and users of a site into a store that has neither: one that was made before there were any, or
    /// from a site without. Does nothing in any other.
    bool ImportUsers(const Site& site, std::string& error);
    /// Reads all of it.
    bool Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error);
    bool SetGuard(int device_id, bool guard, std::string& error);
    bool SetDatabaseDir(const std::string& dir, std::string& error);
    bool SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype type, std::string& error);

    /// Users' passwords, rights and sessions. Only to be used after Open; lives as long as the store.
    UserStore& Users() { return users_; }

private:
    bool Insert(const Site& site, int64_t origin_ms, int64_t start_ms);
    bool InsertUsers(const Site& site);
    bool LoadPlaces(Site& site);
    bool LoadDevices(Site& site);
    bool LoadUsers(Site& site);
    template <class Value>
    bool SetOfSite(const char* sql, const Value& value, std::string& error);

    const std::unique_ptr<SiteDatabase> database_;
    UserStore users_;
};

}  // namespace qarplatform
