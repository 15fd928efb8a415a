#pragma once

#include <cstdint>
#include <string>

namespace qarplatform {

enum class ProbeKind {
    kTcp,   ///< a connection is an answer
    kHttp,  ///< HEAD
    kRtsp,  ///< OPTIONS
};

/// Where and how a device is probed.
struct DeviceAddress {
    ProbeKind kind = ProbeKind::kTcp;
    std::string host;  ///< name, IPv4, or IPv6 without brackets
    uint16_t port = 0;
    std::string path;  ///< begins with "/"; empty for tcp

    /// @return "host:port", IPv6 in brackets
    std::string HostAndPort() const;
};

/// Reads tcp://host:port, http://host[:port][/path] or rtsp://host[:port][/path], IPv6 in brackets.
/// @param error  gets what is wrong and what is allowed
/// @return false for anything else; `address` is as it was then
bool ParseDeviceAddress(const std::string& text, DeviceAddress& address, std::string& error);

/// @param error  gets what is wrong and what is allowed
/// @return whether a text is an http:// or https:// URL with a host and without user name, blanks and control
/// characters
bool IsHttpUrl(const std::string& text, std::string& error);

}  // namespace qarplatform
