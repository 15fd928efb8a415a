// Multipart bodies: the first line is the content type, the rest the body. Parts that were read make a body of which
// the same parts are read.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/http/Multipart.h"
#include "standalone/http/Utf8.h"

namespace {

using ZELPlatform::MsgMimePart;

void Demand(bool holds) {
    if (!holds) std::abort();
}

std::string BodyOf(const std::vector<MsgMimePart>& parts, const std::string& boundary) {
    std::string body;
    for (const MsgMimePart& part : parts) {
        body += "--" + boundary + "\r\n" + part.str_headers + "\r\n" + part.str_data + "\r\n";
    }
    return body + "--" + boundary + "--";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t line_end = std::min(text.find('\n'), text.size());
    const std::string_view body = text.substr(std::min(line_end + 1, text.size()));
    std::vector<MsgMimePart> parts;
    std::string error;
    if (!qarplatform::ReadMultipart(text.substr(0, line_end), body, parts, error)) {
        Demand(!error.empty());
        return 0;
    }
    std::size_t bytes = 0;
    for (const MsgMimePart& part : parts) {
        bytes += part.str_headers.size() + part.str_data.size();
        Demand(!part.str_content_disposition.empty());
        Demand(qarplatform::IsUtf8(part.str_name) && qarplatform::IsUtf8(part.str_file_name));
    }
    Demand(bytes <= body.size() && parts.size() <= 1000);
    std::string boundary = "b";
    while (body.find(boundary) != std::string_view::npos && boundary.size() < 70) boundary += 'b';
    if (boundary.size() == 70) return 0;
    std::vector<MsgMimePart> again;
    Demand(qarplatform::ReadMultipart("multipart/form-data; boundary=\"" + boundary + "\"", BodyOf(parts, boundary),
                                      again, error));
    Demand(again.size() == parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        Demand(again[i].str_data == parts[i].str_data && again[i].str_headers == parts[i].str_headers);
        Demand(again[i].str_name == parts[i].str_name && again[i].str_file_name == parts[i].str_file_name);
    }
    return 0;
}
