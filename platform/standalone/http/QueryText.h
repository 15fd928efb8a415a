#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace qarplatform {

/// Most keys that a request may carry in its query and its form together.
inline constexpr std::size_t kMaxQueryKeys = 1000;

using QueryParams = std::map<std::string, std::string>;

/// Decodes "%41" and, with `plus_is_blank`, "+".
/// @return false when a '%' is not followed by two hexadecimal digits
bool PercentDecode(std::string_view text, bool plus_is_blank, std::string& decoded);

/// Brings a path into the form in which URLs are compared: decoded, without a '/' at its end.
/// Refused is what could mean another path to someone else: a segment that is empty, "." or "..", a control character
/// or a backslash, an encoded '/', and what is no UTF-8.
/// @param path   as sent, without a query
/// @param error  gets what is wrong
bool NormalPath(std::string_view path, std::string& normal, std::string& error);

/// Adds the keys and values of a query or of a body of type application/x-www-form-urlencoded. Of equal keys the first
/// stays.
/// @param error  gets what is wrong: a bad escape, a text that is no UTF-8 or holds a NUL, more than kMaxQueryKeys keys
bool AddQuery(std::string_view query, QueryParams& params, std::string& error);

/// What a request asks for.
struct Target {
    std::string path;  ///< as NormalPath gives it
    QueryParams params;
};

/// @return the part of a target before its query, as sent
std::string_view PathOf(std::string_view target);

/// @param text  the request's target as sent: path and query
bool ParseTarget(std::string_view text, Target& target, std::string& error);

}  // namespace qarplatform
