#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "standalone/http/Answer.h"
#include "standalone/http/Answers.h"
#include "standalone/http/FrontSessions.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/LoginUrls.h"
#include "standalone/http/PushBoard.h"
#include "standalone/http/QueryText.h"
#include "standalone/http/RequestGuard.h"
#include "standalone/http/RequestQueue.h"
#include "standalone/http/UrlTable.h"

namespace qarplatform {

/// What users' requests come to: the platform's own URLs and those of the plug-ins, behind the users' sessions. One
/// worker works off quick requests one after the other; one that has waited a millisecond behind a long one gets a
/// worker of its own. Held by shared_ptr. Threads: any.
class Front : public std::enable_shared_from_this<Front> {
public:
    /// @param requests  worked on at most at a time; those beyond are answered with 503
    /// The three tables outlive the front.
    Front(UrlTable& urls, Answers& answers, PushBoard& board, FrontSessions sessions, std::size_t requests,
          UserScheme scheme);
    Front(const Front&) = delete;
    Front& operator=(const Front&) = delete;

    /// @return false when no thread can be made
    bool Start();

    /// Takes no more requests, and waits for those that are worked on until `deadline`.
    void Stop(std::chrono::steady_clock::time_point deadline);

    /// Tells how the body is to be taken of a request whose head is there. Only looks things up; not for the disk.
    BodyTerms TermsOf(const ClientHead& head) const;

    /// Takes a request. Never waits.
    void Handle(ClientRequest request);

private:
    class Work;

    /// A request with what its head tells.
    struct Call {
        explicit Call(const ClientHead& of) : head(of) {}

        const ClientHead& head;
        Target target;
        int method = 0;
        std::optional<Session> session;
        bool session_of_cookie = false;
        UrlTable::Match match;  // of a plug-in's URL
    };

    void Serve(Work& work);
    /// Counts a request. @return why it is refused; null when it is not
    const char* Begin();
    void Ended();

    // These find out what the head tells. @return why the request is refused, whatever its body
    std::optional<Answer> Examine(Call& call) const;
    std::optional<Answer> FindPlugin(Call& call) const;
    void FindSession(Call& call) const;

    // These give nothing when the request is answered, or will be, by other means.
    std::optional<Answer> Route(Work& work);
    std::optional<Answer> RunHandler(Work& work, Call& call);

    Answer ServeIndex(const Call& call) const;

    UrlTable& urls_;
    Answers& answers_;
    PushBoard& board_;
    const FrontSessions sessions_;
    const UserScheme scheme_;
    const LoginUrls login_;
    const std::size_t most_requests_;
    RequestQueue queue_;

    std::mutex mutex_;
    std::condition_variable ended_;
    // guarded by mutex_
    std::size_t at_work_ = 0;
    bool stopped_ = true;
};

}  // namespace qarplatform
