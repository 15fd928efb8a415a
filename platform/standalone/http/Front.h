#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Mox/Base/ThreadPool.h"
#include "standalone/http/Answer.h"
#include "standalone/http/Answers.h"
#include "standalone/http/FrontSessions.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/LoginUrls.h"
#include "standalone/http/PushBoard.h"
#include "standalone/http/QueryText.h"
#include "standalone/http/UrlTable.h"

namespace qarplatform {

/// What users' requests come to: the platform's own URLs and those of the plug-ins, behind the users' sessions. Each
/// request is worked off on a thread of its own. Held by shared_ptr. Threads: any.
class Front : public std::enable_shared_from_this<Front> {
public:
    /// @param requests  worked on at most at a time; those beyond are answered with 503
    /// @param https     whether users reach the server by HTTPS
    /// The three tables outlive the front.
    Front(UrlTable& urls, Answers& answers, PushBoard& board, FrontSessions sessions, std::size_t requests, bool https);
    Front(const Front&) = delete;
    Front& operator=(const Front&) = delete;

    /// @return false when no thread can be made
    bool Start();

    /// Takes no more requests, and waits for those that are worked on until `deadline`.
    void Stop(std::chrono::steady_clock::time_point deadline);

    /// Takes a request. Never waits.
    void Handle(ClientRequest request);

private:
    class Work;

    /// A request with what was found out about it.
    struct Call {
        Work& work;
        const ClientRequest& request;
        Target target;
        std::optional<Session> session;
        bool session_of_cookie = false;
    };

    void Serve(Work& work);
    void Ended();

    // These give nothing when the request is answered, or will be, by other means.
    std::optional<Answer> Route(Work& work);
    std::optional<Answer> OpenPush(const Call& call);
    std::optional<Answer> CallPlugin(Call& call);
    std::optional<Answer> RunHandler(Call& call, const UrlTable::Match& match, int method);

    Answer ServeLogin(const Call& call) const;
    Answer ServeLogout(const Call& call) const;
    Answer ServeIndex(const Call& call) const;

    void FindSession(Call& call) const;

    UrlTable& urls_;
    Answers& answers_;
    PushBoard& board_;
    const FrontSessions sessions_;
    const LoginUrls login_;
    const std::size_t most_requests_;
    Mox::Base::CMessageLoopDyThreadPool pool_;

    std::mutex mutex_;
    std::condition_variable ended_;
    // guarded by mutex_
    std::size_t at_work_ = 0;
    bool stopped_ = true;
};

}  // namespace qarplatform
