#include "integration/support/web_client.h"

#include <strings.h>

#include <sstream>

namespace qartest {

namespace {

constexpr const char* kCurl = "/usr/bin/curl";
constexpr const char* kPython = "/usr/bin/python3";
constexpr const char* kChromium = "/usr/bin/chromium";
constexpr const char* kShell = "/bin/sh";

std::vector<std::string>& Sessions() {
    static std::vector<std::string> sessions;
    return sessions;
}

}  // namespace

std::string WebAnswer::Header(const std::string& name) const {
    std::istringstream lines(head);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(':');
        if (colon != name.size() || strncasecmp(line.c_str(), name.c_str(), colon) != 0) continue;
        const std::size_t begin = line.find_first_not_of(' ', colon + 1);
        const std::size_t end = line.find_last_not_of("\r ");
        return begin == std::string::npos || end < begin ? "" : line.substr(begin, end + 1 - begin);
    }
    return {};
}

WebAnswer Curl(const std::vector<std::string>& words) {
    const TempFolder folder;
    const std::string body_file = (folder.Path() / "body").string();
    const std::string head_file = (folder.Path() / "head").string();
    Launch launch;
    launch.words = {kCurl, "-sS", "--max-time", "60", "-o", body_file, "-D", head_file, "-w", "%{http_code}"};
    launch.words.insert(launch.words.end(), words.begin(), words.end());
    const Ended ended = RunToEnd(launch);
    WebAnswer answer;
    answer.status = ended.out.empty() ? 0 : std::stoi(ended.out);
    answer.head = ReadText(head_file);
    answer.body = ReadText(body_file);
    return answer;
}

std::string WebClient::SetPassword(const TestSite& site, const std::string& user, const std::string& password) {
    Launch launch;
    launch.words = {kShell, "-c",
                    "printf '%s\\n' \"$PASSWORD\" | \"$QARHOST\" password --site \"$SITE\" \"$USER_NAME\""};
    launch.environment = {
        {"PASSWORD", password}, {"QARHOST", QARHOST_PATH}, {"SITE", site.SiteFile().string()}, {"USER_NAME", user}};
    const Ended ended = RunToEnd(launch);
    return ended.exit_code == 0 ? "" : ended.out + ended.err;
}

WebAnswer WebClient::Login(const std::string& user, const std::string& client_type) {
    session_.clear();
    const std::string body =
        R"({"user":")" + user + R"(","password":")" + kPassword + R"(","client_type":")" + client_type + R"("})";
    WebAnswer answer = Post("/login", body);
    const std::string cookie = answer.Header("Set-Cookie");
    if (answer.status == 200 && cookie.rfind("SID=", 0) == 0) session_ = cookie.substr(4, cookie.find(';') - 4);
    if (!session_.empty()) Sessions().push_back(session_);
    return answer;
}

const std::vector<std::string>& WebClient::AllSessions() { return Sessions(); }

WebAnswer WebClient::Ask(const std::string& path, std::vector<std::string> words) const {
    if (!ca_file_.empty()) words.insert(words.end(), {"--cacert", ca_file_});
    if (!session_.empty()) words.insert(words.end(), {"-H", "Cookie: SID=" + session_});
    words.push_back(url_ + path);
    return Curl(words);
}

WebAnswer WebClient::Get(const std::string& path, const std::vector<std::string>& words) const {
    return Ask(path, words);
}

WebAnswer WebClient::Post(const std::string& path, const std::string& body, const std::string& content_type,
                          const std::string& origin) const {
    return Ask(path, {"-X", "POST", "-H", "Content-Type: " + content_type, "-H",
                      "Origin: " + (origin.empty() ? url_ : origin), "--data-binary", body});
}

std::unique_ptr<ChildProcess> OpenWebSocket(const WebClient& client, const std::vector<std::string>& messages,
                                            const std::string& ca_file) {
    Launch launch;
    launch.words = {kPython, WEBSOCKET_CLIENT, "ws" + client.Url().substr(4) + "/push", client.Session(), ca_file};
    launch.words.insert(launch.words.end(), messages.begin(), messages.end());
    return std::make_unique<ChildProcess>(launch);
}

Browser::Browser(const std::string& url)
    : process_(Launch{
          {kChromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
           "--remote-debugging-port=0", "--user-data-dir=" + profile_.Path().string(), url},
          {},
          0}) {}

std::string FrontUrl(HostProcess& host) {
    if (!host.WaitUntilReady()) return {};
    std::istringstream words(host.Process().Out());
    for (std::string word; words >> word;) {
        if (word.rfind("front=", 0) == 0) return word.substr(6);
    }
    return {};
}

}  // namespace qartest
