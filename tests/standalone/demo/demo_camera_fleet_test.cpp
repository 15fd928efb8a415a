#include <gtest/gtest.h>
#include <toml++/toml.h>

#include <set>

#include "demo_cameras/camera_fleet.h"
#include "demo_cameras/demo_start.h"
#include "demo_cameras/site_file.h"
#include "demo_cameras/time_text.h"
#include "tests/standalone/demo/demo_test_client.h"

namespace demo {
namespace {

TEST(DemoCameraFleetTest, EveryCameraHasPortsOfItsOwn) {
    CameraFleet fleet(DemoClock(600), 12, 1);
    fleet.AllComeBack();
    std::set<std::uint16_t> ports;
    for (std::size_t i = 0; i < fleet.Size(); ++i) {
        EXPECT_EQ(fleet.IndexOf(fleet.At(i).Id()), i);
        EXPECT_TRUE(TestClient(fleet.At(i).ProbePort()).Connected());
        ports.insert(fleet.At(i).ProbePort());
        ports.insert(fleet.At(i).ArchivePort());
    }
    EXPECT_EQ(ports.size(), 24U);
    EXPECT_THROW(fleet.IndexOf(999), std::out_of_range);
}

TEST(DemoCameraFleetTest, TheSeedDecidesTheClocks) {
    const auto skews = [](std::uint32_t seed) {
        const CameraFleet fleet(DemoClock(600), 12, seed);
        std::vector<std::int64_t> all;
        for (const ScheduledCamera& camera : fleet.Scheduled()) {
            EXPECT_LE(std::abs(camera.skew_s), 90);
            all.push_back(camera.skew_s);
        }
        return all;
    };
    EXPECT_EQ(skews(1), skews(1));
    EXPECT_NE(skews(1), skews(2));
}

TEST(DemoSiteFileTest, NamesEveryCameraWithItsPortsAndZone) {
    const CameraFleet fleet(ScaledClock(600, 1793500000, 1793484000), 4, 1);
    const DemoFolder folder{"/work \"folder\""};
    const toml::table site = toml::parse(SiteFileText(fleet, folder));
    EXPECT_EQ(site["clock"]["scale"].value<int>(), 600);
    EXPECT_EQ(site["clock"]["origin"].value<toml::date_time>(),
              (toml::date_time{toml::date{2026, 11, 1}, toml::time{2, 26, 40}, toml::time_offset{}}));
    ASSERT_EQ(site["device"].as_array()->size(), 4U);
    ASSERT_EQ(site["channel"].as_array()->size(), 4U);
    ASSERT_EQ(site["element"].as_array()->size(), 4U);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(site["device"][i]["probe"].value<std::string>(), fleet.At(i).ProbeUrl());
        EXPECT_EQ(site["device"][i]["archive"].value<std::string>(), fleet.At(i).ArchiveUrl());
        EXPECT_EQ(site["device"][i]["zone"].value<std::string>(), site["zone"][i % 3]["name"].value<std::string>());
        EXPECT_EQ(site["channel"][i]["id"].value<int>(), fleet.At(i).Id());
        EXPECT_EQ(site["channel"][i]["device"].value<int>(), site["device"][i]["id"].value<int>());
        EXPECT_EQ(site["element"][i]["channel"].value<int>(), fleet.At(i).Id());
    }
}

TEST(DemoSiteFileTest, ZonesHaveDifferentOffsetsAndOneHasDaylightSaving) {
    const CameraFleet fleet(DemoClock(600), 1, 1);
    const toml::table site = toml::parse(SiteFileText(fleet, {"/work"}));
    ASSERT_EQ(site["zone"].as_array()->size(), 3U);
    EXPECT_EQ(site["zone"][0]["bias"].value<int>(), -480);
    EXPECT_EQ(site["zone"][1]["bias"].value<int>(), 330);
    EXPECT_EQ(site["zone"][2]["bias"].value<int>(), 300);
    EXPECT_FALSE(site["zone"][1]["daylight_enable"]);
    EXPECT_EQ(site["zone"][2]["daylight_enable"].value<bool>(), true);
    EXPECT_EQ(site["zone"][2]["daylight_date"].value<std::string>(), "3:2:0:2:0");
    EXPECT_EQ(site["zone"][2]["standard_date"].value<std::string>(), "11:1:0:2:0");
    EXPECT_EQ(site["zone"][2]["daylight_bias"].value<int>(), -60);
}

TEST(DemoSiteFileTest, ThePluginFetchesFromTheArchiveWithCurl) {
    const CameraFleet fleet(DemoClock(600), 1, 1);
    const toml::table site = toml::parse(SiteFileText(fleet, {"/work \"folder\""}));
    const auto config = site["plugin"][0]["config"];
    EXPECT_EQ(site["plugin"][0]["path"].value<std::string>(), "backfill.so");
    EXPECT_EQ(config["out_dir"].value<std::string>(), "/work \"folder\"/fetched");
    EXPECT_EQ(config["journal"].value<std::string>(), "/work \"folder\"/data/backfill.journal");
    const toml::array& fetch = *config["fetch"].as_array();
    EXPECT_EQ(fetch.front().value<std::string>(), "curl");
    EXPECT_EQ(fetch.back().value<std::string>(), "{archive}/{camera}?begin={begin_unix}&end={end_unix}");
}

}  // namespace
}  // namespace demo
