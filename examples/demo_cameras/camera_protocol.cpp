#include "demo_cameras/camera_protocol.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

namespace demo {

namespace {

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Header(const TextRequest& request, const std::string& name) {
    const auto found = request.headers.find(name);
    return found == request.headers.end() ? "" : found->second;
}

std::string DateLine(const std::optional<std::string>& date) { return date ? "Date: " + *date + "\r\n" : ""; }

/// The value of a key of "a=1&b=2" as a whole number.
std::optional<std::int64_t> QueryNumber(const std::string& query, const std::string& key) {
    std::istringstream parts(query);
    for (std::string part; std::getline(parts, part, '&');) {
        if (part.compare(0, key.size() + 1, key + "=") != 0) {
            continue;
        }
        std::int64_t value = 0;
        const char* first = part.data() + key.size() + 1;
        const char* last = part.data() + part.size();
        const auto [end, error] = std::from_chars(first, last, value);
        return error == std::errc() && end == last ? std::optional(value) : std::nullopt;
    }
    return std::nullopt;
}

Reply HttpReply(const std::string& status, const std::string& more_headers, std::int64_t length,
                const std::optional<std::string>& date) {
    Reply reply;
    reply.text = "HTTP/1.1 " + status + "\r\n" + DateLine(date) + more_headers +
                 "Content-Length: " + std::to_string(length) + "\r\n\r\n";
    return reply;
}

Reply AnswerTarget(const TextRequest& request, const ArchiveContent& content, const std::optional<std::string>& date) {
    if (request.method != "GET" && request.method != "HEAD") {
        return HttpReply("405 Method Not Allowed", "Allow: GET, HEAD\r\n", 0, date);
    }
    if (request.target == "/") {
        return HttpReply("200 OK", "", 0, date);
    }
    const std::string path = "/archive/" + std::to_string(content.camera);
    const std::size_t question = request.target.find('?');
    if (request.target.substr(0, question) != path) {
        return HttpFailure("404 Not Found", date);
    }
    const std::string query = question == std::string::npos ? "" : request.target.substr(question + 1);
    const auto begin = QueryNumber(query, "begin");
    const auto end = QueryNumber(query, "end");
    if (!begin || !end || *begin >= *end) {
        return HttpFailure("400 Bad Request", date);
    }
    if (*begin < content.begin || *end > content.end) {
        return HttpFailure("416 Range Not Satisfiable", date);
    }
    Reply reply = HttpReply("200 OK", "Content-Type: application/octet-stream\r\n",
                            (*end - *begin) * Recording::kBytesPerSecond, date);
    if (request.method == "GET") {
        reply.body_begin = *begin;
        reply.body_end = *end;
    }
    return reply;
}

}  // namespace

std::optional<TextRequest> ParseRequest(const std::string& head) {
    std::istringstream lines(head);
    const auto next_line = [&lines](std::string& line) {
        if (!std::getline(lines, line)) {
            return false;
        }
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        return true;
    };
    std::string line;
    TextRequest request;
    if (!next_line(line)) {
        return std::nullopt;
    }
    std::istringstream words(line);
    std::string excess;
    if (!(words >> request.method >> request.target >> request.version) || words >> excess) {
        return std::nullopt;
    }
    while (next_line(line) && !line.empty()) {
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos) {
            request.headers[Lower(Trimmed(line.substr(0, colon)))] = Trimmed(line.substr(colon + 1));
        }
    }
    return request;
}

Reply AnswerRtsp(const std::string& head, const std::optional<std::string>& date) {
    const std::optional<TextRequest> request = ParseRequest(head);
    Reply reply;
    if (!request || request->version.compare(0, 5, "RTSP/") != 0) {
        reply.text = "RTSP/1.0 400 Bad Request\r\n" + DateLine(date) + "\r\n";
        reply.close = true;
        return reply;
    }
    const bool known = request->method == "OPTIONS";
    reply.text = known ? "RTSP/1.0 200 OK\r\n" : "RTSP/1.0 501 Not Implemented\r\n";
    const std::string sequence = Header(*request, "cseq");
    if (!sequence.empty()) {
        reply.text += "CSeq: " + sequence + "\r\n";
    }
    reply.text += DateLine(date) + "Public: OPTIONS\r\n\r\n";
    reply.close = Lower(Header(*request, "connection")) == "close";
    return reply;
}

Reply AnswerHttp(const std::string& head, const ArchiveContent& content, const std::optional<std::string>& date) {
    const std::optional<TextRequest> request = ParseRequest(head);
    if (!request || request->version.compare(0, 5, "HTTP/") != 0) {
        Reply reply = HttpFailure("400 Bad Request", date);
        reply.close = true;
        return reply;
    }
    Reply reply = AnswerTarget(*request, content, date);
    reply.close = Lower(Header(*request, "connection")) == "close" || request->version == "HTTP/1.0";
    return reply;
}

Reply HttpFailure(const std::string& status, const std::optional<std::string>& date) {
    return HttpReply(status, "", 0, date);
}

}  // namespace demo
