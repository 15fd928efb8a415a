#include "internal/MaskUrl.h"

#include <algorithm>
#include <cstddef>

namespace qar::internal {

namespace {

constexpr std::string_view kKey = "SID=";

// A session id of the usual form keeps both ends, and its mask does not tell how long it was.
constexpr std::size_t kSessionIdSize = 32;
constexpr std::size_t kShownSize = 6;
constexpr std::string_view kSessionIdStars = "**********";

void AppendMasked(std::string& out, std::string_view text) {
    if (text.size() == kSessionIdSize) {
        out.append(text.substr(0, kShownSize)).append(kSessionIdStars);
        out.append(text.substr(kSessionIdSize - kShownSize));
        return;
    }
    const std::size_t stars = std::max<std::size_t>(text.size() * 3 / 10, 1);
    const std::size_t begin = (text.size() - stars) / 2;
    out.append(text.substr(0, begin)).append(stars, '*').append(text.substr(begin + stars));
}

std::size_t ValueEnd(std::string_view text, std::size_t begin) { return std::min(text.find('&', begin), text.size()); }

}  // namespace

// Equal to replacing "SID=([^&]*)" by an ECMAScript regular expression, whose recursion long texts would exhaust.
std::string MaskUrlForLog(std::string_view text, bool matchSID) {
    std::string masked;
    if (text.empty()) return masked;
    if (!matchSID) {
        AppendMasked(masked, text);
        return masked;
    }
    const std::size_t first_key = text.find(kKey);
    if (first_key == std::string_view::npos) return std::string(text);
    const std::size_t begin = first_key + kKey.size();
    std::size_t end = ValueEnd(text, begin);
    if (end == begin) return std::string(text);

    masked.reserve(text.size());
    masked.append(text.substr(0, begin));
    AppendMasked(masked, text.substr(begin, end - begin));
    const std::size_t mask_size = masked.size() - begin;
    for (std::size_t key = text.find(kKey, end); key != std::string_view::npos; key = text.find(kKey, end)) {
        masked.append(text.substr(end, key + kKey.size() - end));
        masked.append(masked, begin, mask_size);
        end = ValueEnd(text, key + kKey.size());
    }
    return masked.append(text.substr(end));
}

}  // namespace qar::internal
