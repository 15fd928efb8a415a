#include "standalone/site/HttpSection.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>
#include <string>

namespace qarplatform {

namespace {

constexpr int64_t kMegabyte = 1 << 20;
constexpr int kSecondsPerDay = 24 * 3600;

/// Reads "127.0.0.1:8080" or "[::1]:8080".
bool ReadAddress(const std::string& text, std::string& address, uint16_t& port) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
        return false;
    }
    const char* const end = text.data() + text.size();
    const auto [read, failed] = std::from_chars(text.data() + colon + 1, end, port);
    if (failed != std::errc() || read != end) {
        return false;
    }
    const bool brackets = text[0] == '[' && text[colon - 1] == ']';
    address = brackets ? text.substr(1, colon - 2) : text.substr(0, colon);
    in6_addr binary{};
    return inet_pton(brackets ? AF_INET6 : AF_INET, address.c_str(), &binary) == 1;
}

/// @param address  as ReadAddress gives it
bool IsLoopback(const std::string& address) {
    in_addr ipv4{};
    if (inet_pton(AF_INET, address.c_str(), &ipv4) == 1) {
        return ntohl(ipv4.s_addr) >> 24 == 127;
    }
    in6_addr ipv6{};
    return inet_pton(AF_INET6, address.c_str(), &ipv6) == 1 && std::memcmp(&ipv6, &in6addr_loopback, sizeof ipv6) == 0;
}

void ReadFile(TomlSection& section, const char* key, const std::filesystem::path& folder, std::string& file) {
    std::string path;
    if (!section.Text(key, Need::kOptional, path)) {
        return;
    }
    if (path.empty()) {
        section.Error(key, "must not be empty");
        return;
    }
    file = (folder / path).lexically_normal().string();
}

void ReadSeconds(TomlSection& section, const char* key, int64_t lowest, int64_t highest, std::chrono::seconds& value) {
    int64_t seconds = 0;
    if (section.Integer(key, Need::kOptional, lowest, highest, seconds)) {
        value = std::chrono::seconds(seconds);
    }
}

}  // namespace

HttpOptions ReadHttpSection(TomlSection& section, const std::filesystem::path& folder) {
    HttpOptions options;
    std::string address;
    if (section.Text("address", Need::kOptional, address) && !ReadAddress(address, options.address, options.port)) {
        section.Error("address", "must be an IP address and a port, as in 127.0.0.1:8080 or [::1]:8080, found \"" +
                                     address + "\"");
        options.address = HttpOptions().address;
    }
    ReadFile(section, "certificate", folder, options.certificate_file);
    ReadFile(section, "key", folder, options.key_file);
    if (section.Has("certificate") != section.Has("key")) {
        section.Error(section.Has("key") ? "key" : "certificate", "certificate and key are needed both or neither");
    }
    section.Flag("plain", Need::kOptional, options.plain);
    if (!IsLoopback(options.address) && !section.Has("certificate") && !section.Has("key") && !options.plain) {
        section.Error("address",
                      "passwords and sessions would leave this machine unencrypted: give certificate and "
                      "key, or allow it by plain = true");
    }
    section.Integer("connections", Need::kOptional, 1, 100000, options.connections);
    int64_t megabytes = 0;
    if (section.Integer("body_limit_mb", Need::kOptional, 1, 65536, megabytes)) {
        options.body_bytes = static_cast<uint64_t>(megabytes * kMegabyte);
    }
    ReadSeconds(section, "answer_timeout_s", 1, 3600, options.answer_timeout);
    ReadSeconds(section, "session_idle_s", 1, 366 * kSecondsPerDay, options.sessions.idle);
    section.Integer("login_tries", Need::kOptional, 1, 1000, options.sessions.login_tries);
    ReadSeconds(section, "login_window_s", 1, kSecondsPerDay, options.sessions.login_window);
    section.ReportUnknown();
    return options;
}

}  // namespace qarplatform
