#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

inline constexpr std::string_view kSessionKey = "SID";

/// Whether a text can be a session's id: 32 characters. Others count as none.
bool CanBeSessionId(std::string_view text);

/// @param cookies  the request's cookies: a=1; b=2
/// @return the first value named SID that can be a session's id; "" without one
std::string SessionCookie(std::string_view cookies);

/// Whether a page of this very host made the request.
/// @param origin  the header line Origin, such as https://host:8443
/// @param host    the header line Host, such as host:8443
bool IsSameOrigin(std::string_view origin, std::string_view host);

/// Whether a text leads to a page of this host when it stands in a Location: an absolute path of visible ASCII, which
/// no client takes for the name of another host.
bool IsLocalPath(std::string_view text);

}  // namespace qarplatform
