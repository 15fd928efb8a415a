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

TEST_F(BackfillPageTest, ThePageIsServedToThoseWhoAreLoggedInOnly) {
    const WebAnswer page = anna_->Get("/backfill");
    EXPECT_EQ(200, page.status);
    EXPECT_EQ("text/html; charset=utf-8", page.Header("Content-Type"));
    EXPECT_THAT(page.body, StartsWith("<!doctype html>"));
    EXPECT_EQ(401, Curl({anna_->Url() + "/backfill/cameras"}).status);
}

}  // namespace
}  // namespace qartest
