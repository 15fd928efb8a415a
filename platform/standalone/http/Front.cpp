#include "standalone/http/Front.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "standalone/base/DescribedTask.h"
#include "standalone/http/HeaderValue.h"
#include "standalone/http/JsonCheck.h"
#include "standalone/http/Multipart.h"
#include "standalone/http/Pages.h"
#include "standalone/http/RequestGuard.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

using ZELPlatform::MsgIn;

constexpr int kIdleSeconds = 10;
constexpr int kNoMethod = -1;

int MethodOfVerb(std::string_view verb) {
    if (verb == "GET" || verb == "HEAD") return ZELPlatform::kMethodGet;
    if (verb == "PUT") return ZELPlatform::kMethodPut;
    if (verb == "POST") return ZELPlatform::kMethodPost;
    return verb == "DELETE" ? ZELPlatform::kMethodDelete : kNoMethod;
}

/// What key MT of a POST names.
int MethodOfWord(std::string_view word) {
    if (word == "PUT") return ZELPlatform::kMethodPut;
    if (word == "POST") return ZELPlatform::kMethodPost;
    if (word == "DELETE") return ZELPlatform::kMethodDelete;
    return word == "GET" ? ZELPlatform::kMethodPostGet : kNoMethod;
}

bool ChangesState(const ClientRequest& request) {
    return request.websocket || (request.verb != "GET" && request.verb != "HEAD");
}

Answer MethodNotAllowed(const std::string& allow) {
    Answer answer = MakeError(405, "the URL takes " + allow);
    answer.head.headers.emplace_back("Allow", allow);
    return answer;
}

Answer NoSession() {
    Answer answer = MakeError(401, "log in first");
    answer.head.headers.emplace_back("WWW-Authenticate", "Session");
    return answer;
}

Answer Busy(const char* reason) {
    Answer answer = MakeError(503, reason);
    answer.head.headers.emplace_back("Retry-After", "1");
    return answer;
}

/// Reads a body by its type. @return false for one that is not what its URL or type says
bool ReadBody(const ClientRequest& request, bool json, MsgIn& in, std::string& error) {
    in.p_body = request.body.data();
    in.n_body_size = request.body.size();
    if (json) {
        if (request.body.empty() || CheckJson(request.body, error)) return true;
        error = "the body is no JSON: " + error;
        return false;
    }
    HeaderValue type;
    if (!ParseHeaderValue(request.content_type, type)) return true;
    if (type.value == "application/x-www-form-urlencoded") return AddQuery(request.body, in.map_params, error);
    if (type.value == "multipart/form-data")
        return ReadMultipart(request.content_type, request.body, in.vec_mime, error);
    return true;
}

}  // namespace

/// A request that is worked on; counted until it is let go of.
class Front::Work : public DescribedTask {
public:
    Work(std::shared_ptr<Front> front, ClientRequest request)
        : front_(std::move(front)), request_(std::move(request)) {}
    ~Work() override { front_->Ended(); }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    void Exec() override { front_->Serve(*this); }

    const ClientRequest& Request() const { return request_; }

    /// @param path  of the request, which is the binding's URL and numbers: nothing secret
    void HandedTo(const UrlBinding& binding, const std::string& path) {
        std::lock_guard<std::mutex> lock(mutex_);
        handler_ = "plug-in " + binding.plugin + " at a request for " + path;
    }

    std::string Description() const override {
        std::lock_guard<std::mutex> lock(mutex_);
        return handler_.empty() ? "a request from " + request_.remote : handler_;
    }

private:
    const std::shared_ptr<Front> front_;
    const ClientRequest request_;

    mutable std::mutex mutex_;
    std::string handler_;  // guarded by mutex_; "" until a plug-in has it
};

Front::Front(UrlTable& urls, Answers& answers, PushBoard& board, FrontSessions sessions, std::size_t requests,
             bool https)
    : urls_(urls),
      answers_(answers),
      board_(board),
      sessions_(sessions),
      login_(std::move(sessions), https),
      most_requests_(requests) {}

bool Front::Start() {
    const std::size_t threads = std::min<std::size_t>(most_requests_, std::numeric_limits<int>::max());
    if (!pool_.Start(1, static_cast<int>(threads), kIdleSeconds)) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = false;
    return true;
}

void Front::Stop(std::chrono::steady_clock::time_point deadline) {
    std::size_t left = 0;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        stopped_ = true;
        ended_.wait_until(lock, deadline, [this] { return at_work_ == 0; });
        left = at_work_;
    }
    if (left > 0) LogSinkWrite(kLogWarning, kModulePlatform, "%zu requests are left behind at work", left);
    pool_.Stop(false);
}

void Front::Handle(ClientRequest request) {
    const char* refusal = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) {
            refusal = "the server stops";
        } else if (at_work_ >= most_requests_) {
            refusal = "too many requests at a time";
        } else {
            ++at_work_;
        }
    }
    if (refusal != nullptr) {
        SendAnswer(request.exchange, Busy(refusal));
    } else {
        pool_.PostTask(std::make_shared<Work>(shared_from_this(), std::move(request)));
    }
}

void Front::Ended() {
    std::lock_guard<std::mutex> lock(mutex_);
    --at_work_;
    ended_.notify_all();
}

void Front::Serve(Work& work) {
    const ClientRequest& request = work.Request();
    std::optional<Answer> answer;
    try {
        answer = Route(work);
    } catch (const std::exception& error) {
        // the target may hold a session's id
        LogSinkWrite(kLogError, kModulePlatform, "a request from %s failed: %s", request.remote.c_str(), error.what());
        answer = MakeError(500, "the request failed");
    }
    if (answer) SendAnswer(request.exchange, std::move(*answer));
}

