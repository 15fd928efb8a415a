#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusRequests.h"
#include "platform/PlatformTest.h"

namespace platform_tests {

/// A request as a handler got it, with its own copy of the body.
struct GotRequest {
    ZELPlatform::MsgIn in;
    std::string body;
};

/// What one handler got.
class RequestLog {
public:
    void Add(const ZELPlatform::MsgIn& in) {
        std::lock_guard<std::mutex> lock(mutex_);
        got_.push_back({in, in.n_body_size == 0 ? std::string() : std::string(in.p_body, in.n_body_size)});
        got_.back().in.p_body = nullptr;
    }
    std::vector<GotRequest> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return got_;
    }
    std::size_t Count() const { return All().size(); }
    ZELPlatform::MsgIn Last() const { return All().back().in; }

private:
    mutable std::mutex mutex_;
    std::vector<GotRequest> got_;
};

/// Base of the fixtures about users' requests.
class RequestTest : public PlatformTest {
protected:
    void SetUp() override { platform_->StartFront(); }

    /// Binds a URL that is open to all and carries no JSON; its handler notes the request and answers `answer`.
    std::shared_ptr<RequestLog> Bind(const std::string& url, const std::string& answer = "done",
                                     ZELPlatform::Method method = ZELPlatform::kMethodAny) {
        auto log = std::make_shared<RequestLog>();
        EXPECT_TRUE(BindFunc(
            url,
            [log, answer](ZELPlatform::MsgIn& in, ZELPlatform::MsgOut&, ZELPlatform::ProtoParam2& param) {
                log->Add(in);
                param.str_answer = answer;
            },
            method));
        EXPECT_TRUE(ZELPlatform::MsgBus::AddNoneJsonURL("plugin", {url}));
        return log;
    }
    static bool BindFunc(const std::string& url, ZELPlatform::MsgBus::UserRequestFunc fn,
                         ZELPlatform::Method method = ZELPlatform::kMethodAny, bool open = true) {
        return ZELPlatform::MsgBus::AddURL("plugin", url, method, std::move(fn), ZELPlatform::CmdParam::kExecSync,
                                           open);
    }
    /// Sends a request and waits for its answer.
    UserAnswer Ask(const UserRequest& request) {
        const auto call = platform_->Send(request);
        std::optional<UserAnswer> answer;
        EXPECT_TRUE(WaitUntil([&] {
            answer = call->Answer();
            return answer.has_value();
        }));
        return answer.value_or(UserAnswer());
    }
    static UserRequest Get(const std::string& target, const std::string& session = "") {
        UserRequest request;
        request.target = target;
        request.session = session;
        return request;
    }
    static UserRequest Post(const std::string& target, const std::string& body, const std::string& content_type = "") {
        UserRequest request;
        request.target = target;
        request.verb = "POST";
        request.body = body;
        request.content_type = content_type;
        return request;
    }
    std::string LogIn(const std::string& user) {
        return platform_->LogIn(user, ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb);
    }
    static void ForgetError() { Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode()); }
    static bool ErrorIsSet() { return Mox::Base::Error::GetLastError() != Mox::Base::Error::ErrorCode(); }
};

}  // namespace platform_tests
