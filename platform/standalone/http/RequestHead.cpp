#include "standalone/http/RequestHead.h"

#include <strings.h>

#include <algorithm>

namespace qarplatform {

namespace {

bool Equals(std::string_view text, std::string_view other) {
    return text.size() == other.size() && strncasecmp(text.data(), other.data(), text.size()) == 0;
}

std::string_view Trimmed(std::string_view text) {
    constexpr const char* kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool ListHas(std::string_view list, std::string_view token) {
    for (;;) {
        const std::size_t comma = list.find(',');
        if (Equals(Trimmed(list.substr(0, comma)), token)) {
            return true;
        }
        if (comma == std::string_view::npos) {
            return false;
        }
        list.remove_prefix(comma + 1);
    }
}

bool IsHost(std::string_view host) {
    return std::all_of(host.begin(), host.end(), [](char character) {
        return character > ' ' && character < 0x7F &&
               std::string_view("\"#%&'(),/;<>?@\\^`{|}").find(character) == std::string_view::npos;
    });
}

/// @return whether the text is 16 bytes in Base64
bool IsWebSocketKey(std::string_view key) {
    constexpr std::size_t kDigits = 22;
    return key.size() == kDigits + 2 && key.substr(kDigits) == "==" &&
           std::all_of(key.begin(), key.begin() + kDigits, [](char character) {
               return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
                      (character >= '0' && character <= '9') || character == '+' || character == '/';
           });
}

}  // namespace

bool LineEndsWithVersion(std::string_view request) {
    constexpr std::string_view kForm = " HTTP/0.0";
    const std::string_view line = request.substr(0, request.find("\r\n"));
    if (line.size() < kForm.size() || std::count(line.begin(), line.end(), ' ') != 2) {
        return false;
    }
    return std::equal(kForm.begin(), kForm.end(), line.end() - kForm.size(), [](char form, char character) {
        return form == '0' ? character >= '0' && character <= '9' : character == form;
    });
}

void RequestHead::SetLine(std::string_view line_verb, std::string_view line_target, int line_version) {
    verb = line_verb;
    target = line_target;
    version = line_version;
}

void RequestHead::AddField(std::string_view name, std::string_view value) {
    if (Equals(name, "Host")) {
        SetOnce(kHost, "Host", host, value);
    } else if (Equals(name, "Origin")) {
        SetOnce(kOrigin, "Origin", origin, value);
    } else if (Equals(name, "Cookie")) {
        cookie.append(cookie.empty() ? "" : "; ").append(value);
    } else if (Equals(name, "Content-Type")) {
        SetOnce(kContentType, "Content-Type", content_type, value);
    } else if (Equals(name, "Content-Length")) {
        SetOnce(kContentLength, "Content-Length", content_length_, value);
    } else if (Equals(name, "Transfer-Encoding")) {
        SetOnce(kTransferEncoding, "Transfer-Encoding", transfer_encoding_, value);
    } else if (Equals(name, "Expect")) {
        SetOnce(kExpect, "Expect", expect_, value);
    } else if (Equals(name, "Connection")) {
        connection_.append(connection_.empty() ? "" : ",").append(value);
    } else if (Equals(name, "Upgrade")) {
        upgrade_.append(upgrade_.empty() ? "" : ",").append(value);
    } else if (Equals(name, "Sec-WebSocket-Key")) {
        SetOnce(kWebSocketKey, "Sec-WebSocket-Key", websocket_key, value);
    } else if (Equals(name, "Sec-WebSocket-Version")) {
        SetOnce(kWebSocketVersion, "Sec-WebSocket-Version", websocket_version_, value);
    }
}

void RequestHead::SetOnce(Field field, const char* name, std::string& text, std::string_view value) {
    if (seen_[field]) {
        repeated_ = name;
    }
    seen_.set(field);
    text = value;
}

Refusal RequestHead::Check() {
    if (verb == "CONNECT" || verb == "TRACE") {
        return {501, "the verb is not served"};
    }
    if (*repeated_) {
        return {400, std::string("the header ") + repeated_ + " is there more than once"};
    }
    if (version >= 11 && !seen_[kHost]) {
        return {400, "the header Host is missing"};
    }
    if (Refusal refusal = CheckTarget(); refusal.status != 0) {
        return refusal;
    }
    if (!IsHost(host)) {
        return {400, "the host is none"};
    }
    if (Refusal refusal = CheckLength(); refusal.status != 0) {
        return refusal;
    }
    if (!expect_.empty()) {
        if (!Equals(expect_, "100-continue")) {
            return {417, "only 100-continue may be expected"};
        }
        expects_continue = version >= 11;
    }
    return CheckUpgrade();
}

Refusal RequestHead::CheckTarget() {
    const std::string_view whole = target;
    const std::size_t scheme = Equals(whole.substr(0, 7), "http://")    ? 7
                               : Equals(whole.substr(0, 8), "https://") ? 8
                                                                        : 0;
    if (scheme != 0) {
        const std::size_t path = std::min(whole.find_first_of("/?", scheme), whole.size());
        host = whole.substr(scheme, path - scheme);
        target = (target.compare(path, 1, "/") == 0 ? "" : "/") + target.substr(path);
        if (host.empty()) {
            return {400, "the target names no host"};
        }
    }
    if (target[0] != '/' && !(target == "*" && verb == "OPTIONS")) {
        return {400, "the target is no path"};
    }
    return {};
}

Refusal RequestHead::CheckLength() const {
    if (seen_[kTransferEncoding]) {
        if (!content_length_.empty()) {
            return {400, "Content-Length and Transfer-Encoding are given both"};
        }
        if (version < 11) {
            return {400, "HTTP/1.0 knows no Transfer-Encoding"};
        }
        if (!Equals(transfer_encoding_, "chunked")) {
            return {501, "only chunked is served as Transfer-Encoding"};
        }
    } else if (version < 11 && content_length_.empty() && (verb == "POST" || verb == "PUT")) {
        return {411, "the header Content-Length is missing"};
    }
    return {};
}

Refusal RequestHead::CheckUpgrade() const {
    if (!IsWebSocket()) {
        return {};
    }
    if (websocket_version_ != "13") {
        return {426, "only version 13 of WebSocket is served"};
    }
    if (verb != "GET" || !IsWebSocketKey(websocket_key) || seen_[kTransferEncoding] ||
        (!content_length_.empty() && content_length_ != "0")) {
        return {400, "the request for a WebSocket is malformed"};
    }
    return {};
}

bool RequestHead::IsWebSocket() const {
    return version >= 11 && ListHas(upgrade_, "websocket") && ListHas(connection_, "upgrade");
}

}  // namespace qarplatform
