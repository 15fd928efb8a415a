#pragma once

#include <string>

namespace Mox {
namespace Base {
namespace StringUtil {

/// printf into a string of any length.
/// @param format  printf format, never null
/// @return the text
std::string str_fmt(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace StringUtil
}  // namespace Base
}  // namespace Mox
