#include "host/CheckCommand.h"

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <set>
#include <vector>

#include "host/ExitCode.h"
#include "host/HistoryTableCheck.h"
#include "host/PluginSet.h"
#include "host/SiteReading.h"
#include "standalone/site/SiteStore.h"

namespace qarhost {

namespace {

constexpr int kCameraType = 1001;

std::string Count(std::size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Summary(const qarplatform::Site& site) {
    return Count(site.devices.size(), "device") + ", " + Count(site.channels.size(), "channel") + ", " +
           Count(site.elements.size(), "element") + ", " + Count(site.areas.size(), "area") + ", " +
           Count(site.zones.size(), "zone") + ", " + Count(site.plugins.size(), "plug-in") +
           (site.users.empty() ? "" : ", " + Count(site.users.size(), "user"));
}

// Takes the site from the store where it has been imported, as a run would.
bool TakeStored(const std::string& data_dir, qarplatform::Site& site, std::ostream& out, std::ostream& err) {
    const std::string path = StorePath(data_dir);
    if (!std::filesystem::exists(path)) {
        out << "store: not made yet, the first run imports the site file\n";
        return true;
    }
    qarplatform::SiteStore store;
    std::string error;
    if (!store.OpenToRead(path, error)) {
        err << "qarhost: " << error << "\n";
        return false;
    }
    if (!store.Imported()) {
        out << "store: empty, the next run imports the site file\n";
        return true;
    }
    int64_t origin_ms = 0;
    int64_t start_ms = 0;
    qarplatform::Site stored;
    if (!store.Load(stored, origin_ms, start_ms, error)) {
        err << "qarhost: " << error << "\n";
        return false;
    }
    out << "store: " << Summary(stored) << "; it counts, not the file\n";
    if (stored.users.empty() && stored.roles.empty() && !site.users.empty()) {
        out << "store: has no users yet, the next run imports those of the site file\n";
        stored.users = site.users;
    }
    site = stored;
    return true;
}

void ReportUsers(const qarplatform::Site& site, std::ostream& out) {
    for (const auto& user : site.users) {
        if (!user.has_password) {
            out << "note: user " << user.name << " has no password and cannot log in; qarhost password sets it\n";
        }
    }
}

bool ReportTables(const qarplatform::Site& site, std::ostream& out, std::ostream& err) {
    std::set<int64_t> cameras;
    for (const auto& channel : site.channels) {
        if (channel.type == kCameraType) cameras.insert(channel.id);
    }
    std::vector<std::string> errors;
    const auto tables = CheckHistoryTables(site.database_dir, cameras, errors);
    bool good = errors.empty();
    for (const auto& error : errors) err << "qarhost: " << error << "\n";
    for (const auto& table : tables) {
        out << "history table " << table.table << " in " << table.file << ": "
            << Count(static_cast<std::size_t>(table.rows), "row") << "\n";
        for (const auto& bad : table.bad) {
            good = false;
            err << table.file << ": " << table.table << ": " << bad.what << ": "
                << Count(static_cast<std::size_t>(bad.count), "row") << "\n";
            for (const auto& example : bad.examples) err << "    " << example << "\n";
        }
    }
    return good;
}

bool ReportPlugins(const qarplatform::Site& site, const PluginFolders& folders, const std::string& data_dir,
                   std::ostream& out, std::ostream& err) {
    PluginSet plugins(site.plugins, folders, data_dir);
    const auto wrong = plugins.Check();
    for (const auto& line : wrong) err << "qarhost: " << line << "\n";
    if (wrong.empty() && !site.plugins.empty()) out << "plug-ins: all can be loaded\n";
    return wrong.empty();
}

}  // namespace

int CheckSite(const std::string& site_file, const std::string& plugin_dir, std::ostream& out, std::ostream& err) {
    const auto file = ReadSite(site_file, err);
    if (!file) return kExitSiteFile;
    out << "site " << file->name << ": " << Summary(file->site) << "\n"
        << "data folder " << file->data_dir << "\n";
    qarplatform::Site site = file->site;
    if (!TakeStored(file->data_dir, site, out, err)) return kExitDatabase;
    out << "database " << site.database_dir << "\n";
    ReportUsers(site, out);
    std::string error;
    if (!CheckDatabaseDir(site.database_dir, file->data_dir, error)) {
        err << "qarhost: " << error << "\n";
        return kExitDatabase;
    }
    const bool rows_right = ReportTables(site, out, err);
    const bool plugins_right = ReportPlugins(site, FoldersOf(site_file, plugin_dir), file->data_dir, out, err);
    if (!rows_right) return kExitDatabase;
    return plugins_right ? kExitOk : kExitPlugin;
}

}  // namespace qarhost
