#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace site_test {

/// A folder that lasts as long as the object.
class SiteFolder {
public:
    SiteFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "qar-site-XXXXXX").string();
        if (!mkdtemp(path.data())) {
            throw std::runtime_error("no folder can be made at " + path);
        }
        path_ = path;
    }
    ~SiteFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    SiteFolder(const SiteFolder&) = delete;
    SiteFolder& operator=(const SiteFolder&) = delete;

    std::string At(const std::string& name) const { return (path_ / name).string(); }

    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return At(name);
    }

private:
    std::filesystem::path path_;
};

}  // namespace site_test
