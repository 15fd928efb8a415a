#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

/// @return the text with A to Z as a to z; other bytes stay
std::string LowerCase(std::string_view text);

}  // namespace qarplatform
