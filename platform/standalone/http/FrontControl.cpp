#include "standalone/http/FrontControl.h"

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "standalone/auth/Sessions.h"
#include "standalone/bus/BusControl.h"
#include "standalone/http/Answers.h"
#include "standalone/http/Front.h"
#include "standalone/http/PushBoard.h"
#include "standalone/http/UrlTable.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

struct RunningFront {
    std::shared_ptr<Front> front;
    HttpServer server;
    std::chrono::milliseconds stop_timeout{0};
};

/// The front of the process. Never destroyed.
struct FrontPlace {
    std::mutex mutex;
    std::unique_ptr<RunningFront> running;  // guarded by mutex
};

FrontPlace& Place() {
    static FrontPlace& place = *new FrontPlace;
    return place;
}

UserScheme SchemeOf(const FrontOptions& options) {
    if (options.https) return UserScheme::kHttps;
    return options.plain ? UserScheme::kEither : UserScheme::kHttp;
}

FrontSessions ProcessSessions() {
    FrontSessions sessions;
    sessions.use = [](const std::string& session) { return Sessions::Get().Use(session); };
    sessions.login = [](const std::string& user, const std::string& password, auto client_type,
                        const std::string& remote) {
        return Sessions::Get().Login(user, password, client_type, remote);
    };
    sessions.logout = [](const std::string& session) { return Sessions::Get().Logout(session); };
    return sessions;
}

void EndTables() {
    SetClientPermissions({});
    Answers::Get().Stop();
    PushBoard::Get().Stop();
}

}  // namespace

bool StartFront(const FrontOptions& options, std::string& error) {
    FrontPlace& place = Place();
    std::lock_guard<std::mutex> lock(place.mutex);
    if (place.running != nullptr) {
        error = "users' requests are served already";
        return false;
    }
    auto running = std::make_unique<RunningFront>();
    running->stop_timeout = options.server.stop_timeout;
    running->front = std::make_shared<Front>(UrlTable::Get(), Answers::Get(), PushBoard::Get(), ProcessSessions(),
                                             options.requests, SchemeOf(options));
    if (!running->front->Start()) {
        error = "no thread can be made";
        return false;
    }
    Answers::Get().Start(options.server.answer_timeout);
    PushBoard::Get().Start([](const std::string& session) { return Sessions::Get().Use(session).has_value(); });
    Sessions::Get().SetEndedListener([](const std::string& session) { PushBoard::Get().EndSession(session); });
    SetClientPermissions([](const std::string& client, const std::map<int, std::list<int>>& permissions) {
        return Sessions::Get().HoldsOneOf(client, permissions);
    });
    const auto on_request = [front = running->front](ClientRequest&& request) { front->Handle(std::move(request)); };
    const auto on_head = [front = running->front](const ClientHead& head) { return front->TermsOf(head); };
    if (!running->server.Start(options.server, on_request, error, on_head)) {
        running->front->Stop(std::chrono::steady_clock::now());
        EndTables();
        return false;
    }
    LogSinkWrite(kLogInformation, kModulePlatform, "users' requests are served at %s://%s:%d",
                 options.https ? "https" : "http", options.server.address.c_str(), int{running->server.Port()});
    place.running = std::move(running);
    return true;
}

uint16_t FrontPort() {
    FrontPlace& place = Place();
    std::lock_guard<std::mutex> lock(place.mutex);
    return place.running == nullptr ? uint16_t{0} : place.running->server.Port();
}

void StopFront() {
    std::unique_ptr<RunningFront> running;
    {
        FrontPlace& place = Place();
        std::lock_guard<std::mutex> lock(place.mutex);
        running = std::move(place.running);
    }
    if (running == nullptr) return;
    const auto deadline = std::chrono::steady_clock::now() + running->stop_timeout;
    running->server.Stop();
    EndTables();
    running->front->Stop(deadline);
}

}  // namespace qarplatform
