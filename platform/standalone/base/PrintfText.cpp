#include "standalone/base/PrintfText.h"

#include <array>
#include <cstddef>
#include <cstdio>

namespace qarplatform {

std::string PrintfText(const char* format, va_list arguments) {
    std::array<char, 1024> small;
    va_list again;
    va_copy(again, arguments);
    const int rendered = std::vsnprintf(small.data(), small.size(), format, arguments);
    if (rendered < 0) {
        va_end(again);
        return format;
    }
    const auto length = static_cast<std::size_t>(rendered);
    std::string text;
    if (length < small.size()) {
        text.assign(small.data(), length);
    } else {
        text.resize(length);
        std::vsnprintf(text.data(), length + 1, format, again);
    }
    va_end(again);
    return text;
}

}  // namespace qarplatform
