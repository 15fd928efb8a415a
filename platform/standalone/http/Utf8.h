#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

/// @return whether the whole text is UTF-8: no surrogates, no overlong forms, nothing above U+10FFFF
bool IsUtf8(std::string_view text);

/// @return the text, each byte that belongs to no UTF-8 character replaced by U+FFFD
std::string ReplaceNonUtf8(std::string_view text);

}  // namespace qarplatform
