#include "mock/FakeFront.h"

#include <algorithm>
#include <utility>

#include "Mox/Base/Error.h"
#include "mock/Caught.h"
#include "mock/PlatformCalls.h"
#include "mock/RequestText.h"
#include "qarutil/RapidJsonProto.h"

namespace qarmock {

using Mox::Base::Error;
using Mox::Net::HttpResponse;
using ZELPlatform::Method;
using ZELPlatform::MsgIn;
using ZELPlatform::MsgOut;
using ZELPlatform::ProtoParam2;

namespace {

constexpr int kModuleFront = 2;
constexpr int kErrorNoFunction = 1;
constexpr int kErrorBadUrl = 2;
constexpr int kErrorBound = 3;
constexpr int kErrorNotBound = 4;
constexpr int kErrorTold = 5;  // by PlatformCalls::Fail
constexpr int kErrorNoContent = 6;

// results of HttpServerSyncSend
constexpr int kSent = 0;
constexpr int kSendNoRequest = 1;
constexpr int kSendClientGone = 2;
constexpr int kSendBadHead = 4;

constexpr unsigned int kGet = 1;
constexpr unsigned int kPut = 2;
constexpr unsigned int kPost = 4;
constexpr unsigned int kDelete = 8;

constexpr int kNoMethod = -1;
constexpr std::size_t kMostNumbers = 4;
constexpr std::size_t kSessionIdSize = 32;

bool Refuse(int code) {
    Error::SetLastError(Error::ErrorCode(kModuleFront, code));
    return false;
}

/// The methods that a URL is bound with.
unsigned int BoundMethods(Method method) {
    switch (method) {
        case ZELPlatform::kMethodGet:
            return kGet;
        case ZELPlatform::kMethodPut:
            return kPut;
        case ZELPlatform::kMethodPost:
            return kPost;
        case ZELPlatform::kMethodDelete:
            return kDelete;
        case ZELPlatform::kMethodPostGet:
            return kPost | kGet;
        case ZELPlatform::kMethodAny:
            return kGet | kPut | kPost | kDelete;
    }
    return 0;
}

/// The method of a request; a GET that travels as a POST is 4, and served as a GET.
unsigned int RequestMethod(int method) {
    return method == ZELPlatform::kMethodPostGet ? kGet : BoundMethods(static_cast<Method>(method));
}

int MethodOf(Method verb, const std::map<std::string, std::string>& params) {
    static const std::map<std::string, int> by_name{{"PUT", 1}, {"POST", 2}, {"DELETE", 3}, {"GET", 4}};
    const auto named = params.find("MT");
    if (verb != ZELPlatform::kMethodPost || named == params.end()) return verb;
    const auto found = by_name.find(named->second);
    return found == by_name.end() ? kNoMethod : found->second;
}

bool IsUrl(const std::string& url) {
    return !url.empty() && url[0] == '/' && url.find_first_of("?# \r\n") == std::string::npos;
}

bool IsHeadSendable(const HttpResponse& head) {
    const auto is_line = [](const std::string& text) { return text.find_first_of("\r\n") == std::string::npos; };
    return head.n_status >= 200 && head.n_status <= 599 && is_line(head.str_content_type) &&
           is_line(head.str_content_disposition) && is_line(head.str_etag) && is_line(head.str_cache_control) &&
           std::all_of(head.vec_headers.begin(), head.vec_headers.end(),
                       [&](const auto& header) { return is_line(header.first) && is_line(header.second); });
}

void AnswerWith(FakeAnswer& answer, uint32_t status, const std::string& content_type, const std::string& body) {
    answer.sent = true;
    answer.head.n_status = status;
    answer.head.str_content_type = content_type;
    answer.body = body;
}

void AnswerFailure(FakeAnswer& answer, uint32_t status) { AnswerWith(answer, status, "application/json", ""); }

}  // namespace

FakeFront::FakeFront() { SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::kAccessHttp); }

