#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/auth/SessionOptions.h"
#include "standalone/log/LogControl.h"
#include "standalone/site/SiteRecords.h"

namespace qarplatform {

struct ProbeOptions {
    int period_s = 60;      ///< scaled seconds between two probes of a device
    int timeout_ms = 2000;  ///< real milliseconds for a whole probe
    int failures = 1;       ///< failed probes in a row after which a device counts as away
    int connections = 512;  ///< probes under way at a time
};

/// How users are served.
struct HttpOptions {
    std::string address = "127.0.0.1";  ///< IPv4 or IPv6, without brackets
    uint16_t port = 8080;               ///< 0: a free one
    std::string certificate_file;       ///< absolute; with key_file: HTTPS, else both ""
    std::string key_file;               ///< absolute
    bool plain = false;                 ///< HTTP is meant, where something else protects the way
    std::size_t connections = 1024;
    uint64_t body_bytes = uint64_t{64} << 20;
    std::chrono::seconds answer_timeout{60};
    SessionOptions sessions;

    bool IsSecure() const { return !certificate_file.empty(); }
};

/// Longest data_dir in bytes: the host's control socket lies in it, and the address of a socket holds 107.
constexpr std::size_t kLongestDataDir = 94;

/// A site file, read and tested. Relative paths are made absolute: data_dir, plug-ins' paths, certificate and key from
/// the file's folder, the log and the database from data_dir. A plug-in given by a bare file name that does not stand
/// beside the site file keeps that name, for the host's plug-in folder.
struct SiteFile {
    std::string name;
    std::string data_dir;
    LogOptions log;
    double clock_scale = 1.0;
    std::optional<int64_t> clock_origin_ms;
    std::optional<int64_t> clock_start_ms;
    ProbeOptions probe;
    std::optional<HttpOptions> http;  ///< nothing: users are not served
    Site site;
};

/// One thing that is wrong with a site file.
struct SiteFileError {
    std::string file;
    std::size_t line = 0;  ///< from 1
    std::string key;       ///< "device[3].probe", of the third device; "" for a file that cannot be read or parsed
    std::string message;

    /// @return "site.toml:12: device[3].probe: not an address: …"
    std::string Text() const;
};

/// Reads a site file.
/// @param errors  gets everything that is wrong, in order of lines
/// @return the file; nothing when there is any error
std::optional<SiteFile> ReadSiteFile(const std::string& path, std::vector<SiteFileError>& errors);

/// ReadSiteFile for a text that has been read already.
/// @param path  names the file in errors; relative paths start at its folder
std::optional<SiteFile> ParseSiteFile(std::string_view text, const std::string& path,
                                      std::vector<SiteFileError>& errors);

/// @return whether two absolute paths name one folder; neither needs to be there
bool SameFolder(const std::string& left, const std::string& right);

}  // namespace qarplatform
