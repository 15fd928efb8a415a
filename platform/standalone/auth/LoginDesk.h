#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "standalone/auth/LoginAnswer.h"
#include "standalone/auth/LoginGate.h"
#include "standalone/auth/SessionOptions.h"
#include "standalone/auth/WorkSlots.h"

namespace qarplatform {

class UserStore;
struct StoredUser;

/// Tests users' names and passwords, two at a time, and tells each login in the log. Threads: any.
class LoginDesk {
public:
    /// Makes the session of a user who has given the right password.
    using Admit = std::function<LoginAnswer(const StoredUser&)>;

    void Open(UserStore& users, const SessionOptions& options);
    /// Sends off who waits, and waits for who is being tested.
    void Close();

    /// @param remote  the client's address
    /// @param admit   called before Close returns
    LoginAnswer Login(const std::string& user, const std::string& password, const std::string& remote,
                      const Admit& admit);

private:
    LoginAnswer TryLater(const std::string& user, const std::string& remote, std::chrono::seconds wait);
    LoginAnswer LoginInTurn(const std::string& user, const std::string& password, const std::string& remote,
                            const Admit& admit);
    /// @param found  gets the user where the password is right
    LoginAnswer::Result Test(const std::string& user, const std::string& password, const std::string& remote,
                             std::optional<StoredUser>& found);

    static constexpr int kTestedAtATime = 2;
    static constexpr int kWaiting = 64;

    WorkSlots slots_{kTestedAtATime, kWaiting};
    UserStore* users_ = nullptr;  // set while slots_ is open
    std::mutex mutex_;
    std::optional<LoginGate> gate_;  // guarded by mutex_
};

}  // namespace qarplatform
