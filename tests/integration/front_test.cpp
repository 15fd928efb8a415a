#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "integration/support/web_client.h"

namespace qartest {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int kSlowScale = 1;

class FrontTest : public testing::Test {
protected:
    FrontTest() {
        site_.AddPlugin("front_probe", "front_probe.so");
        site_.AddPlugin("doorbell", "doorbell.so");
    }

    void TearDown() override {
        if (host_ == nullptr) return;
        host_->Stop();
        const std::string written = Written();
        for (const std::string& session : WebClient::AllSessions()) {
            EXPECT_THAT(written, Not(HasSubstr(session))) << "no session's id is written anywhere";
        }
        EXPECT_THAT(written, Not(HasSubstr(WebClient::kPassword)));
    }

    void Begin(const std::string& settings = "") {
        site_.AddFront(settings);
        site_.Write();
        for (const char* user : {"anna", "bert", "carl"}) {
            ASSERT_EQ("", WebClient::SetPassword(site_, user, WebClient::kPassword));
        }
        BeginAgain();
    }

    void BeginAgain() {
        host_ = std::make_unique<HostProcess>(site_);
        url_ = FrontUrl(*host_);
        ASSERT_THAT(url_, StartsWith("http")) << host_->Process().Out() << host_->Process().Err();
    }

    /// Everything that the host wrote for people: its log and both outputs.
    std::string Written() {
        std::string all = host_->Process().Out() + host_->Process().Err();
        for (const auto& entry : std::filesystem::directory_iterator(site_.LogFile().parent_path())) {
            all += ReadText(entry.path());
        }
        return all;
    }

