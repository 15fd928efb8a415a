#include "standalone/http/RequestGuard.h"

#include <algorithm>

#include "standalone/base/LowerCase.h"
#include "standalone/http/HeaderValue.h"

namespace qarplatform {

namespace {

constexpr std::size_t kSessionIdSize = 32;

// In lower case, without the port that the scheme has anyway.
std::string HostOf(std::string_view host, std::string_view usual_port) {
    std::string lower = LowerCase(host);
    if (lower.ends_with(usual_port)) lower.resize(lower.size() - usual_port.size());
    return lower;
}

}  // namespace

bool CanBeSessionId(std::string_view text) {
    return text.size() == kSessionIdSize &&
           std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}

std::string SessionCookie(std::string_view cookies) {
    while (!cookies.empty()) {
        const std::size_t end = std::min(cookies.find(';'), cookies.size());
        const std::string_view cookie = Trimmed(cookies.substr(0, end));
        cookies.remove_prefix(std::min(end + 1, cookies.size()));
        const std::size_t equals = cookie.find('=');
        if (equals == std::string_view::npos || cookie.substr(0, equals) != kSessionKey) continue;
        const std::string_view value = cookie.substr(equals + 1);
        if (CanBeSessionId(value)) return std::string(value);
    }
    return "";
}

bool IsSameOrigin(std::string_view origin, std::string_view host) {
    const std::string lower = LowerCase(origin);
    for (const auto& [scheme, port] : {std::pair<std::string_view, std::string_view>("http://", ":80"),
                                       std::pair<std::string_view, std::string_view>("https://", ":443")}) {
        if (!lower.starts_with(scheme)) continue;
        return !host.empty() && HostOf(origin.substr(scheme.size()), port) == HostOf(host, port);
    }
    return false;
}

bool IsLocalPath(std::string_view text) {
    const auto is_visible = [](char c) { return c > ' ' && c < '\x7F' && c != '\\'; };
    return !text.empty() && text.front() == '/' && !text.starts_with("//") &&
           std::all_of(text.begin(), text.end(), is_visible);
}

}  // namespace qarplatform