FakeAnswer FakeFront::Request(const FakeRequest& request) {
    MsgIn in;
    in.str_url = request.url;
    in.n_body_size = request.body.size();
    if (!request.body.empty()) in.p_body = request.body.data();
    const auto query = request.url.find('?');
    if (query != std::string::npos) AddParams(request.url.substr(query + 1), in.map_params);
    const std::string media_type = request.content_type.substr(0, request.content_type.find(';'));
    if (media_type == "application/x-www-form-urlencoded") AddParams(request.body, in.map_params);
    if (media_type == "multipart/form-data") {
        AddParts(request.body, HeaderParam(request.content_type, "boundary"), in.vec_mime);
    }
    in.n_method = MethodOf(request.verb, in.map_params);
    const auto sid = in.map_params.extract("SID");

    RequestFunc fn;
    bool none_json = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        FakeAnswer& answer = NewExchange();
        in.n_connection = answer.connection;
        if (IsLoggedIn(request.session)) {
            in.str_request_text = request.session;
        } else if (!sid.empty() && IsLoggedIn(sid.mapped())) {
            in.str_request_text = sid.mapped();
        }
        uint32_t status = 0;
        const Url* url = nullptr;
        if (in.n_method == kNoMethod) {
            status = 400;
        } else {
            url = Route(request.url.substr(0, query), in, status);
        }
        if (url != nullptr && !url->flag && in.str_request_text.empty()) status = 401;
        if (status == 0 && !url->none_json && !request.body.empty() && !CRapidJsonProto().set_str(request.body)) {
            status = 400;
        }
        if (status != 0) {
            AnswerFailure(answer, status);
            return answer;
        }
        fn = url->fn;
        none_json = url->none_json;
    }
    MsgOut out;
    ProtoParam2 param;
    const bool ran = Run(fn, in, out, param);
    std::lock_guard<std::mutex> lock(mutex_);
    FakeAnswer& answer = exchanges_[in.n_connection].answer;
    if (answer.sent) return answer;
    if (!ran) {
        AnswerFailure(answer, 500);
    } else if (out.b_send) {
        AnswerWith(answer, 200, ContentTypeOf(!none_json, param.str_answer), param.str_answer);
    }
    return answer;
}

FakeAnswer FakeFront::Answer(int32_t connection) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = exchanges_.find(connection);
    return found == exchanges_.end() ? FakeAnswer() : found->second.answer;
}

void FakeFront::Leave(int32_t connection) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = exchanges_.find(connection);
    if (found != exchanges_.end()) found->second.left = true;
}

void FakeFront::GiveUp(int32_t connection) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = exchanges_.find(connection);
    if (found != exchanges_.end() && !found->second.answer.sent) AnswerFailure(found->second.answer, 504);
}

bool FakeFront::Call(const std::string& url, MsgIn& in, MsgOut& out, ProtoParam2& param) {
    RequestFunc fn;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = std::find_if(urls_.begin(), urls_.end(), [&](const Url& bound) { return bound.url == url; });
        if (found == urls_.end()) return false;
        fn = found->fn;
    }
    return Run(fn, in, out, param);
}

std::string FakeFront::LogIn(unsigned int account, ClientType client_type, LoginAccountType account_type) {
    std::size_t number = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        number = ++logins_;
    }
    const std::string digits = std::to_string(number);
    std::string session = "S" + std::string(kSessionIdSize - 1 - digits.size(), '0') + digits;
    LogInAs(session, account, client_type, account_type);
    return session;
}

void FakeFront::LogInAs(const std::string& session, unsigned int account, ClientType client_type,
                        LoginAccountType account_type) {
    std::lock_guard<std::mutex> lock(mutex_);
    sessions_.push_back({session, account, client_type, account_type, true});
}

bool FakeFront::LogOut(const std::string& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto is_it = [&](const Session& held) { return held.id == session; };
    const auto end = std::remove_if(sessions_.begin(), sessions_.end(), is_it);
    const bool found = end != sessions_.end();
    sessions_.erase(end, sessions_.end());
    return found;
}

bool FakeFront::SetOpen(const std::string& session, bool open) {
    std::lock_guard<std::mutex> lock(mutex_);
    bool found = false;
    for (auto& held : sessions_) {
        if (held.id != session) continue;
        held.open = open;
        found = true;
    }
    return found;
}

