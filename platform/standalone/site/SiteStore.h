#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "standalone/site/SiteRecords.h"

namespace qarplatform {

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
    /// @return whether a site has been imported
    bool Imported() const;
    /// Puts a site into an empty store, in one transaction; missing GUIDs are made.
    /// @param origin_ms, start_ms  the clock's, kept with the site
    bool Import(const Site& site, int64_t origin_ms, int64_t start_ms, std::string& error);
    /// Reads all of it.
    bool Load(Site& site, int64_t& origin_ms, int64_t& start_ms, std::string& error);
    bool SetGuard(int device_id, bool guard, std::string& error);
    bool SetDatabaseDir(const std::string& dir, std::string& error);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qarplatform
