#include "standalone/http/RequestGuard.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "standalone/base/LowerCase.h"
#include "standalone/http/HeaderValue.h"
#include "standalone/http/QueryText.h"

namespace qarplatform {

namespace {

constexpr std::size_t kSessionIdSize = 32;
constexpr std::size_t kMostSessionCookies = 4;

struct OriginScheme {
    UserScheme scheme;
    std::string_view start;  // of an origin
    std::string_view usual_port;
};

constexpr std::array<OriginScheme, 2> kOriginSchemes = {
    {{UserScheme::kHttp, "http://", ":80"}, {UserScheme::kHttps, "https://", ":443"}}};

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

std::vector<std::string> SessionCookies(std::string_view cookies) {
    std::vector<std::string> sessions;
    while (!cookies.empty() && sessions.size() < kMostSessionCookies) {
        const std::size_t end = std::min(cookies.find(';'), cookies.size());
        const std::string_view cookie = Trimmed(cookies.substr(0, end));
        cookies.remove_prefix(std::min(end + 1, cookies.size()));
        const std::size_t equals = cookie.find('=');
        if (equals == std::string_view::npos || cookie.substr(0, equals) != kSessionKey) continue;
        const std::string_view value = cookie.substr(equals + 1);
        if (CanBeSessionId(value)) sessions.emplace_back(value);
    }
    return sessions;
}

std::string WrongSessionKey(std::string_view target) {
    const std::string_view query = target.substr(std::min(target.find('?'), target.size()));
    int named = 0;
    bool escaped = false;
    for (std::string_view rest = query; !rest.empty();) {
        rest.remove_prefix(1);
        const std::size_t end = std::min(rest.find('&'), rest.size());
        const std::string_view pair = rest.substr(0, end);
        const std::string_view sent_key = pair.substr(0, pair.find('='));
        std::string key;
        if (PercentDecode(sent_key, true, key) && key == kSessionKey) {
            ++named;
            if (sent_key != kSessionKey || pair.find_first_of("%+") != std::string_view::npos) escaped = true;
        }
        rest.remove_prefix(end);
    }
    const std::string assignment = std::string(kSessionKey) + "=";
    if (named > 1 || query.find(assignment) != query.rfind(assignment)) return "the query names SID more than once";
    return escaped ? "the query's key SID or its value is escaped" : "";
}

bool IsSameOrigin(std::string_view origin, std::string_view host, UserScheme scheme) {
    const std::string lower = LowerCase(origin);
    return std::any_of(kOriginSchemes.begin(), kOriginSchemes.end(), [&](const OriginScheme& known) {
        return (scheme == known.scheme || scheme == UserScheme::kEither) && lower.starts_with(known.start) &&
               !host.empty() &&
               HostOf(origin.substr(known.start.size()), known.usual_port) == HostOf(host, known.usual_port);
    });
}

bool IsLocalPath(std::string_view text) {
    const auto is_visible = [](char c) { return c > ' ' && c < '\x7F' && c != '\\'; };
    return !text.empty() && text.front() == '/' && !text.starts_with("//") &&
           std::all_of(text.begin(), text.end(), is_visible);
}

}  // namespace qarplatform
