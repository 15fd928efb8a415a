#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qarplatform {

inline constexpr std::string_view kSessionKey = "SID";

/// Whether a text can be a session's id: 32 characters. Others count as none.
bool CanBeSessionId(std::string_view text);

/// How users reach the server.
enum class UserScheme {
    kHttp,
    kHttps,
    kEither  ///< HTTP, behind something that may serve them by HTTPS
};

/// @param cookies  the request's cookies: a=1; b=2
/// @return the values named SID that can be sessions' ids, in their order, at most four: another host of the same
///         domain can put one of its own before the right one
std::vector<std::string> SessionCookies(std::string_view cookies);

/// Why a request is refused for the way in which its query names SID: "" when it may. The masking of URLs for the log
/// knows the text "SID=" and what stands behind it, and puts the first one's value in the place of all. So SID may
/// stand there once, the end of a longer key included, and neither the key nor its value may be escaped.
/// @param target  as sent
std::string WrongSessionKey(std::string_view target);

/// Whether a page of this very host made the request.
/// @param origin  the header line Origin, such as https://host:8443
/// @param host    the header line Host, such as host:8443
bool IsSameOrigin(std::string_view origin, std::string_view host, UserScheme scheme);

/// Whether a text leads to a page of this host when it stands in a Location: an absolute path of visible ASCII, which
/// no client takes for the name of another host.
bool IsLocalPath(std::string_view text);

}  // namespace qarplatform
