#include "standalone/http/Answer.h"

#include <algorithm>
#include <utility>

#include "standalone/base/LowerCase.h"
#include "standalone/http/ErrorBody.h"
#include "standalone/http/HeaderValue.h"

namespace qarplatform {

namespace {

constexpr const char* kJson = "application/json; charset=utf-8";
constexpr const char* kHtml = "text/html; charset=utf-8";

}  // namespace

Answer MakeAnswer(unsigned status, std::string type, std::string body) {
    Answer answer;
    answer.head.status = status;
    answer.head.headers.reserve(2);
    answer.head.headers.emplace_back("Content-Type", std::move(type));
    answer.head.headers.emplace_back("Cache-Control", "no-store");
    answer.body = std::move(body);
    return answer;
}

Answer MakeError(unsigned status, std::string_view reason) {
    return MakeAnswer(status, "application/json", ErrorBody(status, reason));
}

Answer MakePage(unsigned status, std::string html) {
    Answer answer = MakeAnswer(status, kHtml, std::move(html));
    answer.head.headers.emplace_back("Content-Security-Policy",
                                     "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; "
                                     "base-uri 'none'; frame-ancestors 'none'");
    answer.head.headers.emplace_back("Referrer-Policy", "no-referrer");
    return answer;
}

Answer MakeRedirect(const std::string& path) {
    Answer answer = MakeAnswer(303, "text/plain; charset=utf-8", "");
    answer.head.headers.emplace_back("Location", path);
    return answer;
}

std::string AnswerType(bool json, std::string_view text) {
    if (json) return kJson;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const std::string start = LowerCase(text.substr(0, 14));
    if (start.starts_with("{") || start.starts_with("[")) return kJson;
    if (start.starts_with("<!doctype html") || start.starts_with("<html")) return kHtml;
    return start.starts_with("<") ? "application/xml; charset=utf-8" : "text/plain; charset=utf-8";
}

void SendAnswer(const std::shared_ptr<Exchange>& exchange, Answer answer) {
    const auto body = std::make_shared<const std::string>(std::move(answer.body));
    exchange->Send(std::move(answer.head), *body, [body](SendResult) {});
}

}  // namespace qarplatform
