#include "standalone/http/QueryText.h"

#include <algorithm>
#include <utility>

#include "standalone/http/Utf8.h"

namespace qarplatform {

namespace {

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool Fail(std::string& error, std::string_view text) {
    error = text;
    return false;
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

// Decodes a key or a value.
bool DecodeField(std::string_view text, std::string& decoded, std::string& error) {
    if (!PercentDecode(text, true, decoded)) return Fail(error, "the query has a '%' without two digits");
    if (decoded.find('\0') != std::string::npos) return Fail(error, "the query has a NUL");
    if (!IsUtf8(decoded)) return Fail(error, "the query is no UTF-8");
    return true;
}

}  // namespace

bool PercentDecode(std::string_view text, bool plus_is_blank, std::string& decoded) {
    decoded.clear();
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            const int high = i + 1 < text.size() ? HexDigit(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
            if (high < 0 || low < 0) return false;
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += plus_is_blank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return true;
}

bool NormalPath(std::string_view path, std::string& normal, std::string& error) {
    if (path.empty() || path.front() != '/') return Fail(error, "the path does not begin with '/'");
    if (path.find('?') != std::string_view::npos || path.find('#') != std::string_view::npos)
        return Fail(error, "the path has a '?' or '#'");
    std::string decoded;
    if (!PercentDecode(path, false, decoded)) return Fail(error, "the path has a '%' without two digits");
    if (std::count(decoded.begin(), decoded.end(), '/') != std::count(path.begin(), path.end(), '/')) {
        return Fail(error, "the path has an encoded '/'");
    }
    if (decoded.find('\\') != std::string::npos) return Fail(error, "the path has a backslash");
    if (std::any_of(decoded.begin(), decoded.end(), IsControl)) return Fail(error, "the path has a control character");
    if (!IsUtf8(decoded)) return Fail(error, "the path is no UTF-8");
    const bool is_root = decoded == "/";
    if (!is_root && decoded.back() == '/') decoded.pop_back();
    for (std::size_t begin = 1; !is_root && begin <= decoded.size();) {
        const std::size_t end = std::min(decoded.find('/', begin), decoded.size());
        const std::string_view segment = std::string_view(decoded).substr(begin, end - begin);
        if (segment.empty()) return Fail(error, "the path has an empty segment");
        if (segment == "." || segment == "..") return Fail(error, "the path has a segment \".\" or \"..\"");
        begin = end + 1;
    }
    normal = std::move(decoded);
    return true;
}

bool AddQuery(std::string_view query, QueryParams& params, std::string& error) {
    for (std::size_t begin = 0; begin < query.size();) {
        const std::size_t end = std::min(query.find('&', begin), query.size());
        const std::string_view pair = query.substr(begin, end - begin);
        begin = end + 1;
        if (pair.empty()) continue;
        const std::size_t equals = std::min(pair.find('='), pair.size());
        std::string key;
        std::string value;
        if (!DecodeField(pair.substr(0, equals), key, error)) return false;
        if (!DecodeField(pair.substr(std::min(equals + 1, pair.size())), value, error)) return false;
        params.emplace(std::move(key), std::move(value));
        if (params.size() > kMaxQueryKeys) return Fail(error, "the query has more than 1000 keys");
    }
    return true;
}

std::string_view PathOf(std::string_view target) { return target.substr(0, target.find('?')); }

bool ParseTarget(std::string_view text, Target& target, std::string& error) {
    const std::string_view path = PathOf(text);
    if (!NormalPath(path, target.path, error)) return false;
    return AddQuery(text.substr(std::min(path.size() + 1, text.size())), target.params, error);
}

}  // namespace qarplatform
