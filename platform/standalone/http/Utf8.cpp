#include "standalone/http/Utf8.h"

#include <algorithm>
#include <cstddef>

namespace qarplatform {

namespace {

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// @return how many bytes the text's first character has; 0 when it is none
std::size_t CharacterLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), IsContinuation)) {
        return 0;
    }
    const auto second = static_cast<unsigned char>(text[1]);
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool surrogate = first == 0xED && second > 0x9F;
    const bool too_large = first == 0xF4 && second > 0x8F;
    return overlong || surrogate || too_large ? 0 : length;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string ReplaceNonUtf8(std::string_view text) {
    std::string replaced;
    replaced.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        replaced += length == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return replaced;
}

}  // namespace qarplatform