std::optional<Answer> Front::Route(Work& work) {
    const ClientRequest& request = work.Request();
    Call call{work, request, {}, {}, false};
    std::string error;
    if (!ParseTarget(request.target, call.target, error)) return MakeError(400, error);
    FindSession(call);
    const std::string& path = call.target.path;
    const bool guarded = call.session_of_cookie || path == "/login";
    if (guarded && ChangesState(request) && !request.origin.empty() && !IsSameOrigin(request.origin, request.host)) {
        return MakeError(403, "the request comes from another site");
    }
    if (path == "/push") return OpenPush(call);
    if (request.websocket) return MakeError(404, "WebSockets are opened at /push");
    if (path == "/login") return ServeLogin(call);
    if (path == "/logout") return ServeLogout(call);
    if (path == "/") return ServeIndex(call);
    return CallPlugin(call);
}

void Front::FindSession(Call& call) const {
    const std::string cookie = SessionCookie(call.request.cookie);
    if (!cookie.empty()) call.session = sessions_.use(cookie);
    call.session_of_cookie = call.session.has_value();
    const auto key = call.target.params.find(std::string(kSessionKey));
    if (key == call.target.params.end()) return;
    if (!call.session && CanBeSessionId(key->second)) call.session = sessions_.use(key->second);
}

std::optional<Answer> Front::OpenPush(const Call& call) {
    if (!call.session) return NoSession();
    if (!call.request.websocket) {
        Answer answer = MakeError(426, "this URL is for WebSockets");
        answer.head.headers.emplace_back("Upgrade", "websocket");
        return answer;
    }
    call.request.exchange->Accept(board_.NewListener(call.session->id));
    return std::nullopt;
}

Answer Front::ServeLogin(const Call& call) const {
    switch (MethodOfVerb(call.request.verb)) {
        case ZELPlatform::kMethodGet:
            return login_.Page(call.target.params);
        case ZELPlatform::kMethodPost:
            return login_.Login(call.request);
        default:
            return MethodNotAllowed("GET, HEAD, POST");
    }
}

Answer Front::ServeLogout(const Call& call) const {
    if (call.request.verb != "POST") return MethodNotAllowed("POST");
    return login_.Logout(call.request, call.session);
}

Answer Front::ServeIndex(const Call& call) const {
    if (MethodOfVerb(call.request.verb) != ZELPlatform::kMethodGet) return MethodNotAllowed("GET, HEAD");
    if (!call.session) return MakeRedirect("/login");
    return MakePage(200, IndexPage(call.session->user_name, urls_.All()));
}

std::optional<Answer> Front::CallPlugin(Call& call) {
    int method = MethodOfVerb(call.request.verb);
    const auto word = call.target.params.find("MT");
    if (method == ZELPlatform::kMethodPost && word != call.target.params.end()) {
        method = MethodOfWord(word->second);
        if (method == kNoMethod) return MakeError(400, "MT names none of PUT, POST, DELETE and GET");
    }
    // a GET that travels as a POST keeps its own number
    const bool is_get = method == ZELPlatform::kMethodPostGet;
    const UrlTable::Match match = urls_.Find(call.target.path, is_get ? ZELPlatform::kMethodGet : method);
    if (match.binding != nullptr) {
        if (!call.session && !match.binding->open) return NoSession();
        return RunHandler(call, match, method);
    }
    if (match.allow.empty()) return MakeError(404, "no plug-in serves " + call.target.path);
    return MethodNotAllowed(match.allow);
}

std::optional<Answer> Front::RunHandler(Call& call, const UrlTable::Match& match, int method) {
    const UrlBinding& binding = *match.binding;
    MsgIn in;
    in.n_method = method;
    in.str_url = call.request.target;
    std::copy(match.numbers.begin(), match.numbers.end(), in.str_numbers);
    if (call.session) in.str_request_text = call.session->id;
    in.map_params = std::move(call.target.params);
    std::string error;
    if (!ReadBody(call.request, binding.json, in, error)) return MakeError(400, error);
    in.map_params.erase(std::string(kSessionKey));
    in.n_connection = answers_.Add(call.request.exchange);
    const int32_t number = in.n_connection;  // the handler may write to its record
    if (number == 0) return Busy("the server stops");

    call.work.HandedTo(binding, call.target.path);
    ZELPlatform::MsgOut out;
    ZELPlatform::ProtoParam2 param;
    std::optional<std::string> thrown;
    try {
        binding.fn(in, out, param);
    } catch (const std::exception& exception) {
        thrown = exception.what();
    } catch (...) {
        thrown = "something that is no std::exception";
    }
    if (!thrown && !out.b_send) return std::nullopt;
    Answer answer;
    if (thrown) {
        LogSinkWrite(kLogError, kModulePlatform, "plug-in %s threw at a request for %s: %s", binding.plugin.c_str(),
                     binding.url.c_str(), thrown->c_str());
        answer = MakeError(500, "the plug-in failed");
    } else {
        const std::string type = AnswerType(binding.json, param.str_answer);
        answer = MakeAnswer(200, type, std::move(param.str_answer));
    }
    // the handler may have answered by itself all the same
    if (const auto exchange = answers_.Take(number)) SendAnswer(exchange, std::move(answer));
    return std::nullopt;
}

}  // namespace qarplatform
