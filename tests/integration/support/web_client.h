#pragma once

#include <memory>
#include <string>
#include <vector>

#include "integration/support/child_process.h"
#include "integration/support/host_process.h"
#include "integration/support/test_site.h"

namespace qartest {

struct WebAnswer {
    int status = 0;  ///< 0: none came
    std::string head;
    std::string body;

    /// @return the value of a header line, by its name in any case; "" when it is not there
    std::string Header(const std::string& name) const;
};

/// curl, with these words behind its own. @return what the server answered last
WebAnswer Curl(const std::vector<std::string>& words);

/// The front of a running host, as one user sees it.
class WebClient {
public:
    static constexpr const char* kPassword = "correct horse 7";

    /// @param url  "http://127.0.0.1:8080"
    explicit WebClient(std::string url, std::string ca_file = "")
        : url_(std::move(url)), ca_file_(std::move(ca_file)) {}

    /// Sets a user's password by the host's own command. @return what that command said, when it failed
    static std::string SetPassword(const TestSite& site, const std::string& user, const std::string& password);

    /// Logs in with kPassword; later requests bear the session. @return the answer
    WebAnswer Login(const std::string& user, const std::string& client_type = "web");

    WebAnswer Get(const std::string& path, const std::vector<std::string>& words = {}) const;
    /// @param body    "@FILE" sends a file
    /// @param origin  "" for the front's own
    WebAnswer Post(const std::string& path, const std::string& body = "",
                   const std::string& content_type = "application/json", const std::string& origin = "") const;

    const std::string& Url() const { return url_; }
    const std::string& Session() const { return session_; }

    /// The sessions of all clients of this process, also of those that have logged out.
    static const std::vector<std::string>& AllSessions();

private:
    WebAnswer Ask(const std::string& path, std::vector<std::string> words) const;

    std::string url_;
    std::string ca_file_;
    std::string session_;
};

/// A WebSocket client of another make: Python's websockets. Prints "open", then a line for each frame: "text ..." or
/// "binary HEX", and "closed CODE" at the end.
std::unique_ptr<ChildProcess> OpenWebSocket(const WebClient& client, const std::vector<std::string>& messages = {},
                                            const std::string& ca_file = "");

/// A headless Chromium that opens a page.
class Browser {
public:
    explicit Browser(const std::string& url);

    ChildProcess& Process() { return process_; }

private:
    TempFolder profile_;
    ChildProcess process_;
};

/// @return the front's URL out of the host's line that all is up; "" when it names none
std::string FrontUrl(HostProcess& host);

}  // namespace qartest
