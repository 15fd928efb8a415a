#include "mock/RequestText.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace qarmock {

namespace {

int HexValue(char digit) {
    static const std::string digits = "0123456789abcdef";
    const auto found = digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(digit))));
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

std::string Decode(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// The value of a header line; "" when it is absent.
std::string HeaderLine(const std::string& headers, const std::string& name) {
    std::istringstream lines(headers);
    std::string line;
    while (std::getline(lines, line)) {
        const auto colon = line.find(':');
        if (colon == std::string::npos || Lower(line.substr(0, colon)) != name) continue;
        const auto first = line.find_first_not_of(" \t", colon + 1);
        const auto last = line.find_last_not_of(" \t\r");
        return first == std::string::npos || first > last ? "" : line.substr(first, last - first + 1);
    }
    return "";
}

ZELPlatform::MsgMimePart MakePart(const std::string& headers, const std::string& data) {
    ZELPlatform::MsgMimePart part;
    part.str_content_type = HeaderLine(headers, "content-type");
    part.str_content_disposition = HeaderLine(headers, "content-disposition");
    part.str_name = HeaderParam(part.str_content_disposition, "name");
    part.str_file_name = HeaderParam(part.str_content_disposition, "filename");
    part.str_transfer_encoding = HeaderLine(headers, "content-transfer-encoding");
    part.str_headers = headers;
    part.str_data = data;
    return part;
}

}  // namespace

void AddParams(const std::string& text, std::map<std::string, std::string>& params) {
    std::istringstream pairs(text);
    std::string pair;
    while (std::getline(pairs, pair, '&')) {
        if (pair.empty()) continue;
        const auto sign = pair.find('=');
        const std::string value = sign == std::string::npos ? "" : pair.substr(sign + 1);
        params.emplace(Decode(pair.substr(0, sign)), Decode(value));
    }
}

void AddParts(const std::string& body, const std::string& boundary, std::vector<ZELPlatform::MsgMimePart>& parts) {
    const std::string end_of_line = "\r\n";
    const std::string delimiter = end_of_line + "--" + boundary;
    const std::string text = end_of_line + body;
    auto begin = text.find(delimiter);
    while (begin != std::string::npos) {
        begin += delimiter.size();
        const auto end = text.find(delimiter, begin);
        const auto blank = text.find(end_of_line + end_of_line, begin);
        if (end == std::string::npos || blank >= end || text.compare(begin, 2, end_of_line) != 0) return;
        begin += end_of_line.size();
        const std::string headers = blank < begin ? "" : text.substr(begin, blank + end_of_line.size() - begin);
        const auto data = blank + 2 * end_of_line.size();
        parts.push_back(MakePart(headers, text.substr(data, end - data)));
        begin = end;
    }
}

std::string HeaderParam(const std::string& value, const std::string& name) {
    const std::string wanted = Lower(name);
    for (auto mark = value.find(';'); mark != std::string::npos; mark = value.find(';', mark + 1)) {
        const auto first = value.find_first_not_of(" \t", mark + 1);
        const auto sign = value.find('=', mark);
        if (first == std::string::npos || sign == std::string::npos) return "";
        if (Lower(value.substr(first, sign - first)) != wanted) continue;
        if (value[sign + 1] != '"') return value.substr(sign + 1, value.find(';', sign) - sign - 1);
        return value.substr(sign + 2, value.find('"', sign + 2) - sign - 2);
    }
    return "";
}

bool IsNumber(const std::string& segment) {
    const std::size_t first = !segment.empty() && segment[0] == '-' ? 1 : 0;
    return segment.size() > first && std::all_of(segment.begin() + static_cast<std::ptrdiff_t>(first), segment.end(),
                                                 [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string ContentTypeOf(bool json, const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    const std::string start = first == std::string::npos ? "" : Lower(text.substr(first, 14));
    const auto begins = [&](const char* word) { return start.rfind(word, 0) == 0; };
    const char* type = "text/plain";
    if (json || begins("{") || begins("[")) {
        type = "application/json";
    } else if (begins("<!doctype html") || begins("<html")) {
        type = "text/html";
    } else if (begins("<")) {
        type = "application/xml";
    }
    return std::string(type) + "; charset=utf-8";
}

}  // namespace qarmock
