#include "standalone/http/Front.h"

#include <algorithm>
#include <array>
#include <cstdint>
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
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

using ZELPlatform::MsgIn;

constexpr int kIdleSeconds = 10;
constexpr int kNoMethod = -1;
constexpr uint64_t kOwnUrlBody = 64 * 1024;

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

bool ChangesState(const ClientHead& head) { return head.websocket || (head.verb != "GET" && head.verb != "HEAD"); }

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

Answer WebSocketNeeded() {
    Answer answer = MakeError(426, "this URL is for WebSockets");
    answer.head.headers.emplace_back("Upgrade", "websocket");
    return answer;
}

Answer Failed(const ClientHead& head, const std::exception& error) {
    // the target may hold a session's id
    LogSinkWrite(kLogError, kModulePlatform, "a request from %s failed: %s", head.remote.c_str(), error.what());
    return MakeError(500, "the request failed");
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
    Work(std::shared_ptr<Front> front, ClientRequest&& request)
        : front_(std::move(front)), request_(std::move(request)) {}
    ~Work() override { front_->Ended(); }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    void Exec() override { front_->Serve(*this); }

    const ClientRequest& Request() const { return request_; }

    void HandedTo(std::shared_ptr<const UrlBinding> binding) {
        std::lock_guard<std::mutex> lock(mutex_);
        binding_ = std::move(binding);
    }

    std::string Description() const override {
        std::lock_guard<std::mutex> lock(mutex_);
        if (binding_ == nullptr) return "a request from " + request_.remote;
        std::string path;  // which is the binding's URL and numbers: nothing secret
        std::string error;
        NormalPath(PathOf(request_.target), path, error);
        return "plug-in " + binding_->plugin + " at a request for " + path;
    }

private:
    const std::shared_ptr<Front> front_;
    const ClientRequest request_;

    mutable std::mutex mutex_;
    std::shared_ptr<const UrlBinding> binding_;  // guarded by mutex_; null until a plug-in has it
};

Front::Front(UrlTable& urls, Answers& answers, PushBoard& board, FrontSessions sessions, std::size_t requests,
             UserScheme scheme)
    : urls_(urls),
      answers_(answers),
      board_(board),
      sessions_(sessions),
      scheme_(scheme),
      login_(std::move(sessions), scheme == UserScheme::kHttps),
      most_requests_(requests) {}

bool Front::Start() {
    const std::size_t workers = std::min<std::size_t>(most_requests_, std::numeric_limits<int>::max() - 1);
    if (!queue_.Start(static_cast<int>(workers), kIdleSeconds)) return false;
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
    queue_.Stop();
}

void Front::Handle(ClientRequest request) {
    if (const char* refusal = Begin()) {
        SendAnswer(request.exchange, Busy(refusal));
        return;
    }
    std::shared_ptr<Work> work;
    try {
        work = std::make_shared<Work>(shared_from_this(), std::move(request));
    } catch (...) {
        Ended();  // no work counts it down
        throw;
    }
    queue_.Post(std::move(work));
}

const char* Front::Begin() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return "the server stops";
    if (at_work_ >= most_requests_) return "too many requests at a time";
    ++at_work_;
    return nullptr;
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
        answer = Failed(request, error);
    }
    if (answer) SendAnswer(request.exchange, std::move(*answer));
}

BodyTerms Front::TermsOf(const ClientHead& head) const {
    BodyTerms terms;
    try {
        Call call(head);
        terms.refusal = Examine(call);
        terms.known = call.session.has_value();
        if (call.match.binding == nullptr) terms.most_bytes = kOwnUrlBody;
    } catch (const std::exception& error) {
        terms.refusal = Failed(head, error);
    }
    return terms;
}

