#include "standalone/site/SiteFile.h"

#include <toml++/toml.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "standalone/site/SiteFileErrors.h"
#include "standalone/site/SiteFileReader.h"

namespace qarplatform {

namespace {

constexpr std::uintmax_t kLargestFile = 64 << 20;

/// @return false with what went wrong
bool ReadText(const std::string& path, std::string& text, std::string& error) {
    std::error_code code;
    const std::filesystem::file_status status = std::filesystem::status(path, code);
    if (!std::filesystem::exists(status)) {
        error = "cannot be read: " + (code ? code.message() : std::string(std::strerror(ENOENT)));
        return false;
    }
    if (!std::filesystem::is_regular_file(status)) {
        error = "cannot be read: it is no file";
        return false;
    }
    if (std::filesystem::file_size(path, code) > kLargestFile || code) {
        error = code ? "cannot be read: " + code.message() : "cannot be read: it is larger than 64 MiB";
        return false;
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(content << file.rdbuf()))) {
        error = std::string("cannot be read: ") + std::strerror(errno == 0 ? EIO : errno);
        return false;
    }
    text = content.str();
    return true;
}

}  // namespace

std::string SiteFileError::Text() const {
    std::string text = file;
    if (line != 0) {
        text += ":" + std::to_string(line);
    }
    text += ": " + (key.empty() ? "" : key + ": ") + message;
    // Keys and values come from the file; the text stays one line and harmless to a terminal.
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
            c = '?';
        }
    }
    return text;
}

std::optional<SiteFile> ReadSiteFile(const std::string& path, std::vector<SiteFileError>& errors) {
    std::string text;
    std::string error;
    if (!ReadText(path, text, error)) {
        errors = {{path, 0, "", error}};
        return std::nullopt;
    }
    return ParseSiteFile(text, path, errors);
}

std::optional<SiteFile> ParseSiteFile(std::string_view text, const std::string& path,
                                      std::vector<SiteFileError>& errors) {
    SiteFileErrors found(path);
    std::optional<SiteFile> site_file;
    try {
        const toml::table root = toml::parse(text, std::string_view(path));
        site_file = SiteFileReader(root, std::filesystem::absolute(path).parent_path(), found).Read();
    } catch (const toml::parse_error& parse_error) {
        found.Add(parse_error.source().begin.line, "", std::string(parse_error.description()));
    }
    errors = found.Sorted();
    if (!errors.empty()) {
        site_file.reset();
    }
    return site_file;
}

bool SameFolder(const std::string& left, const std::string& right) {
    const auto real = [](const std::string& path) {
        const std::filesystem::path folder = std::filesystem::path(path) / "";
        std::error_code failed;
        const std::filesystem::path found = std::filesystem::weakly_canonical(folder, failed);
        return failed ? folder.lexically_normal() : found;
    };
    return real(left) == real(right);
}

}  // namespace qarplatform
