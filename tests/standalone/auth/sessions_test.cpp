#include "standalone/auth/Sessions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "LogSink.h"
#include "standalone/auth/session_site.h"
#include "standalone/log/temp_log.h"

namespace {

using namespace std::chrono_literals;
using namespace ZELPlatform::InterfaceCommonData::UserSession;
using auth_test::SessionSite;
using qarplatform::LoginAnswer;
using qarplatform::SessionOptions;
using qarplatform::Sessions;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* kHere = "192.0.2.1";

/// The ids of ended sessions, as the listener got them.
class Ended {
public:
    void operator()(const std::string& id) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ids_.push_back(id);
        changed_.notify_all();
    }

    std::vector<std::string> Wait(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, 60s, [&] { return ids_.size() >= count; }));
        return ids_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> ids_;
};

class SessionsTest : public testing::Test {
protected:
    void SetUp() override { Start(sessions_); }

    void Start(Sessions& sessions) {
        std::string error;
        ASSERT_TRUE(sessions.Start(site_.Store(), options_, error)) << error;
        sessions.SetEndedListener([this](const std::string& id) { ended_(id); });
    }

    void Restart() {
        sessions_.Stop();
        Start(sessions_);
    }

    LoginAnswer Login(const std::string& user, ClientType client_type = kClientTypeWeb) {
        return sessions_.Login(user, user + "'s password", client_type, kHere);
    }

    std::string LoggedIn(const std::string& user, ClientType client_type = kClientTypeWeb) {
        const LoginAnswer answer = Login(user, client_type);
        EXPECT_EQ(answer.result, LoginAnswer::kLoggedIn);
        return answer.session.id;
    }

    SessionSite site_;
    Ended ended_;
    SessionOptions options_;
    Sessions sessions_;
};

TEST_F(SessionsTest, LoginGivesASessionThatUseFinds) {
    const LoginAnswer answer = Login("anna", kClientTypeDesktop);

    ASSERT_EQ(answer.result, LoginAnswer::kLoggedIn);
    EXPECT_EQ(answer.session.id.size(), 32U);
    EXPECT_EQ(answer.session.user, 7U);
    EXPECT_EQ(answer.session.user_name, "anna");
    EXPECT_EQ(answer.session.client_type, kClientTypeDesktop);
    EXPECT_EQ(answer.session.account_type, kAccountUser);
    EXPECT_EQ(answer.session.account, 7U);
    const auto used = sessions_.Use(answer.session.id);
    ASSERT_TRUE(used.has_value());
    EXPECT_EQ(used->id, answer.session.id);
    EXPECT_EQ(used->user_name, "anna");
    EXPECT_FALSE(sessions_.Use(std::string(32, 'A')).has_value());
    EXPECT_FALSE(sessions_.Use("").has_value());
}

TEST_F(SessionsTest, SessionOfAPersonAccountBearsThePersonsId) {
    const LoginAnswer answer = Login("bert");
    ASSERT_EQ(answer.result, LoginAnswer::kLoggedIn);
    EXPECT_EQ(answer.session.user, 8U);
    EXPECT_EQ(answer.session.account_type, kAccountPerson);
    EXPECT_EQ(answer.session.account, 70U);
}

TEST_F(SessionsTest, WrongPasswordUnknownUserAndUserWithoutPasswordAreRefusedAlike) {
    for (const auto& [user, password] : {std::pair("anna", "bert's password"), std::pair("nobody", "nobody's password"),
                                         std::pair("carl", "carl's password"), std::pair("carl", "")}) {
        const LoginAnswer answer = sessions_.Login(user, password, kClientTypeWeb, kHere);
        EXPECT_EQ(answer.result, LoginAnswer::kRefused) << user;
        EXPECT_EQ(answer.session.id, "");
    }
    EXPECT_EQ(site_.Value("SELECT count(*) FROM session"), "0");
}

TEST_F(SessionsTest, PasswordLongerThanAnyIsRefused) {
    EXPECT_EQ(sessions_.Login("anna", std::string(100000, 'x'), kClientTypeWeb, kHere).result, LoginAnswer::kRefused);
    EXPECT_EQ(sessions_.Login(std::string(100000, 'x'), "x", kClientTypeWeb, kHere).result, LoginAnswer::kRefused);
}

