#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cstddef>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "integration/support/web_client.h"

namespace qartest {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kForm = "application/x-www-form-urlencoded";

// A '+' stands for a blank in a form.
std::string Encoded(std::string moment) {
    if (const std::size_t plus = moment.find('+'); plus != std::string::npos) moment.replace(plus, 1, "%2B");
    return moment;
}

/// Stands before the page's script: a camera with two business types and two open ranges of each, and no refreshing but
/// the test's own.
constexpr const char* kFakeState = R"html(<script>
const state = {"/cameras": {cameras: [1, 2].map(busi => ({camera: 101, busi, name: "Yard", points: 3, ranges: 2}))}};
for (const busi of [1, 2]) {
  state["/cameras/101/" + busi] = {points: [], ranges: [1, 3].map(hour => (
    {begin: "0" + hour + ":00", end: "0" + (hour + 1) + ":00", state: "waiting", last_error: ""}))};
}
window.fetch = async path => {
  const value = state[path.slice(location.pathname.length)];
  return {ok: true, status: 200, json: async () => value};
};
window.setInterval = () => {};
</script>)html";

/// Stands behind the page's script: opens both rows, and writes down the buttons' labels and which of them has the
/// focus when each had it before the rows were made anew.
constexpr const char* kFocusEachButton = R"html(<script>
(async () => {
  const buttons = () => [...document.querySelectorAll("button")];
  const settled = async () => { while (running) await null; };
  await settled();
  for (const row of [1, 0]) { buttons()[row].click(); await settled(); }
  const lines = buttons().map(button => button.getAttribute("aria-label"));
  for (const i of buttons().keys()) {
    buttons()[i].focus();
    await refresh();
    lines.push(i + " " + buttons().indexOf(document.activeElement));
  }
  document.body.replaceChildren(text("pre", lines.join("\n")));
})();
</script>)html";

/// @return what a browser shows of a page, as HTML, once its scripts have run
std::string Shown(const std::string& html) {
    const TempFolder folder;
    const std::string page = folder.Write("page.html", html);
    Launch launch;
    launch.words = {"/usr/bin/chromium",
                    "--headless",
                    "--no-sandbox",
                    "--disable-gpu",
                    "--no-first-run",
                    "--disable-background-networking",
                    "--disable-dev-shm-usage",
                    "--user-data-dir=" + (folder.Path() / "profile").string(),
                    "--dump-dom",
                    "file://" + page};
    return RunToEnd(launch).out;
}

/// A host whose backfill fetches nothing before a flag stands in the site's folder, and tries again only after ten
/// minutes.
class BackfillPageTest : public testing::Test {
protected:
    void SetUp() override {
        site_.AddCamera().ComeBack();
        site_.AddPlugin("backfill", PLUGIN_DIR "/backfill.so",
                        "fetch = [\"/bin/sh\", \"-c\", \"test -e '" + Flag().string() +
                            "' && echo fetched > '{out}'\"]\nretry_first_s = 600\nretry_max_s = 600\n");
        site_.AddFront();
        site_.Write();
        ASSERT_EQ("", WebClient::SetPassword(site_, "anna", WebClient::kPassword));
        host_ = std::make_unique<HostProcess>(site_);
        anna_ = std::make_unique<WebClient>(FrontUrl(*host_));
        ASSERT_EQ(200, anna_->Login("anna").status) << host_->Process().Err();
    }

    std::filesystem::path Flag() const { return site_.Folder().Path() / "flag"; }

    rapidjson::Document Json(const WebAnswer& answer) const {
        rapidjson::Document document;
        document.Parse(answer.body.c_str());
        EXPECT_FALSE(document.HasParseError()) << answer.body;
        if (document.HasParseError()) document.SetObject();
        return document;
    }

    /// @return the first open range of the camera, once it has failed; an empty object when there is none
    rapidjson::Document FailedRange() const {
        rapidjson::Document range;
        range.SetObject();
        Eventually([&] {
            const rapidjson::Document camera = Json(anna_->Get("/backfill/cameras/101/1"));
            if (!camera.HasMember("ranges") || camera["ranges"].Empty()) return false;
            const auto& first = camera["ranges"][0];
            if (first["state"] != "waiting") return false;
            range.CopyFrom(first, range.GetAllocator());
            return true;
        });
        return range;
    }

    TestSite site_;
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<WebClient> anna_;
};

