#pragma once

#include <optional>
#include <string>

#include "standalone/http/Answer.h"
#include "standalone/http/FrontSessions.h"
#include "standalone/http/HttpServer.h"
#include "standalone/http/QueryText.h"

namespace qarplatform {

/// The URLs by which users come and go. A form with a key "to" is a browser's: it is answered with pages and sent on to
/// that local path. Everything else is answered in JSON. Threads: any; logging in blocks.
class LoginUrls {
public:
    /// @param https  whether users reach the server by HTTPS: the cookie goes nowhere else then
    LoginUrls(FrontSessions sessions, bool https);

    /// GET /login, with a query key "to"
    Answer Page(const QueryParams& params) const;

    /// POST /login, with the keys user, password and client_type (web, desktop or mobile; web without it) in JSON or a
    /// form
    Answer Login(const ClientRequest& request) const;

    /// POST /logout. Without a session, too, the cookie is cleared.
    Answer Logout(const ClientRequest& request, const std::optional<Session>& session) const;

private:
    struct Fields;

    std::string Cookie(const std::string& value) const;
    static Answer Refused(unsigned status, const std::string& reason, const Fields& fields);

    const FrontSessions sessions_;
    const bool https_;
};

}  // namespace qarplatform
