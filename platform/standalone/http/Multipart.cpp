#include "standalone/http/Multipart.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "standalone/base/LowerCase.h"
#include "standalone/http/HeaderValue.h"
#include "standalone/http/QueryText.h"
#include "standalone/http/Utf8.h"

namespace qarplatform {

namespace {

using ZELPlatform::MsgMimePart;

constexpr std::size_t kMaxParts = 1000;
constexpr std::size_t kMaxHeaderBytes = std::size_t{16} * 1024;
constexpr std::size_t kMaxBoundary = 70;
constexpr std::string_view kLineEnd = "\r\n";

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

bool IsBoundaryChar(char c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool digit = c >= '0' && c <= '9';
    return letter || digit || std::string_view("'()+_,-./:=? ").find(c) != std::string_view::npos;
}

bool IsBoundary(const std::string& text) {
    return !text.empty() && text.size() <= kMaxBoundary && text.back() != ' ' &&
           std::all_of(text.begin(), text.end(), IsBoundaryChar);
}

// File names in the form UTF-8''na%20me; other character sets are passed over, the plain form stands for them.
bool DecodeExtended(const std::string& text, std::string& decoded) {
    const std::size_t charset_end = text.find('\'');
    if (charset_end == std::string::npos || LowerCase(text.substr(0, charset_end)) != "utf-8") return false;
    const std::size_t language_end = text.find('\'', charset_end + 1);
    if (language_end == std::string::npos) return false;
    return PercentDecode(std::string_view(text).substr(language_end + 1), false, decoded) && IsUtf8(decoded) &&
           std::none_of(decoded.begin(), decoded.end(), IsControl);
}

class Reader {
public:
    Reader(std::string_view body, const std::string& boundary) : body_(body), delimiter_("\r\n--" + boundary) {}

    bool Read(std::vector<MsgMimePart>& parts) {
        if (!FindFirstDelimiter()) return Fail("the body holds no boundary line");
        while (!closed_) {
            if (++part_ > kMaxParts) return FailAtPart("is one too many");
            MsgMimePart part;
            if (!ReadHeaders(part)) return false;
            // the line end of the empty line may be the delimiter's own: the part has no data then
            const std::size_t data = at_;
            if (!FindDelimiter(data - kLineEnd.size())) return FailAtPart("has no boundary line behind it");
            part.str_data = body_.substr(data, std::max(found_, data) - data);
            parts.push_back(std::move(part));
        }
        return true;
    }

    const std::string& Error() const { return error_; }

private:
    bool Fail(std::string text) {
        error_ = std::move(text);
        return false;
    }
    bool FailAtPart(const std::string& text) { return Fail("part " + std::to_string(part_) + " " + text); }

    // The delimiter's line end is missing where it begins the body.
    bool FindFirstDelimiter() {
        const std::string_view bare = std::string_view(delimiter_).substr(kLineEnd.size());
        if (body_.substr(0, bare.size()) == bare && EndsDelimiterLine(bare.size())) return true;
        return FindDelimiter(0);
    }

    // Finds the next delimiter that is followed by nothing else in its line. found_ gets its place, at_ the place
    // behind it.
    bool FindDelimiter(std::size_t from) {
        for (found_ = body_.find(delimiter_, from); found_ != std::string_view::npos;
             found_ = body_.find(delimiter_, found_ + delimiter_.size())) {
            if (EndsDelimiterLine(found_ + delimiter_.size())) return true;
        }
        return false;
    }

    bool EndsDelimiterLine(std::size_t at) {
        closed_ = body_.substr(at, 2) == "--";
        if (closed_) return true;
        at = std::min(body_.find_first_not_of(" \t", at), body_.size());
        at_ = at + kLineEnd.size();
        return body_.substr(at, kLineEnd.size()) == kLineEnd;
    }

    // at_ moves behind the empty line.
    bool ReadHeaders(MsgMimePart& part) {
        const std::size_t begin = at_;
        const std::string_view head = body_.substr(begin, kMaxHeaderBytes);
        bool has_disposition = false;
        while (true) {
            const std::size_t line_begin = at_ - begin;
            const std::size_t line_end = head.find(kLineEnd, line_begin);
            if (line_end == std::string_view::npos) {
                return FailAtPart(head.size() == kMaxHeaderBytes ? "has header lines above 16 KiB"
                                                                 : "has header lines without an end");
            }
            at_ = begin + line_end + kLineEnd.size();
            if (line_end == line_begin) break;
            if (!TakeHeaderLine(head.substr(line_begin, line_end - line_begin), part, has_disposition)) return false;
        }
        part.str_headers = body_.substr(begin, at_ - kLineEnd.size() - begin);
        return has_disposition || FailAtPart("has no Content-Disposition");
    }

    bool TakeHeaderLine(std::string_view line, MsgMimePart& part, bool& has_disposition) {
        if (std::any_of(line.begin(), line.end(), [](char c) { return IsControl(c) && c != '\t'; })) {
            return FailAtPart("has a control character in its head");
        }
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || !IsToken(line.substr(0, colon))) {
            return FailAtPart("has a line in its head that is no header");
        }
        const std::string name = LowerCase(line.substr(0, colon));
        const std::string_view value = Trimmed(line.substr(colon + 1));
        if (name == "content-type" && part.str_content_type.empty()) part.str_content_type = value;
        if (name == "content-transfer-encoding" && part.str_transfer_encoding.empty()) {
            part.str_transfer_encoding = value;
        }
        if (name != "content-disposition") return true;
        if (std::exchange(has_disposition, true)) return FailAtPart("has two Content-Dispositions");
        part.str_content_disposition = value;
        return TakeDisposition(part);
    }

    bool TakeDisposition(MsgMimePart& part) {
        HeaderValue header;
        if (!ParseHeaderValue(part.str_content_disposition, header) || header.value != "form-data") {
            return FailAtPart("has a Content-Disposition that is no form-data");
        }
        const std::string* name = header.Param("name");
        if (name == nullptr) return FailAtPart("has no name");
        part.str_name = *name;
        const std::string* extended = header.Param("filename*");
        const std::string* plain = header.Param("filename");
        if (plain != nullptr) part.str_file_name = *plain;
        std::string decoded;
        if (extended != nullptr && DecodeExtended(*extended, decoded)) part.str_file_name = std::move(decoded);
        if (!IsUtf8(part.str_name) || !IsUtf8(part.str_file_name)) return FailAtPart("has a name that is no UTF-8");
        return true;
    }

    const std::string_view body_;
    const std::string delimiter_;
    std::string error_;
    std::size_t part_ = 0;   // number of the part that is read, from 1
    std::size_t at_ = 0;     // where reading goes on
    std::size_t found_ = 0;  // where the last delimiter begins, with its line end
    bool closed_ = false;    // that was the closing one
};

}  // namespace

bool ReadMultipart(std::string_view content_type, std::string_view body, std::vector<MsgMimePart>& parts,
                   std::string& error) {
    HeaderValue type;
    const bool proper = ParseHeaderValue(content_type, type) && type.value == "multipart/form-data";
    const std::string* boundary = proper ? type.Param("boundary") : nullptr;
    if (boundary == nullptr || !IsBoundary(*boundary)) {
        error = "the content type names no proper boundary";
        return false;
    }
    Reader reader(body, *boundary);
    parts.clear();
    if (reader.Read(parts)) return true;
    error = reader.Error();
    return false;
}

}  // namespace qarplatform
