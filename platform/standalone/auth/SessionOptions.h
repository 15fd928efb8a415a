#pragma once

#include <chrono>

namespace qarplatform {

struct SessionOptions {
    std::chrono::seconds idle{1800};        ///< real seconds without use after which a session ends
    int login_tries = 5;                    ///< failed logins of a user or from an address ...
    std::chrono::seconds login_window{60};  ///< ... in these real seconds, after which more are refused
};

}  // namespace qarplatform