TEST_F(SessionsTest, AfterTooManyFailuresTheRightPasswordIsRefusedToo) {
    for (int i = 0; i < options_.login_tries; ++i) {
        EXPECT_EQ(sessions_.Login("anna", "wrong", kClientTypeWeb, kHere).result, LoginAnswer::kRefused);
    }
    const LoginAnswer answer = Login("anna");
    EXPECT_EQ(answer.result, LoginAnswer::kTooManyTries);
    EXPECT_GT(answer.retry_after, 0s);
    EXPECT_LE(answer.retry_after, options_.login_window);
    EXPECT_EQ(sessions_.Login("bert", "bert's password", kClientTypeWeb, "192.0.2.2").result, LoginAnswer::kLoggedIn);
}

TEST_F(SessionsTest, ManyWrongLoginsAtOnceTestNoMorePasswordsThanAllowed) {
    std::vector<std::future<LoginAnswer>> logins;
    for (int i = 0; i < 30; ++i) {
        logins.push_back(
            std::async(std::launch::async, [&] { return sessions_.Login("anna", "wrong", kClientTypeWeb, kHere); }));
    }
    int refused = 0;
    for (auto& login : logins) {
        const LoginAnswer answer = login.get();
        refused += answer.result == LoginAnswer::kRefused ? 1 : 0;
        EXPECT_TRUE(answer.result == LoginAnswer::kRefused || answer.result == LoginAnswer::kTooManyTries);
    }
    EXPECT_EQ(refused, options_.login_tries);
}

TEST_F(SessionsTest, ManyRightLoginsAtOnceAllGetIn) {
    constexpr std::size_t kLogins = 40;
    std::vector<std::future<LoginAnswer>> logins;
    for (std::size_t i = 0; i < kLogins; ++i) {
        logins.push_back(std::async(std::launch::async, [&] { return Login("anna"); }));
    }
    for (auto& login : logins) {
        EXPECT_EQ(login.get().result, LoginAnswer::kLoggedIn);
    }
    EXPECT_THAT(sessions_.OfUser(7, kClientTypeWeb), SizeIs(kLogins));
}

TEST_F(SessionsTest, LogoutEndsTheSessionAndTellsTheListenerOnce) {
    const std::string id = LoggedIn("anna");
    EXPECT_TRUE(sessions_.Logout(id));
    EXPECT_FALSE(sessions_.Logout(id));
    EXPECT_FALSE(sessions_.Use(id).has_value());
    EXPECT_THAT(ended_.Wait(1), ElementsAre(id));
    EXPECT_EQ(site_.Value("SELECT count(*) FROM session"), "0");
}

TEST_F(SessionsTest, SessionsAreListedByUserAccountAndClientType) {
    const std::string web = LoggedIn("anna", kClientTypeWeb);
    const std::string desktop = LoggedIn("anna", kClientTypeDesktop);
    const std::string person = LoggedIn("bert", kClientTypeWeb);

    EXPECT_THAT(sessions_.OfUser(7, kClientTypeWeb), ElementsAre(web));
    EXPECT_THAT(sessions_.OfUser(8, kClientTypeWeb), IsEmpty()) << "a person account";
    EXPECT_THAT(sessions_.OfAccount(7, {}, kAccountUser), ElementsAre(web, desktop));
    EXPECT_THAT(sessions_.OfAccount(7, {kClientTypeDesktop}, kAccountUser), ElementsAre(desktop));
    EXPECT_THAT(sessions_.OfAccount(70, {}, kAccountPerson), ElementsAre(person));
    EXPECT_THAT(sessions_.OfAccount(70, {}, kAccountUser), IsEmpty());
    EXPECT_THAT(sessions_.OfClientType(kClientTypeWeb), ElementsAre(web, person));
    EXPECT_THAT(sessions_.OfClientType(kClientTypeMobile), IsEmpty());
}

