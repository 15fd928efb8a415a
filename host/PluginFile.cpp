#include "host/PluginFile.h"

#include <filesystem>
#include <system_error>
#include <vector>

namespace qarhost {

namespace fs = std::filesystem;

std::string DefaultPluginDir() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "lib/qarhost/plugins").string();
}

std::optional<std::string> FindPluginFile(const std::string& path, const PluginFolders& folders, std::string& error) {
    std::vector<fs::path> places;
    if (fs::path(path).is_absolute()) {
        places = {path};
    } else {
        places = {fs::path(folders.site_dir) / path, fs::path(folders.plugin_dir) / path};
    }
    std::string looked;
    for (const fs::path& place : places) {
        std::error_code failed;
        const fs::file_status status = fs::status(place, failed);
        if (fs::is_regular_file(status)) return place.lexically_normal().string();
        looked += looked.empty() ? "" : ", ";
        looked += place.lexically_normal().string();
        if (fs::exists(status)) looked += " (no file)";
    }
    error = "file not found: " + looked;
    return std::nullopt;
}

}  // namespace qarhost
