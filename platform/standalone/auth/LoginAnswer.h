#pragma once

#include <chrono>

#include "standalone/auth/Session.h"

namespace qarplatform {

struct LoginAnswer {
    enum Result {
        kLoggedIn,
        kRefused,       ///< no such user, no password set, or a wrong one: which, is not told
        kTooManyTries,  ///< with retry_after
        kFailed         ///< the store or memory failed, with a line in the log, or the sessions have stopped
    };
    Result result = kFailed;
    Session session;
    std::chrono::seconds retry_after{0};
};

}  // namespace qarplatform