void FakeFront::SetSystemConfig(const std::shared_ptr<ZELPlatform::CSystemConfigInfo>& info) {
    std::lock_guard<std::mutex> lock(mutex_);
    config_ = info;
}

void FakeFront::SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype type) {
    auto access = std::make_shared<ZELPlatform::CAccesstypeInfo>();
    access->SetValAccessType(type);
    auto config = std::make_shared<ZELPlatform::CSystemConfigInfo>();
    config->SetValstruAccesstypeinfo(access);
    SetSystemConfig(config);
}

std::vector<FakeFront::Url> FakeFront::Urls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return urls_;
}

std::vector<FakeFront::Send> FakeFront::Sends() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sends_;
}

std::vector<FakeFront::Push> FakeFront::Pushes() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return pushes_;
}

std::vector<FakeFront::Received> FakeFront::ReceivedBy(const std::string& session) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = received_.find(session);
    return found == received_.end() ? std::vector<Received>() : found->second;
}

std::vector<FakeFront::Session> FakeFront::Sessions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sessions_;
}

std::vector<std::string> FakeFront::CaughtExceptions() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return caught_;
}

bool FakeFront::AddURL(const std::string& plugin, const std::string& url, Method method, RequestFunc fn,
                       ZELPlatform::CmdParam::Exec exec, bool flag) {
    if (CallFails("MsgBus::AddURL")) return Refuse(kErrorTold);
    if (!IsUrl(url) || BoundMethods(method) == 0) return Refuse(kErrorBadUrl);
    if (!fn) return Refuse(kErrorNoFunction);
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& bound : urls_) {
        if (bound.url == url && (BoundMethods(bound.method) & BoundMethods(method)) != 0) return Refuse(kErrorBound);
    }
    urls_.push_back({plugin, url, method, std::move(fn), exec, flag, false});
    return true;
}

