#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "Mox/Net/HttpServer.h"
#include "standalone/http/HttpServer.h"

namespace qarplatform {

/// The requests that have no answer yet, by the number that their handlers know them by. Each is answered once: who
/// takes it answers it. Threads: any.
class Answers {
public:
    using Clock = std::chrono::steady_clock;

    /// The table of the process, never destroyed.
    static Answers& Get();

    /// Begins afresh, after Stop as well.
    /// @param time_limit  after which a request is given up; the server has answered it by then
    void Start(std::chrono::milliseconds time_limit);
    /// Gives up all requests; sending says kStopped from now on.
    void Stop();

    /// @return the request's number, above 0, not that of another one in the table; 0 when the table has stopped
    int32_t Add(std::shared_ptr<Exchange> exchange);

    /// Takes a request out of the table. @return null when it is not there
    std::shared_ptr<Exchange> Take(int32_t number);

    /// As Mox::Net::CHttpServer::HttpServerSyncSend. A head that cannot be sent leaves the request unanswered.
    SendResult Send(int32_t number, const Mox::Net::HttpResponse& response, int64_t size, const char* data);

private:
    struct Pending {
        std::shared_ptr<Exchange> exchange;
        Clock::time_point since;
    };

    // mutex_ is held
    std::map<int32_t, Pending>::iterator Oldest();

    std::mutex mutex_;
    // guarded by mutex_
    std::map<int32_t, Pending> pending_;
    std::chrono::milliseconds time_limit_{0};
    int32_t last_number_ = 0;
    bool stopped_ = false;
};

}  // namespace qarplatform