TEST_F(BackfillPageTest, ARangeThatFailedIsShownAndFetchedAtAUsersWish) {
    const rapidjson::Document range = FailedRange();
    ASSERT_TRUE(range.HasMember("begin"));
    EXPECT_EQ(1, range["attempts"].GetInt());
    EXPECT_GE(range["seconds"].GetInt(), 604800);
    EXPECT_GT(range["next_attempt_s"].GetInt(), 60);
    EXPECT_THAT(range["last_error"].GetString(), HasSubstr("1"));

    const rapidjson::Document cameras = Json(anna_->Get("/backfill/cameras"));
    ASSERT_EQ(1U, cameras["cameras"].Size());
    const auto& camera = cameras["cameras"][0];
    EXPECT_EQ(101, camera["camera"].GetInt());
    EXPECT_EQ(1, camera["busi"].GetInt());
    EXPECT_STREQ("Camera 101", camera["name"].GetString());
    EXPECT_GE(camera["points"].GetInt(), 2);
    EXPECT_EQ(1, camera["ranges"].GetInt());

    site_.Folder().Write("flag", "");
    const WebAnswer fetch = anna_->Post("/backfill/fetch",
                                        std::string("camera=101&busi=1&begin=") + Encoded(range["begin"].GetString()) +
                                            "&end=" + Encoded(range["end"].GetString()),
                                        kForm);
    EXPECT_EQ(R"({"fetching":true})", fetch.body);
    EXPECT_TRUE(Eventually([&] { return Json(anna_->Get("/backfill/cameras/101/1"))["ranges"].Empty(); }));
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(BackfillPageTest, ManyRequestsAtOnceAreAllAnswered) {
    ASSERT_TRUE(FailedRange().HasMember("begin"));
    std::vector<std::future<WebAnswer>> answers;
    for (int i = 0; i < 24; ++i) {
        const std::string path = i % 2 == 0 ? "/backfill/cameras" : "/backfill/cameras/101/1";
        answers.push_back(std::async(std::launch::async, [this, path] { return anna_->Get(path); }));
    }
    for (std::size_t i = 0; i < answers.size(); ++i) {
        const WebAnswer answer = answers[i].get();
        ASSERT_EQ(200, answer.status) << answer.body;
        const rapidjson::Document json = Json(answer);
        if (i % 2 == 0) {
            ASSERT_TRUE(json.HasMember("cameras")) << answer.body;
            ASSERT_EQ(1U, json["cameras"].Size());
            EXPECT_EQ(1, json["cameras"][0]["ranges"].GetInt());
        } else {
            ASSERT_TRUE(json.HasMember("ranges")) << answer.body;
            ASSERT_EQ(1U, json["ranges"].Size());
            EXPECT_STRNE("", json["ranges"][0]["last_error"].GetString());
        }
    }
    EXPECT_TRUE(site_.LogLines("came free").empty()) << "nobody waited in vain for a connection";
    EXPECT_EQ(0, host_->Stop());
}

TEST_F(BackfillPageTest, RequestsThatCannotBeServedSayWhy) {
    const auto error = [this](const std::string& path, const std::string& body = "") {
        const WebAnswer answer =
            path.rfind("/backfill/fetch", 0) == 0 ? anna_->Post(path, body, kForm) : anna_->Get(path);
        const rapidjson::Document json = Json(answer);
        return json.HasMember("error") ? std::string(json["error"].GetString()) : answer.body;
    };
    EXPECT_EQ("the path must be cameras/CAMERA/BUSI", error("/backfill/cameras/101"));
    EXPECT_EQ("the path must be cameras/CAMERA/BUSI", error("/backfill/cameras/4294967397/1"));
    EXPECT_EQ("camera must be a camera's id", error("/backfill/fetch", "camera=x"));
    EXPECT_EQ("busi must be a business type", error("/backfill/fetch?camera=101"));
    EXPECT_EQ("begin and end must be moments as the ranges show them",
              error("/backfill/fetch", "camera=101&busi=1&begin=today&end=tomorrow"));
    EXPECT_EQ(
        "nothing of this range is to be fetched",
        error("/backfill/fetch", "camera=7&busi=1&begin=2024-03-01T00:00:00%2B08:00&end=2024-03-01T01:00:00%2B08:00"));
}

TEST_F(BackfillPageTest, ARefreshLeavesTheFocusOnItsButton) {
    std::string html = anna_->Get("/backfill").body;
    const std::string doctype = "<!doctype html>";
    ASSERT_THAT(html, StartsWith(doctype));
    html.insert(doctype.size(), kFakeState);
    html += kFocusEachButton;
    EXPECT_THAT(Shown(html), HasSubstr("<pre>"
                                       "Yard (101), business type 1\n"
                                       "Fetch now: Yard (101), business type 1, 01:00 to 02:00\n"
                                       "Fetch now: Yard (101), business type 1, 03:00 to 04:00\n"
                                       "Yard (101), business type 2\n"
                                       "Fetch now: Yard (101), business type 2, 01:00 to 02:00\n"
                                       "Fetch now: Yard (101), business type 2, 03:00 to 04:00\n"
                                       "0 0\n1 1\n2 2\n3 3\n4 4\n5 5</pre>"));
}

TEST_F(BackfillPageTest, ThePageIsServedToThoseWhoAreLoggedInOnly) {
    const WebAnswer page = anna_->Get("/backfill");
    EXPECT_EQ(200, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.Header("Content-Type"));
    EXPECT_THAT(page.body, StartsWith("<!doctype html>"));
    EXPECT_EQ(401, Curl({anna_->Url() + "/backfill/cameras"}).status);
}

}  // namespace
}  // namespace qartest