bool FakeFront::AddNoneJsonURL(const std::string& plugin, const std::vector<std::string>& urls) {
    if (CallFails("MsgBus::AddNoneJsonURL")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    bool all = true;
    for (const auto& url : urls) {
        bool found = false;
        for (auto& bound : urls_) {
            if (bound.plugin != plugin || bound.url != url) continue;
            bound.none_json = true;
            found = true;
        }
        if (!found) all = Refuse(kErrorNotBound);
    }
    return all;
}

bool FakeFront::DeleteURL(const std::string& url, Method method) {
    if (CallFails("MsgBus::DeleteURL")) return Refuse(kErrorTold);
    std::lock_guard<std::mutex> lock(mutex_);
    const auto end = std::remove_if(urls_.begin(), urls_.end(), [&](const Url& bound) {
        return bound.url == url && (method == ZELPlatform::kMethodAny || bound.method == method);
    });
    if (end == urls_.end()) return Refuse(kErrorNotBound);
    urls_.erase(end, urls_.end());
    return true;
}

bool FakeFront::MsgNotifyByDst(const std::vector<std::string>& sessions, int type, const Content& content) {
    if (CallFails("MsgBus::MsgNotifyByDst")) return Refuse(kErrorTold);
    const char* data = nullptr;
    int size = 0;
    if (!content || !content->GetContent(&data, &size) || data == nullptr) return Refuse(kErrorNoContent);
    std::string block(data, static_cast<std::size_t>(std::max(size, 0)));
    const bool text = content->ContentType() == ZELPlatform::kContentText;
    if (text && !block.empty() && block.back() == '\0') block.pop_back();
    std::lock_guard<std::mutex> lock(mutex_);
    pushes_.push_back({sessions, type, content});
    for (const auto& id : sessions) {
        for (const auto& session : sessions_) {
            if (session.id == id && session.open) received_[id].push_back({type, text, block});
        }
    }
    return true;
}

void FakeFront::GetSessionByUserID(std::vector<std::string>& sessions, unsigned int user, ClientType type) const {
    if (CallFails("Authentication::GetSessionByUserID")) return;
    AddSessions(sessions, [&](const Session& session) {
        return session.account_type == ZELPlatform::InterfaceCommonData::UserSession::kAccountUser &&
               session.account == user && session.client_type == type;
    });
}

void FakeFront::GetSessionByID(std::vector<std::string>& sessions, unsigned int id, const std::set<ClientType>& types,
                               LoginAccountType account_type) const {
    if (CallFails("Authentication::GetSessionByID")) return;
    AddSessions(sessions, [&](const Session& session) {
        return session.account_type == account_type && session.account == id &&
               (types.empty() || types.count(session.client_type) > 0);
    });
}

bool FakeFront::GetOnlineSessionByClientType(std::vector<std::string>& sessions, ClientType type) const {
    if (CallFails("Authentication::GetOnlineSessionByClientType")) return false;
    return AddSessions(sessions, [&](const Session& session) { return session.client_type == type; });
}

std::shared_ptr<ZELPlatform::CSystemConfigInfo> FakeFront::GetSystemConfigInfo() const {
    if (CallFails("System::GetSystemConfigInfo")) return nullptr;
    std::lock_guard<std::mutex> lock(mutex_);
    return config_;
}

int FakeFront::HttpServerSyncSend(int session, const HttpResponse& response, int64_t size, const char* data) {
    const bool fails = CallFails("CHttpServer::HttpServerSyncSend");
    const bool readable = size == 0 || (size > 0 && data != nullptr);
    Send send{session, response, std::string(data, readable ? static_cast<std::size_t>(size) : 0), kSent};
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = exchanges_.find(session);
    const bool open = found != exchanges_.end() && !found->second.answer.sent;
    if (!fails && !open) {
        send.result = kSendNoRequest;
    } else if (!fails && (!readable || !IsHeadSendable(response))) {
        send.result = kSendBadHead;
    } else if (fails || found->second.left) {
        send.result = kSendClientGone;
    } else {
        FakeAnswer& answer = found->second.answer;
        answer.sent = true;
        answer.direct = true;
        answer.head = response;
        answer.body = send.data;
    }
    sends_.push_back(send);
    return send.result;
}

bool FakeFront::Run(const RequestFunc& fn, MsgIn& in, MsgOut& out, ProtoParam2& param) {
    const auto error = CatchText([&] { fn(in, out, param); });
    if (!error) return true;
    std::lock_guard<std::mutex> lock(mutex_);
    caught_.push_back(*error);
    return false;
}

FakeAnswer& FakeFront::NewExchange() {
    const int32_t connection = exchanges_.empty() ? 1 : exchanges_.rbegin()->first + 1;
    FakeAnswer& answer = exchanges_[connection].answer;
    answer.connection = connection;
    return answer;
}

bool FakeFront::IsLoggedIn(const std::string& session) const {
    return std::any_of(sessions_.begin(), sessions_.end(), [&](const Session& held) { return held.id == session; });
}

const FakeFront::Url* FakeFront::Route(const std::string& path, MsgIn& in, uint32_t& status) const {
    std::vector<std::string> numbers;  // from the last one to the first
    std::string url = path;
    while (true) {
        bool bound = false;
        for (const auto& candidate : urls_) {
            if (candidate.url != url) continue;
            bound = true;
            if ((BoundMethods(candidate.method) & RequestMethod(in.n_method)) == 0) continue;
            std::copy(numbers.rbegin(), numbers.rend(), in.str_numbers);
            return &candidate;
        }
        const auto slash = url.rfind('/');
        const std::string last = slash == std::string::npos ? "" : url.substr(slash + 1);
        if (bound || numbers.size() == kMostNumbers || !IsNumber(last)) {
            status = bound ? 405 : 404;
            return nullptr;
        }
        numbers.push_back(last);
        url.resize(slash);
    }
}

bool FakeFront::AddSessions(std::vector<std::string>& sessions,
                            const std::function<bool(const Session&)>& wanted) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t before = sessions.size();
    for (const auto& session : sessions_) {
        if (wanted(session)) sessions.push_back(session.id);
    }
    return sessions.size() > before;
}

}  // namespace qarmock
