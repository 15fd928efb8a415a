#pragma once

#include <cstdarg>
#include <string>

namespace qarplatform {

/// printf into a string of any length.
/// @param arguments  are used up
/// @return the text; the format itself when it cannot be rendered
std::string PrintfText(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace qarplatform
