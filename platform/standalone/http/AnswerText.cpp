#include "standalone/http/AnswerText.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "standalone/http/ErrorBody.h"

namespace qarplatform {

namespace {

constexpr std::array<std::string_view, 6> kOwnFields = {
    "Content-Length", "Transfer-Encoding", "Connection", "Keep-Alive", "Date", "Server"};

constexpr std::string_view kNoSniff = "X-Content-Type-Options";

bool IsSameField(std::string_view name, std::string_view other) {
    return name.size() == other.size() && strncasecmp(name.data(), other.data(), name.size()) == 0;
}

constexpr std::array<bool, 256> kTokenCharacters = [] {
    std::array<bool, 256> tokens{};
    for (const char token :
         std::string_view("!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ")) {
        tokens[static_cast<unsigned char>(token)] = true;
    }
    return tokens;
}();

bool IsTokenCharacter(char character) { return kTokenCharacters[static_cast<unsigned char>(character)]; }

bool IsControl(char character) {
    return (static_cast<unsigned char>(character) < 0x20 && character != '\t') || character == 0x7F;
}

std::string DateText(std::time_t now) {
    constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                  kDays[static_cast<std::size_t>(utc.tm_wday)], utc.tm_mday,
                  kMonths[static_cast<std::size_t>(utc.tm_mon)], utc.tm_year + 1900, utc.tm_hour, utc.tm_min,
                  utc.tm_sec);
    return text.data();
}

/// Made once a second: to write it takes as long as the rest of a head.
const std::string& DateOf(std::time_t now) {
    thread_local std::time_t of = 0;
    thread_local std::string text = DateText(of);
    if (of != now) {
        text = DateText(now);
        of = now;
    }
    return text;
}

}  // namespace

bool IsSendable(const AnswerHead& head) {
    if (head.status < 200 || head.status > 599) {
        return false;
    }
    return std::all_of(head.headers.begin(), head.headers.end(), [](const auto& field) {
        const std::string& name = field.first;
        return !name.empty() && std::all_of(name.begin(), name.end(), IsTokenCharacter) &&
               std::none_of(field.second.begin(), field.second.end(), IsControl) &&
               std::none_of(kOwnFields.begin(), kOwnFields.end(),
                            [&](std::string_view own) { return IsSameField(name, own); });
    });
}

bool HasBody(unsigned status) { return status != 204 && status != 304; }

std::string AnswerHeadText(const AnswerHead& head, std::size_t body_bytes, int version, bool keep_alive,
                           std::time_t now) {
    constexpr std::size_t kUsualHead = 512;
    std::string text;
    text.reserve(kUsualHead);
    text.append("HTTP/1.1 ").append(std::to_string(head.status)).append(" ").append(StatusText(head.status));
    text.append("\r\nDate: ").append(DateOf(now)).append("\r\nServer: qarhost\r\n");
    bool told_no_sniff = false;
    for (const auto& [name, value] : head.headers) {
        text.append(name).append(": ").append(value).append("\r\n");
        told_no_sniff = told_no_sniff || IsSameField(name, kNoSniff);
    }
    if (!told_no_sniff) {
        text.append(kNoSniff).append(": nosniff\r\n");
    }
    if (HasBody(head.status)) {
        text.append("Content-Length: ").append(std::to_string(body_bytes)).append("\r\n");
    }
    if (!keep_alive) {
        text.append("Connection: close\r\n");
    } else if (version < 11) {
        text.append("Connection: keep-alive\r\n");
    }
    return text.append("\r\n");
}

}  // namespace qarplatform
