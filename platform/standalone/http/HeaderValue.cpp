#include "standalone/http/HeaderValue.h"

#include <algorithm>
#include <cstddef>

#include "standalone/base/LowerCase.h"

namespace qarplatform {

namespace {

bool IsTokenChar(char c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool digit = c >= '0' && c <= '9';
    return letter || digit || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

void SkipBlanks(std::string_view& text) { text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size())); }

std::string_view TakeToken(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsTokenChar);
    const std::string_view token = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(token.size());
    return token;
}

// @param text  begins with the opening quote; loses the string
bool TakeQuoted(std::string_view& text, std::string& value) {
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            text.remove_prefix(i + 1);
            return true;
        }
        const bool escape = text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\');
        if (escape) ++i;
        value += text[i];
    }
    return false;
}

}  // namespace

const std::string* HeaderValue::Param(std::string_view name) const {
    const auto found = std::find_if(params.begin(), params.end(), [name](const auto& p) { return p.first == name; });
    return found == params.end() ? nullptr : &found->second;
}

bool ParseHeaderValue(std::string_view text, HeaderValue& header) {
    const std::size_t semicolon = std::min(text.find(';'), text.size());
    header.value = LowerCase(Trimmed(text.substr(0, semicolon)));
    header.params.clear();
    if (header.value.empty() || header.value.find('"') != std::string::npos) return false;
    text.remove_prefix(semicolon);
    while (!text.empty()) {
        if (text.front() != ';') return false;
        text.remove_prefix(1);
        SkipBlanks(text);
        if (text.empty() || text.front() == ';') continue;
        std::string name = LowerCase(TakeToken(text));
        if (name.empty() || text.empty() || text.front() != '=') return false;
        text.remove_prefix(1);
        std::string value;
        if (!text.empty() && text.front() == '"') {
            if (!TakeQuoted(text, value)) return false;
        } else {
            value = TakeToken(text);
            if (value.empty()) return false;
        }
        header.params.emplace_back(std::move(name), std::move(value));
        SkipBlanks(text);
    }
    return true;
}

bool IsToken(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenChar); }

std::string_view Trimmed(std::string_view text) {
    SkipBlanks(text);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

}  // namespace qarplatform
