#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace http_test {

/// @return how many files of a folder the process has open or mapped, those without a name too
inline int FilesInUse(const std::string& folder) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closed_meanwhile;
        const std::string file = std::filesystem::read_symlink(entry.path(), closed_meanwhile).string();
        if (file.rfind(folder + "/", 0) == 0) ++files;
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(" " + folder + "/") != std::string::npos) ++files;
    }
    return files;
}

}  // namespace http_test
