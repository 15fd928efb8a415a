#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

/// Deepest nesting of a body that is taken.
inline constexpr int kMaxJsonDepth = 1000;

/// Reads a text through without keeping anything of it.
/// @param error  gets what is wrong and at which byte, from 0
/// @return whether the text is one JSON value in UTF-8, nested at most kMaxJsonDepth deep
bool CheckJson(std::string_view text, std::string& error);

}  // namespace qarplatform
