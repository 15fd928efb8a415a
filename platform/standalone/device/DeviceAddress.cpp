#include "standalone/device/DeviceAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace qarplatform {

namespace {

struct Scheme {
    std::string_view prefix;
    ProbeKind kind;
    uint16_t default_port;  // 0: the port must be given
};

constexpr std::array<Scheme, 3> kSchemes = {
    {{"tcp://", ProbeKind::kTcp, 0}, {"http://", ProbeKind::kHttp, 80}, {"rtsp://", ProbeKind::kRtsp, 554}}};

constexpr std::size_t kLongestAddress = 2048;
constexpr std::size_t kLongestHost = 253;
constexpr unsigned kHighestPort = 65535;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool IsVisible(char c) { return c > ' ' && c < '\x7f'; }

bool IsHostName(std::string_view host) {
    return !host.empty() && host.size() <= kLongestHost && host.front() != '-' && host.front() != '.' &&
           std::all_of(host.begin(), host.end(),
                       [](char c) { return IsDigit(c) || IsLetter(c) || c == '-' || c == '.' || c == '_'; });
}

bool IsIPv6(const std::string& host) {
    in6_addr parsed;
    return inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &parsed) == 1;
}

bool IsNumeric(std::string_view host) {
    return std::all_of(host.begin(), host.end(), [](char c) { return IsDigit(c) || c == '.'; });
}

bool IsIPv4(const std::string& host) {
    in_addr parsed;
    return inet_pton(AF_INET, host.c_str(), &parsed) == 1;
}

/// Reads "host[:port]". @param port  is as it was when the text names none
bool ReadAuthority(std::string_view text, std::string& host, uint16_t& port, std::string& error) {
    if (text.find('@') != std::string_view::npos) {
        error = "must not hold a user name or password";
        return false;
    }
    std::string_view rest;
    if (!text.empty() && text.front() == '[') {
        const std::size_t end = text.find(']');
        host = end == std::string_view::npos ? "" : std::string(text.substr(1, end - 1));
        if (!IsIPv6(host)) {
            error = "between [ and ] must stand an IPv6 address";
            return false;
        }
        rest = text.substr(end + 1);
    } else {
        const std::size_t colon = text.find(':');
        host = std::string(text.substr(0, colon));
        rest = colon == std::string_view::npos ? std::string_view() : text.substr(colon);
        if (rest.find(':', 1) != std::string_view::npos) {
            error = "an IPv6 address must stand between [ and ]";
            return false;
        }
        if (!IsHostName(host) || (IsNumeric(host) && !IsIPv4(host))) {
            error = "must name a host: a name, an IPv4 address or an IPv6 address between [ and ]";
            return false;
        }
    }
    if (rest.empty()) {
        return true;
    }
    unsigned number = 0;
    const std::string_view digits = rest.substr(1);
    if (rest.front() != ':' || digits.empty() || digits.size() > 5 ||
        !std::all_of(digits.begin(), digits.end(), IsDigit)) {
        error = "the port must be a number from 1 to 65535";
        return false;
    }
    for (const char c : digits) {
        number = number * 10 + static_cast<unsigned>(c - '0');
    }
    if (number < 1 || number > kHighestPort) {
        error = "the port must be a number from 1 to 65535";
        return false;
    }
    port = static_cast<uint16_t>(number);
    return true;
}

bool IsPlainText(const std::string& text, std::string& error) {
    if (text.size() > kLongestAddress) {
        error = "must not be longer than 2048 characters";
        return false;
    }
    if (!std::all_of(text.begin(), text.end(), IsVisible)) {
        error = "must hold visible ASCII characters only";
        return false;
    }
    return true;
}

}  // namespace

std::string DeviceAddress::HostAndPort() const {
    const bool bracketed = host.find(':') != std::string::npos;
    return (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

bool ParseDeviceAddress(const std::string& text, DeviceAddress& address, std::string& error) {
    if (!IsPlainText(text, error)) {
        return false;
    }
    const auto scheme = std::find_if(kSchemes.begin(), kSchemes.end(),
                                     [&text](const Scheme& known) { return text.starts_with(known.prefix); });
    if (scheme == kSchemes.end()) {
        error = "must begin with tcp://, http:// or rtsp://";
        return false;
    }
    const std::string_view rest = std::string_view(text).substr(scheme->prefix.size());
    const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
    DeviceAddress read;
    read.kind = scheme->kind;
    read.port = scheme->default_port;
    if (!ReadAuthority(rest.substr(0, end), read.host, read.port, error)) {
        return false;
    }
    if (read.port == 0) {
        error = "must name a port, as in tcp://host:80";
        return false;
    }
    const std::string_view target = rest.substr(end);
    read.path = std::string(target.substr(0, target.find('#')));
    if (read.kind == ProbeKind::kTcp) {
        if (!read.path.empty() && read.path != "/") {
            error = "must end after the port";
            return false;
        }
        read.path.clear();
    } else if (!read.path.starts_with('/')) {
        read.path.insert(0, 1, '/');
    }
    address = read;
    return true;
}

bool IsHttpUrl(const std::string& text, std::string& error) {
    if (!IsPlainText(text, error)) {
        return false;
    }
    const std::size_t scheme = text.starts_with("http://") ? 7 : text.starts_with("https://") ? 8 : 0;
    if (scheme == 0) {
        error = "must begin with http:// or https://";
        return false;
    }
    const std::string_view rest = std::string_view(text).substr(scheme);
    std::string host;
    uint16_t port = 0;
    return ReadAuthority(rest.substr(0, rest.find_first_of("/?#")), host, port, error);
}

}  // namespace qarplatform
