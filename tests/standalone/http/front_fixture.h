#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "standalone/http/Front.h"
#include "standalone/http/http_fakes.h"

namespace http_test {

/// A front with tables of its own and sessions that a test makes up.
class FrontFixture : public testing::Test {
protected:
    static constexpr const char* kSession = "0123456789abcdef0123456789ABCDEF";
    static constexpr const char* kOtherSession = "ffffffffffffffffffffffffffffffff";

    explicit FrontFixture(std::size_t requests = 64, qarplatform::UserScheme scheme = qarplatform::UserScheme::kHttp) {
        answers_.Start(std::chrono::hours(1));
        board_.Start([](const std::string&) { return true; });
        AddSession(kSession, 7, "admin");
        front_ = std::make_shared<qarplatform::Front>(urls_, answers_, board_, MakeSessions(), requests, scheme);
        EXPECT_TRUE(front_->Start());
    }
    ~FrontFixture() override { front_->Stop(std::chrono::steady_clock::now() + std::chrono::seconds(20)); }

    void AddSession(const std::string& id, unsigned int user, const std::string& name) {
        std::lock_guard<std::mutex> lock(mutex_);
        qarplatform::Session& session = sessions_[id];
        session.id = id;
        session.user = user;
        session.user_name = name;
    }

    /// A request as its client sends it; without a session unless the test gives one.
    static qarplatform::ClientRequest Request(const std::string& verb, const std::string& target,
                                              const std::string& body = "", const std::string& type = "") {
        qarplatform::ClientRequest request;
        request.verb = verb;
        request.target = target;
        request.host = "host:8080";
        request.content_type = type;
        request.remote = "192.0.2.1";
        const auto owner = std::make_shared<const std::string>(body);
        request.body = *owner;
        request.body_owner = owner;
        request.exchange = std::make_shared<FakeExchange>();
        return request;
    }
    static qarplatform::ClientRequest LoggedIn(qarplatform::ClientRequest request) {
        request.cookie = std::string("SID=") + kSession;
        return request;
    }

    static FakeExchange& ExchangeOf(const qarplatform::ClientRequest& request) {
        return static_cast<FakeExchange&>(*request.exchange);
    }

    FakeExchange::Sent Ask(const qarplatform::ClientRequest& request) {
        front_->Handle(request);
        return ExchangeOf(request).Answer();
    }

    bool Bind(const std::string& url, ZELPlatform::Method method, ZELPlatform::MsgBus::UserRequestFunc fn,
              bool open = false) {
        return urls_.Add("plugin", url, method, std::move(fn), open);
    }

    qarplatform::FrontSessions MakeSessions() {
        qarplatform::FrontSessions sessions;
        sessions.use = [this](const std::string& id) -> std::optional<qarplatform::Session> {
            std::lock_guard<std::mutex> lock(mutex_);
            ++uses_;
            const auto found = sessions_.find(id);
            if (found == sessions_.end()) return std::nullopt;
            return found->second;
        };
        sessions.login = [this](const std::string& user, const std::string& password, auto type,
                                const std::string& remote) {
            std::lock_guard<std::mutex> lock(mutex_);
            logins_.push_back(user + "/" + password + "/" + std::to_string(type) + "/" + remote);
            return login_answer_;
        };
        sessions.logout = [this](const std::string& id) {
            std::lock_guard<std::mutex> lock(mutex_);
            return sessions_.erase(id) > 0;
        };
        return sessions;
    }

    std::atomic<int> uses_{0};  // of sessions, ended ones too
    std::mutex mutex_;
    // guarded by mutex_
    std::map<std::string, qarplatform::Session> sessions_;
    std::vector<std::string> logins_;
    qarplatform::LoginAnswer login_answer_;

    qarplatform::UrlTable urls_;
    qarplatform::Answers answers_;
    qarplatform::PushBoard board_{
        {[](auto&, const auto&) { return true; }, [](const auto&) { return true; }, [](const auto&) { return true; }}};
    std::shared_ptr<qarplatform::Front> front_;
};

}  // namespace http_test