std::optional<Answer> Front::Examine(Call& call) const {
    const ClientHead& head = call.head;
    std::string error;
    if (!ParseTarget(head.target, call.target, error)) return MakeError(400, error);
    if (error = WrongSessionKey(head.target); !error.empty()) return MakeError(400, error);
    FindSession(call);
    call.method = MethodOfVerb(head.verb);
    const std::string& path = call.target.path;
    const bool guarded = call.session_of_cookie || path == "/login";
    if (guarded && ChangesState(head) && !head.origin.empty() && !IsSameOrigin(head.origin, head.host, scheme_)) {
        return MakeError(403, "the request comes from another site");
    }
    if (path == "/push") {
        if (!call.session) return NoSession();
        return head.websocket ? std::nullopt : std::optional<Answer>(WebSocketNeeded());
    }
    if (head.websocket) return MakeError(404, "WebSockets are opened at /push");
    const bool reads = call.method == ZELPlatform::kMethodGet;
    const bool posts = call.method == ZELPlatform::kMethodPost;
    const auto allow = [](bool allowed, const char* verbs) {
        return allowed ? std::nullopt : std::optional<Answer>(MethodNotAllowed(verbs));
    };
    if (path == "/login") return allow(reads || posts, "GET, HEAD, POST");
    if (path == "/logout") return allow(posts, "POST");
    if (path == "/") return allow(reads, "GET, HEAD");
    return FindPlugin(call);
}

void Front::FindSession(Call& call) const {
    for (const std::string& cookie : SessionCookies(call.head.cookie)) {
        std::optional<Session> session = sessions_.use(cookie);
        if (call.session && session && call.session->id != session->id) {
            call.session.reset();  // one of them is another site's doing, and nobody knows which
            return;
        }
        if (session) call.session = std::move(session);
    }
    call.session_of_cookie = call.session.has_value();
    const auto key = call.target.params.find(std::string(kSessionKey));
    if (key == call.target.params.end()) return;
    if (!call.session && CanBeSessionId(key->second)) call.session = sessions_.use(key->second);
}

std::optional<Answer> Front::FindPlugin(Call& call) const {
    const auto word = call.target.params.find("MT");
    if (call.method == ZELPlatform::kMethodPost && word != call.target.params.end()) {
        call.method = MethodOfWord(word->second);
        if (call.method == kNoMethod) return MakeError(400, "MT names none of PUT, POST, DELETE and GET");
    }
    // a GET that travels as a POST keeps its own number
    const bool is_get = call.method == ZELPlatform::kMethodPostGet;
    call.match = urls_.Find(call.target.path, is_get ? ZELPlatform::kMethodGet : call.method);
    if (call.match.binding != nullptr) {
        if (!call.session && !call.match.binding->open) return NoSession();
        return std::nullopt;
    }
    if (call.match.allow.empty()) return MakeError(404, "no plug-in serves " + call.target.path);
    return MethodNotAllowed(call.match.allow);
}

std::optional<Answer> Front::Route(Work& work) {
    const ClientRequest& request = work.Request();
    Call call(request);
    if (std::optional<Answer> refusal = Examine(call)) return refusal;
    const std::string& path = call.target.path;
    if (path == "/push") {
        request.exchange->Accept(board_.NewListener(call.session->id, call.session->user));
        return std::nullopt;
    }
    if (path == "/login") {
        return call.method == ZELPlatform::kMethodGet ? login_.Page(call.target.params) : login_.Login(request);
    }
    if (path == "/logout") return login_.Logout(request, call.session);
    if (path == "/") return ServeIndex(call);
    return RunHandler(work, call);
}

Answer Front::ServeIndex(const Call& call) const {
    if (!call.session) return MakeRedirect("/login");
    return MakePage(200, IndexPage(call.session->user_name, urls_.All()));
}

std::optional<Answer> Front::RunHandler(Work& work, Call& call) {
    const ClientRequest& request = work.Request();
    const UrlBinding& binding = *call.match.binding;
    MsgIn in;
    in.n_method = call.method;
    in.str_url = request.target;
    std::copy(call.match.numbers.begin(), call.match.numbers.end(), in.str_numbers);
    if (call.session) in.str_request_text = call.session->id;
    in.map_params = std::move(call.target.params);
    std::string error;
    if (!ReadBody(request, binding.json, in, error)) return MakeError(400, error);
    in.map_params.erase(std::string(kSessionKey));
    in.n_connection = answers_.Add(request.exchange);
    const int32_t number = in.n_connection;  // the handler may write to its record
    if (number == 0) return Busy("the server stops");

    work.HandedTo(call.match.binding);
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