    TestSite site_{kSlowScale};
    std::unique_ptr<HostProcess> host_;
    std::string url_;
};

TEST_F(FrontTest, AUserLogsInAndReachesAPlugIn) {
    Begin();
    WebClient anna(url_);
    const WebAnswer login = anna.Login("anna");
    EXPECT_EQ(200, login.status) << login.body;
    EXPECT_EQ("SID=" + anna.Session() + "; HttpOnly; SameSite=Strict; Path=/", login.Header("Set-Cookie"));
    EXPECT_EQ(32U, anna.Session().size());

    const WebAnswer answer = anna.Get("/probe/echo/7/8?area=Yard%20north");
    EXPECT_EQ(200, answer.status);
    EXPECT_EQ(
        R"({"method":0,"ids":"7,8","area":"Yard north","body":"","size":0,"session":32,"https":false,"parts":[]})",
        answer.body);
    EXPECT_EQ("application/json; charset=utf-8", answer.Header("Content-Type"));
    EXPECT_EQ(200, anna.Get("/doorbell/rings").status);
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(FrontTest, FailuresAreToldByStatusAndAReasonInJson) {
    Begin();
    WebClient nobody(url_);
    const WebAnswer without = nobody.Get("/probe/echo");
    EXPECT_EQ(401, without.status);
    EXPECT_THAT(without.body, StartsWith(R"({"status":401,"error":"Unauthorized","reason":")"));
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    EXPECT_EQ(404, anna.Get("/nowhere").status);
    const WebAnswer wrong_method = anna.Get("/doorbell/ring");
    EXPECT_EQ(405, wrong_method.status);
    EXPECT_EQ("POST", wrong_method.Header("Allow"));
    EXPECT_EQ(400, anna.Get("/probe/echo/%2e%2e/x", {"--path-as-is"}).status);
    const WebAnswer thrown = anna.Get("/probe/throws");
    EXPECT_EQ(500, thrown.status);
    EXPECT_THAT(thrown.body, Not(HasSubstr("thrown by the probe")));
    EXPECT_EQ(1U, site_.LogLines("thrown by the probe").size());
}

TEST_F(FrontTest, AWrongPasswordIsRefusedAndTooManyAreHeldOff) {
    Begin("login_tries = 3\nlogin_window_s = 600\n");
    WebClient nobody(url_);
    const std::string wrong = R"({"user":"anna","password":"wrong horse 7"})";
    const std::string unknown = R"({"user":"nobody","password":"wrong horse 7"})";
    const WebAnswer first = nobody.Post("/login", wrong);
    EXPECT_EQ(401, first.status);
    EXPECT_EQ(first.body, nobody.Post("/login", unknown).body) << "which of the two was wrong is not told";
    EXPECT_EQ(401, nobody.Post("/login", wrong).status);
    const WebAnswer held_off = nobody.Post("/login", wrong);
    EXPECT_EQ(429, held_off.status);
    EXPECT_NE("", held_off.Header("Retry-After"));
    EXPECT_THAT(Written(), Not(HasSubstr("wrong horse")));
}

TEST_F(FrontTest, AFileGoesOutWithItsTypeItsNameAndItsTag) {
    Begin();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    const WebAnswer sign = anna.Get("/doorbell/sign.svg");
    EXPECT_EQ(200, sign.status);
    EXPECT_EQ("image/svg+xml", sign.Header("Content-Type"));
    EXPECT_EQ("inline; filename=\"sign.svg\"", sign.Header("Content-Disposition"));
    EXPECT_EQ("\"0\"", sign.Header("ETag"));
    EXPECT_EQ("no-cache", sign.Header("Cache-Control"));
    EXPECT_EQ(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"80\" height=\"20\"><text y=\"15\">0 rings</text></svg>",
        sign.body);
}

TEST_F(FrontTest, HandlersThatSleepNeverAnswerOrAnswerLaterHarmNoOther) {
    Begin("answer_timeout_s = 1\n");
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    ChildProcess sleeping(Launch{{"/usr/bin/curl", "-sS", url_ + "/probe/sleeps"}, {}, 0});
    const WebAnswer later = anna.Get("/probe/later");
    EXPECT_EQ(202, later.status);
    EXPECT_EQ("later", later.body);
    EXPECT_EQ(504, anna.Get("/probe/silent").status);
    EXPECT_EQ(200, anna.Get("/probe/echo").status);
    EXPECT_EQ("woken", anna.Get("/probe/wake").body);
    EXPECT_EQ(0, sleeping.WaitForEnd());
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(FrontTest, SessionsOutliveARestartAndEndWithALogout) {
    Begin();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    ASSERT_EQ(0, host_->Stop());
    BeginAgain();
    const auto ask = [&](const std::string& path, const std::string& method) {
        return Curl({"-X", method, "-H", "Cookie: SID=" + anna.Session(), "-H", "Origin: " + url_, url_ + path}).status;
    };
    EXPECT_EQ(200, ask("/probe/echo", "GET"));
    EXPECT_EQ(200, ask("/logout", "POST"));
    EXPECT_EQ(401, ask("/probe/echo", "GET"));
}

TEST_F(FrontTest, SessionsOutliveAKill) {
    Begin();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    host_->Kill();
    BeginAgain();
    EXPECT_EQ(200, Curl({"-H", "Cookie: SID=" + anna.Session(), url_ + "/probe/echo"}).status);
}

TEST_F(FrontTest, AnIdleSessionEnds) {
    Begin("session_idle_s = 1\n");
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    auto socket = OpenWebSocket(anna);
    ASSERT_TRUE(socket->WaitForOut("open\n")) << socket->Err();
    EXPECT_TRUE(socket->WaitForOut("closed 1008")) << "its WebSocket is closed with it";
    EXPECT_EQ(401, anna.Get("/probe/echo").status);
}

TEST_F(FrontTest, PushesReachWebSocketClientsOfThoseWhoTheyAreFor) {
    Begin();
    WebClient anna(url_);
    WebClient bert(url_);
    WebClient carl(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    ASSERT_EQ(200, bert.Login("bert").status);
    ASSERT_EQ(200, carl.Login("carl").status);
    const auto annas = OpenWebSocket(anna);
    const auto berts = OpenWebSocket(bert);
    const auto carls = OpenWebSocket(carl);
    for (ChildProcess* socket : {annas.get(), berts.get(), carls.get()}) {
        ASSERT_TRUE(socket->WaitForOut("open\n")) << socket->Err();
    }
    const auto push = [&](const std::string& query) {
        return anna.Post("/probe/push?" + query).body == R"({"pushed":true})";
    };
    const std::string text = "text {\"n\":1}\n";
    const std::string binary =
        "binary 7b226e223a317d0001"
        "00ff\n";
    // each is waited for: what comes by different roads keeps no order among them
    EXPECT_TRUE(push("to=users&id=2"));
    EXPECT_TRUE(berts->WaitForOut("open\n" + text)) << berts->Out();
    EXPECT_TRUE(push("to=persons&id=77&binary=1"));
    EXPECT_TRUE(carls->WaitForOut("open\n" + binary)) << carls->Out();
    EXPECT_TRUE(push("to=holders&id=12&binary=1"));
    EXPECT_TRUE(berts->WaitForOut("open\n" + text + binary)) << berts->Out();
    EXPECT_TRUE(annas->WaitForOut("open\n" + binary)) << "an administrator holds every permission";
    EXPECT_TRUE(push("to=client&id=" + carl.Session()));
    EXPECT_TRUE(carls->WaitForOut("open\n" + binary + text)) << carls->Out();
    EXPECT_TRUE(push("to=all"));
    EXPECT_TRUE(annas->WaitForOut("open\n" + binary + text)) << annas->Out();
    EXPECT_TRUE(berts->WaitForOut("open\n" + text + binary + text)) << berts->Out();
    EXPECT_TRUE(carls->WaitForOut("open\n" + binary + text + text)) << carls->Out();
    EXPECT_EQ(0, host_->Stop());
    for (ChildProcess* socket : {annas.get(), berts.get(), carls.get()}) {
        EXPECT_TRUE(socket->WaitForOut("closed 1001"));
    }
    EXPECT_EQ("open\n" + binary + text + "closed 1001\n", annas->Out());
}

TEST_F(FrontTest, AClientSubscribesToEventsOfCertainResources) {
    Begin();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    const auto socket = OpenWebSocket(
        anna, {R"({"subscribe":{"events":[42],"resource_types":[1001],"resource_ids":[5]}})", "nonsense"});
    ASSERT_TRUE(socket->WaitForOut("text {\"error\":")) << socket->Out() << socket->Err();
    EXPECT_EQ(R"({"pushed":true})", anna.Post("/probe/push?to=event").body);
    EXPECT_TRUE(socket->WaitForOut("text {\"n\":1}\n"));
    EXPECT_FALSE(site_.LogLines("Client subscribe push-event[42]").empty());
}

TEST_F(FrontTest, AWebSocketWithoutASessionOrFromAnotherSiteIsRefused) {
    Begin();
    const WebClient nobody(url_);
    const auto without = OpenWebSocket(nobody);
    EXPECT_TRUE(without->WaitForOut("refused 401")) << without->Err();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    EXPECT_EQ(403, anna.Get("/push", {"-H", "Connection: Upgrade", "-H", "Upgrade: websocket", "-H",
                                      "Sec-WebSocket-Version: 13", "-H", "Sec-WebSocket-Key: MDEyMzQ1Njc4OWFiY2RlZg==",
                                      "-H", "Origin: http://elsewhere.example"})
                       .status);
    EXPECT_EQ(403, anna.Post("/doorbell/ring?camera=101", "", "text/plain", "http://elsewhere.example").status);
}

TEST_F(FrontTest, ABrowserLogsInCallsAPlugInAndGetsPushes) {
    Begin();
    const Browser browser(url_ + "/probe/page");
    const auto result = site_.DataDir() / "front_probe.result";
    ASSERT_TRUE(Eventually([&] { return std::filesystem::exists(result); }));
    EXPECT_EQ(
        "before login 401\n"
        "login 200\n"
        "cookie seen by the page: none\n"
        "echo 0 7,8 Yard north\n"
        "parts note   ümlaut | file probe %22one%22.txt text/x-probe abc?def\n"
        "pushed {\"n\":1}\n"
        "pushed bytes 123,34,110,34,58,49,125,0,1,0,255\n"
        "logout 200\n"
        "closed 1008\n"
        "after logout 401\n",
        ReadText(result));
}

TEST_F(FrontTest, SessionIdsInUrlsAreMaskedInTheLog) {
    Begin();
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    const std::string id = anna.Session();
    EXPECT_EQ(200, Curl({url_ + "/probe/echo?SID=" + id + "&x=1"}).status);
    EXPECT_EQ(404, Curl({url_ + "/nowhere?SID=" + id}).status);
    EXPECT_EQ(400, Curl({"--path-as-is", url_ + "/a/../b?SID=" + id}).status);
    anna.Post("/probe/push?to=client&id=" + id);
    anna.Post("/logout");
    EXPECT_EQ(0, host_->Stop());
    const std::string written = Written();
    EXPECT_THAT(written, HasSubstr("SID=" + id.substr(0, 6) + "**********" + id.substr(26)));
}

TEST_F(FrontTest, ALongBodyIsTakenFromAFileAndATooLongOneRefused) {
    Begin("body_limit_mb = 8\n");
    WebClient anna(url_);
    ASSERT_EQ(200, anna.Login("anna").status);
    const TempFolder folder;
    const std::string fits = folder.Write("fits", std::string(7U << 20, 'x'));
    const std::string too_long = folder.Write("too_long", std::string(9U << 20, 'x'));
    const WebAnswer taken = anna.Post("/probe/echo", "@" + fits, "application/octet-stream");
    EXPECT_EQ(200, taken.status);
    EXPECT_THAT(taken.body, HasSubstr(R"("size":7340032,)"));
    const WebAnswer refused = anna.Post("/probe/echo", "@" + too_long);
    EXPECT_EQ(413, refused.status);
    EXPECT_EQ(200, anna.Get("/probe/echo").status);
}

TEST_F(FrontTest, HttpsServesRequestsAndPushes) {
    const std::string key = (site_.Folder().Path() / "key.pem").string();
    const std::string certificate = (site_.Folder().Path() / "certificate.pem").string();
    const Ended made =
        RunToEnd(Launch{{"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                         "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", key, "-out", certificate, "-days", "2",
                         "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"},
                        {},
                        0});
    ASSERT_EQ(0, made.exit_code) << made.err;
    std::filesystem::permissions(key, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    Begin("certificate = \"certificate.pem\"\nkey = \"key.pem\"\n");
    ASSERT_THAT(url_, StartsWith("https://127.0.0.1:"));
    WebClient anna(url_, certificate);
    const WebAnswer login = anna.Login("anna");
    ASSERT_EQ(200, login.status) << login.body;
    EXPECT_THAT(login.Header("Set-Cookie"), HasSubstr("; Secure"));
    EXPECT_THAT(anna.Get("/probe/echo").body, HasSubstr(R"("https":true)"));
    const auto socket = OpenWebSocket(anna, {}, certificate);
    ASSERT_TRUE(socket->WaitForOut("open\n")) << socket->Err();
    anna.Post("/probe/push?to=users&id=1");
    EXPECT_TRUE(socket->WaitForOut("text {\"n\":1}\n"));
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(FrontTest, StatusTellsWhereTheFrontListens) {
    Begin();
    EXPECT_THAT(host_->Command("status").out, HasSubstr("\nfront " + url_ + "\n"));
}

}  // namespace
}  // namespace qartest