TEST_F(SessionsTest, RolesGivePermissionsAndAdministratorsHoldAny) {
    const std::string guard = LoggedIn("anna");
    const std::string administrator = LoggedIn("bert");
    EXPECT_TRUE(sessions_.HoldsOneOf(guard, {{5, {}}}));
    EXPECT_TRUE(sessions_.HoldsOneOf(guard, {{1, {}}, {6, {100}}}));
    EXPECT_FALSE(sessions_.HoldsOneOf(guard, {{7, {}}}));
    EXPECT_FALSE(sessions_.HoldsOneOf(guard, {}));
    EXPECT_TRUE(sessions_.HoldsOneOf(administrator, {{7, {}}}));
    EXPECT_FALSE(sessions_.HoldsOneOf(administrator, {}));
    EXPECT_FALSE(sessions_.HoldsOneOf(std::string(32, 'A'), {{5, {}}}));
}

TEST_F(SessionsTest, SessionsOutliveARestartInTheirOrder) {
    const std::string first = LoggedIn("anna");
    const std::string second = LoggedIn("anna");
    const std::string person = LoggedIn("bert", kClientTypeMobile);
    Restart();
    EXPECT_THAT(sessions_.OfUser(7, kClientTypeWeb), ElementsAre(first, second));
    const auto used = sessions_.Use(person);
    ASSERT_TRUE(used.has_value());
    EXPECT_EQ(used->user_name, "bert");
    EXPECT_EQ(used->client_type, kClientTypeMobile);
    EXPECT_EQ(used->account, 70U);
    EXPECT_TRUE(sessions_.HoldsOneOf(person, {{5, {}}}));
}

TEST_F(SessionsTest, TimeWithoutAHostCountsAsIdle) {
    const std::string id = LoggedIn("anna");
    const std::string other = LoggedIn("anna");
    sessions_.Stop();
    site_.Run("UPDATE session SET used_s = used_s - 1790 WHERE id = '" + id + "'");
    site_.Run("UPDATE session SET used_s = used_s - 1801 WHERE id = '" + other + "'");
    Start(sessions_);
    EXPECT_TRUE(sessions_.Use(id).has_value());
    EXPECT_FALSE(sessions_.Use(other).has_value());
    EXPECT_EQ(site_.Value("SELECT count(*) FROM session"), "1");
}

TEST_F(SessionsTest, StopWritesTheLastUse) {
    const std::string id = LoggedIn("anna");
    site_.Run("UPDATE session SET used_s = 5");
    EXPECT_TRUE(sessions_.Use(id).has_value());
    EXPECT_EQ(site_.Value("SELECT used_s FROM session"), "5") << "not at each use";
    sessions_.Stop();
    EXPECT_NE(site_.Value("SELECT used_s FROM session"), "5");
}

TEST_F(SessionsTest, UseIsWrittenFromTimeToTime) {
    sessions_.Stop();
    options_.idle = 4s;
    Start(sessions_);
    const std::string id = LoggedIn("anna");
    site_.Run("UPDATE session SET used_s = 5");
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (site_.Value("SELECT used_s FROM session") == "5" && std::chrono::steady_clock::now() < end) {
        EXPECT_TRUE(sessions_.Use(id).has_value());
        std::this_thread::yield();
    }
    EXPECT_NE(site_.Value("SELECT used_s FROM session"), "5");
}

TEST_F(SessionsTest, UnusedSessionEndsAndTheListenerIsTold) {
    sessions_.Stop();
    options_.idle = 1s;
    Start(sessions_);
    const std::string id = LoggedIn("anna");
    EXPECT_THAT(ended_.Wait(1), ElementsAre(id));
    EXPECT_FALSE(sessions_.Use(id).has_value());
}

TEST_F(SessionsTest, SessionsEndWhenAnotherProcessChangesThePassword) {
    const std::string id = LoggedIn("anna");
    const std::string other = LoggedIn("bert");
    site_.ChangePassword("anna", "another password");
    EXPECT_THAT(ended_.Wait(1), ElementsAre(id));
    EXPECT_FALSE(sessions_.Use(id).has_value());
    EXPECT_TRUE(sessions_.Use(other).has_value());
    EXPECT_EQ(Login("anna").result, LoginAnswer::kRefused);
    EXPECT_EQ(sessions_.Login("anna", "another password", kClientTypeWeb, kHere).result, LoginAnswer::kLoggedIn);
}

