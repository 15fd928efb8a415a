#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace qartest {

/// A folder of a test's own, gone with the object.
class TempFolder {
public:
    TempFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "qar-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make " + path);
        path_ = path;
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }

    /// Writes a file below the folder and gives its path.
    std::string Write(const std::string& name, const std::string& text) const {
        const std::filesystem::path path = path_ / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file << text;
        file.close();
        if (!file) throw std::runtime_error("cannot write " + path.string());
        return path.string();
    }

private:
    std::filesystem::path path_;
};

/// @return the text of a file; "" where there is none
inline std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace qartest
