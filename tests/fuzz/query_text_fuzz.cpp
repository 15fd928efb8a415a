// Targets of requests: a path that is taken is its own plain form, and what was decoded can be sent again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "standalone/http/QueryText.h"
#include "standalone/http/Utf8.h"

namespace {

std::string Encoded(std::string_view text, std::string_view plain) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (plain.find(c) != std::string_view::npos) {
            encoded += c;
        } else {
            encoded += '%';
            encoded += kDigits[byte / 16];
            encoded += kDigits[byte % 16];
        }
    }
    return encoded;
}

void Demand(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    qarplatform::Target target;
    std::string error;
    if (!qarplatform::ParseTarget(text, target, error)) {
        Demand(!error.empty());
        return 0;
    }
    const std::string& path = target.path;
    const std::string fenced = path + "/";
    Demand(path.front() == '/' && qarplatform::IsUtf8(path));
    Demand(fenced.find("/../") == std::string::npos && fenced.find("/./") == std::string::npos);
    Demand(path == "/" || fenced.find("//") == std::string::npos);
    Demand(std::none_of(path.begin(), path.end(),
                        [](char c) { return c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }));
    std::string query;
    for (const auto& [key, value] : target.params) query += Encoded(key, "") + "=" + Encoded(value, "") + "&";
    qarplatform::Target again;
    Demand(qarplatform::ParseTarget(Encoded(path, "/") + "?" + query, again, error));
    Demand(again.path == path && again.params == target.params);
    return 0;
}