TEST_F(SessionsTest, ChangeOfTheStoreByAnotherProcessLeavesTheSessionsOfOthersAndBringsItsRights) {
    const std::string id = LoggedIn("anna");
    EXPECT_FALSE(sessions_.HoldsOneOf(id, {{7, {}}}));
    site_.Run("INSERT INTO role_permission VALUES ((SELECT id FROM role WHERE name = 'guard'), 7)");
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!sessions_.HoldsOneOf(id, {{7, {}}}) && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(sessions_.HoldsOneOf(id, {{7, {}}}));
    EXPECT_TRUE(sessions_.Use(id).has_value());
}

TEST_F(SessionsTest, TooManySessionsOfAUserEndTheOneUsedLongestAgo) {
    std::vector<std::string> ids;
    for (int i = 0; i < 64; ++i) {
        ids.push_back(LoggedIn("anna"));
    }
    const std::string other = LoggedIn("bert");
    EXPECT_TRUE(sessions_.Use(ids[0]).has_value());
    ids.push_back(LoggedIn("anna"));
    EXPECT_THAT(ended_.Wait(1), ElementsAre(ids[1]));
    EXPECT_FALSE(sessions_.Use(ids[1]).has_value());
    ids.erase(ids.begin() + 1);
    EXPECT_EQ(sessions_.OfUser(7, kClientTypeWeb), ids);
    EXPECT_TRUE(sessions_.Use(other).has_value());
    EXPECT_EQ(site_.Value("SELECT count(*) FROM session"), "65");
}

TEST_F(SessionsTest, StoppedSessionsFindNothingAndEndNone) {
    const std::string id = LoggedIn("anna");
    sessions_.Stop();
    EXPECT_FALSE(sessions_.Use(id).has_value());
    EXPECT_FALSE(sessions_.Logout(id));
    EXPECT_FALSE(sessions_.HoldsOneOf(id, {{5, {}}}));
    EXPECT_THAT(sessions_.OfClientType(kClientTypeWeb), IsEmpty());
    EXPECT_EQ(Login("anna").result, LoginAnswer::kFailed);
    sessions_.Stop();
    Start(sessions_);
    EXPECT_TRUE(sessions_.Use(id).has_value());
    EXPECT_THAT(ended_.Wait(0), IsEmpty());
}

TEST_F(SessionsTest, LockedStoreFailsALoginAndKeepsSessionsAndLogouts) {
    const std::string kept = LoggedIn("anna");
    const std::string left = LoggedIn("anna");
    {
        qarplatform::sqlite::Database other;
        ASSERT_TRUE(other.Open(site_.Path(), 1s));
        ASSERT_TRUE(other.Exec("BEGIN IMMEDIATE"));
        EXPECT_EQ(Login("anna").result, LoginAnswer::kFailed);
        EXPECT_TRUE(sessions_.Logout(left));
        EXPECT_FALSE(sessions_.Use(left).has_value());
        EXPECT_TRUE(sessions_.Use(kept).has_value());
        other.Rollback();
    }
    Restart();
    EXPECT_FALSE(sessions_.Use(left).has_value()) << "the logout is stored as soon as the store takes it";
    EXPECT_TRUE(sessions_.Use(kept).has_value());
    EXPECT_EQ(Login("anna").result, LoginAnswer::kLoggedIn) << "a fault of the store is no failed login";
}

TEST_F(SessionsTest, HashThatCannotBeReadFailsTheLogin) {
    site_.Run("UPDATE user SET password = 'plain' WHERE name = 'anna'");
    EXPECT_EQ(Login("anna").result, LoginAnswer::kFailed);
}

TEST_F(SessionsTest, ListenerThatWasReplacedIsNotCalledAnyMore) {
    std::promise<void> called;
    std::promise<void> go_on;
    bool ended = false;
    sessions_.SetEndedListener([&](const std::string&) {
        called.set_value();
        go_on.get_future().wait();
        ended = true;
    });
    const std::string id = LoggedIn("anna");
    auto logout = std::async(std::launch::async, [&] { sessions_.Logout(id); });
    called.get_future().wait();
    auto replaced = std::async(std::launch::async, [&] {
        sessions_.SetEndedListener(nullptr);
        return ended;
    });
    go_on.set_value();
    EXPECT_TRUE(replaced.get()) << "the call has ended when the listener is replaced";
    logout.get();
    sessions_.Logout(LoggedIn("anna"));
}

