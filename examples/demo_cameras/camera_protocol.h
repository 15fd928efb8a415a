#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "demo_cameras/connection.h"

namespace demo {

/// A request's start line and headers, as RTSP and HTTP share them.
struct TextRequest {
    std::string method;
    std::string target;
    std::string version;                         // "RTSP/1.0", "HTTP/1.1"
    std::map<std::string, std::string> headers;  // names in lower case
};

/// Nothing where the start line is no "METHOD TARGET VERSION".
std::optional<TextRequest> ParseRequest(const std::string& head);

/// What an archive can hand out at this moment.
struct ArchiveContent {
    int camera = 0;
    std::int64_t begin = 0;  // recorded seconds [begin, end) of the camera's clock
    std::int64_t end = 0;
};

/// Answers a request to the camera's RTSP port: OPTIONS with 200, other methods with 501, what is no RTSP with 400.
/// @param date  value of the Date header; without it the answer has none
Reply AnswerRtsp(const std::string& head, const std::optional<std::string>& date);

/// Answers a request to the camera's HTTP port: GET or HEAD of "/archive/<camera>?begin=<unix>&end=<unix>" with the
/// bytes of these seconds, 416 where some of them are not recorded, 400 where the query is none; "/" with an empty
/// page; other paths with 404 and other methods with 405.
Reply AnswerHttp(const std::string& head, const ArchiveContent& content, const std::optional<std::string>& date);

/// An HTTP answer of failure, as a camera in trouble gives it.
Reply HttpFailure(const std::string& status, const std::optional<std::string>& date);

}  // namespace demo
