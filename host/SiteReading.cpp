#include "host/SiteReading.h"

#include <filesystem>
#include <ostream>
#include <vector>

namespace qarhost {

std::optional<qarplatform::SiteFile> ReadSite(const std::string& path, std::ostream& err) {
    std::vector<qarplatform::SiteFileError> errors;
    auto file = qarplatform::ReadSiteFile(path, errors);
    for (const auto& error : errors) err << error.Text() << "\n";
    return file;
}

PluginFolders FoldersOf(const std::string& site_file, const std::string& plugin_dir) {
    namespace fs = std::filesystem;
    return {fs::absolute(site_file).parent_path().string(),
            plugin_dir.empty() ? DefaultPluginDir() : fs::absolute(plugin_dir).string()};
}

std::string StorePath(const std::string& data_dir) { return data_dir + "/site.db"; }

bool CheckDatabaseDir(const std::string& database_dir, const std::string& data_dir, std::string& error) {
    if (!qarplatform::SameFolder(database_dir, data_dir)) return true;
    error = "database.dir must not be site.data_dir, where the host's own files lie: " + data_dir;
    return false;
}

}  // namespace qarhost
