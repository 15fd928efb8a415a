#include "standalone/auth/LoginDesk.h"

#include <chrono>
#include <exception>

#include "standalone/auth/PasswordHash.h"
#include "standalone/log/PlatformLog.h"
#include "standalone/site/SiteRecords.h"
#include "standalone/site/UserStore.h"

namespace qarplatform {

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

/// Names and addresses come from the client; they keep a line one line.
std::string Shown(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
            c = '?';
        }
    }
    return text;
}

LoginGate::Outcome OutcomeOf(LoginAnswer::Result result) {
    switch (result) {
        case LoginAnswer::kLoggedIn:
            return LoginGate::Outcome::kRight;
        case LoginAnswer::kRefused:
            return LoginGate::Outcome::kWrong;
        default:
            return LoginGate::Outcome::kUnknown;
    }
}

/// A place at the slots, given back at its end.
class Turn {
public:
    explicit Turn(WorkSlots& slots) : slots_(slots), entry_(slots.Enter()) {}
    ~Turn() {
        if (entry_ == WorkSlots::Entry::kIn) {
            slots_.Leave();
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    WorkSlots::Entry Entry() const { return entry_; }

private:
    WorkSlots& slots_;
    const WorkSlots::Entry entry_;
};

/// A try that the gate has begun, ended with it.
class Try {
public:
    /// @param mutex  guards the gate
    Try(LoginGate& gate, std::mutex& mutex, const std::string& user, const std::string& remote)
        : gate_(gate), mutex_(mutex), user_(user), remote_(remote) {}
    ~Try() {
        try {
            const std::lock_guard<std::mutex> lock(mutex_);
            gate_.End(user_, remote_, outcome_, steady_clock::now());
        } catch (const std::exception&) {
            // out of memory: the failure does not count, the try has ended
        }
    }
    Try(const Try&) = delete;
    Try& operator=(const Try&) = delete;

    void Ends(LoginGate::Outcome outcome) { outcome_ = outcome; }

private:
    LoginGate& gate_;
    std::mutex& mutex_;
    const std::string& user_;
    const std::string& remote_;
    LoginGate::Outcome outcome_ = LoginGate::Outcome::kUnknown;
};

}  // namespace

void LoginDesk::Open(UserStore& users, const SessionOptions& options) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        gate_.emplace(options);
    }
    users_ = &users;
    slots_.Open();
}

void LoginDesk::Close() { slots_.Close(); }

LoginAnswer LoginDesk::TryLater(const std::string& user, const std::string& remote, seconds wait) {
    bool tell = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tell = gate_->TellRefusal(user, remote);
    }
    if (tell) {
        LogSinkWrite(kLogWarning, kModulePlatform, "logins from %s are refused for %lld s: too many have failed",
                     Shown(remote).c_str(), static_cast<long long>(wait.count()));
    }
    LoginAnswer answer;
    answer.result = LoginAnswer::kTooManyTries;
    answer.retry_after = wait;
    return answer;
}

LoginAnswer LoginDesk::Login(const std::string& user, const std::string& password, const std::string& remote,
                             const Admit& admit) {
    // No user has a longer name; one that is cut counts as one user.
    const std::string name = user.substr(0, kLongestUserName + 1);
    seconds wait(0);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!gate_) {
            return {};
        }
        wait = gate_->Wait(name, remote, steady_clock::now());
    }
    if (wait != seconds(0)) {
        return TryLater(name, remote, wait);
    }
    const Turn turn(slots_);
    if (turn.Entry() == WorkSlots::Entry::kFull) {
        LoginAnswer answer;
        answer.result = LoginAnswer::kTooManyTries;
        answer.retry_after = seconds(1);
        return answer;
    }
    return turn.Entry() == WorkSlots::Entry::kIn ? LoginInTurn(name, password, remote, admit) : LoginAnswer();
}

LoginAnswer LoginDesk::LoginInTurn(const std::string& user, const std::string& password, const std::string& remote,
                                   const Admit& admit) {
    seconds wait(0);
    {
        // Others may have failed while this one waited.
        const std::lock_guard<std::mutex> lock(mutex_);
        wait = gate_->Wait(user, remote, steady_clock::now());
        if (wait == seconds(0)) {
            gate_->Begin(user, remote);
        }
    }
    if (wait != seconds(0)) {
        return TryLater(user, remote, wait);
    }
    Try begun(*gate_, mutex_, user, remote);
    LoginAnswer answer;
    try {
        std::optional<StoredUser> found;
        answer.result = Test(user, password, remote, found);
        if (found) {
            answer = admit(*found);
        }
    } catch (const std::exception& failure) {
        answer = {};
        LogSinkWrite(kLogError, kModulePlatform, "a login failed: %s", failure.what());
    }
    if (answer.result == LoginAnswer::kLoggedIn) {
        LogSinkWrite(kLogInformation, kModulePlatform, "user \"%s\" logged in from %s", Shown(user).c_str(),
                     Shown(remote).c_str());
    }
    begun.Ends(OutcomeOf(answer.result));
    return answer;
}

LoginAnswer::Result LoginDesk::Test(const std::string& user, const std::string& password, const std::string& remote,
                                    std::optional<StoredUser>& found) {
    std::optional<StoredUser> stored;
    std::string error;
    if (!users_->Find(user, stored, error)) {
        LogSinkWrite(kLogError, kModulePlatform, "nobody can log in: %s", error.c_str());
        return LoginAnswer::kFailed;
    }
    if (!stored) {
        // Its name is not told: now and then it is a password, typed into the wrong field.
        PretendToTestPassword(password);
        LogSinkWrite(kLogWarning, kModulePlatform, "login from %s refused: there is no such user",
                     Shown(remote).c_str());
        return LoginAnswer::kRefused;
    }
    if (stored->password.empty() || password.size() > kLongestPassword) {
        PretendToTestPassword(password);
        LogSinkWrite(kLogWarning, kModulePlatform, "login of user \"%s\" from %s refused: %s", Shown(user).c_str(),
                     Shown(remote).c_str(), stored->password.empty() ? "no password is set" : "wrong password");
        return LoginAnswer::kRefused;
    }
    switch (TestPassword(password, stored->password)) {
        case PasswordTest::kRight:
            found = std::move(stored);
            return LoginAnswer::kLoggedIn;
        case PasswordTest::kWrong:
            LogSinkWrite(kLogWarning, kModulePlatform, "login of user \"%s\" from %s refused: wrong password",
                         Shown(user).c_str(), Shown(remote).c_str());
            return LoginAnswer::kRefused;
        case PasswordTest::kUnreadable:
            LogSinkWrite(kLogError, kModulePlatform,
                         "user \"%s\" cannot log in: the hash of the password in the store cannot be read",
                         Shown(user).c_str());
            return LoginAnswer::kFailed;
        case PasswordTest::kFailed:
            LogSinkWrite(kLogError, kModulePlatform, "user \"%s\" cannot log in: no memory to test the password",
                         Shown(user).c_str());
            return LoginAnswer::kFailed;
    }
    return LoginAnswer::kFailed;
}

}  // namespace qarplatform
