#include "standalone/http/AnswerText.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "standalone/http/ErrorBody.h"

namespace qarplatform {

namespace {

constexpr std::array<const char*, 6> kOwnFields = {
    "Content-Length", "Transfer-Encoding", "Connection", "Keep-Alive", "Date", "Server"};

bool IsTokenCharacter(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') ||
           std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos;
}

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
                            [&](const char* own) { return strcasecmp(name.c_str(), own) == 0; });
    });
}

bool HasBody(unsigned status) { return status != 204 && status != 304; }

std::string AnswerHeadText(const AnswerHead& head, std::size_t body_bytes, int version, bool keep_alive,
                           std::time_t now) {
    constexpr const char* kNoSniff = "X-Content-Type-Options";
    std::string text = "HTTP/1.1 " + std::to_string(head.status) + " ";
    text += StatusText(head.status);
    text += "\r\nDate: " + DateText(now) + "\r\nServer: qarhost\r\n";
    bool told_no_sniff = false;
    for (const auto& [name, value] : head.headers) {
        text.append(name).append(": ").append(value).append("\r\n");
        told_no_sniff = told_no_sniff || strcasecmp(name.c_str(), kNoSniff) == 0;
    }
    if (!told_no_sniff) {
        text += std::string(kNoSniff) + ": nosniff\r\n";
    }
    if (HasBody(head.status)) {
        text += "Content-Length: " + std::to_string(body_bytes) + "\r\n";
    }
    if (!keep_alive) {
        text += "Connection: close\r\n";
    } else if (version < 11) {
        text += "Connection: keep-alive\r\n";
    }
    return text + "\r\n";
}

}  // namespace qarplatform