TEST_F(SessionsTest, ListenerMayCallTheSessions) {
    std::string found = "not called";
    sessions_.SetEndedListener([&](const std::string& id) {
        found = sessions_.Use(id).has_value() || !sessions_.OfUser(7, kClientTypeWeb).empty() ? "there" : "gone";
    });
    sessions_.Logout(LoggedIn("anna"));
    EXPECT_EQ(found, "gone");
}

TEST_F(SessionsTest, KilledHostLosesNoSession) {
    sessions_.Stop();
    site_.CloseStore();  // the database must not be carried over a fork
    int channel[2];
    ASSERT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        qarplatform::SiteStore store;
        Sessions sessions;
        std::string error;
        std::string id;
        if (store.Open(site_.Path(), error) && sessions.Start(store, options_, error)) {
            id = sessions.Login("anna", "anna's password", kClientTypeWeb, kHere).session.id;
        }
        const bool told = write(channel[1], id.data(), id.size()) == 32;
        kill(getpid(), told ? SIGKILL : SIGABRT);
    }
    std::string id(32, '\0');
    EXPECT_EQ(read(channel[0], id.data(), id.size()), 32);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    close(channel[0]);
    close(channel[1]);
    site_.OpenStore();
    Start(sessions_);
    EXPECT_TRUE(sessions_.Use(id).has_value());
}

TEST_F(SessionsTest, LogNamesUserAndAddressAndNeverTheSessionOrAnUnknownName) {
    TempLog log;
    const std::string id = LoggedIn("anna");
    sessions_.Login("anna", "wrong", kClientTypeWeb, kHere);
    sessions_.Login("carl", "x", kClientTypeWeb, kHere);
    sessions_.Login("my secret", "x", kClientTypeWeb, "192.0.2.2\n");
    sessions_.Logout(id);
    const auto lines = log.Lines();
    EXPECT_THAT(lines, ElementsAre("I [QARPlatform] user \"anna\" logged in from 192.0.2.1",
                                   "W [QARPlatform] login of user \"anna\" from 192.0.2.1 refused: wrong password",
                                   "W [QARPlatform] login of user \"carl\" from 192.0.2.1 refused: no password is set",
                                   "W [QARPlatform] login from 192.0.2.2? refused: there is no such user",
                                   "I [QARPlatform] user \"anna\" logged out"));
}

TEST_F(SessionsTest, RefusalsAreToldOnce) {
    TempLog log;
    for (int i = 0; i < options_.login_tries + 3; ++i) {
        sessions_.Login("anna", "wrong", kClientTypeWeb, kHere);
    }
    const auto lines = log.Lines();
    EXPECT_THAT(lines, SizeIs(static_cast<std::size_t>(options_.login_tries) + 1));
    EXPECT_THAT(
        lines.back(),
        testing::MatchesRegex("W .QARPlatform. logins from 192.0.2.1 are refused for [0-9]+ s: too many have failed"));
}

TEST_F(SessionsTest, LogMasksSessionsAsLongAsTheyLive) {
    TempLog log;
    const std::string id = LoggedIn("anna");
    LogSinkWrite(3, "m", "id %s.", id.c_str());
    Restart();
    LogSinkWrite(3, "m", "id %s.", id.c_str());
    sessions_.Logout(id);
    LogSinkWrite(3, "m", "id %s.", id.c_str());
    const std::string masked = "I [m] id " + id.substr(0, 6) + "**********" + id.substr(26) + ".";
    const auto lines = log.Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), masked), 2);
    EXPECT_THAT(lines, Contains("I [m] id " + id + "."));
}

TEST(SessionsStartTest, StoreThatHasNoTablesIsRefused) {
    qarplatform::SiteStore closed;
    Sessions sessions;
    std::string error;
    EXPECT_FALSE(sessions.Start(closed, {}, error));
    EXPECT_NE(error, "");
    EXPECT_FALSE(sessions.Use(std::string(32, 'A')).has_value());
}

}  // namespace
