#include <gtest/gtest.h>

#include "integration/support/history_rows.h"
#include "integration/support/host_process.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

constexpr const char* kSite = "[site]\nname = \"t\"\n";

struct BadSite {
    const char* name;
    const char* text;
    const char* error;  // behind "site.toml:"
};

void PrintTo(const BadSite& bad, std::ostream* out) { *out << bad.name; }

class BadSiteFileTest : public testing::TestWithParam<BadSite> {
protected:
    TempFolder folder_;
};

TEST_P(BadSiteFileTest, IsToldWithFileLineAndKeyByRunAndByCheck) {
    const std::string file = folder_.Write("site.toml", std::string(kSite) + GetParam().text);
    for (const char* command : {"run", "check", "status"}) {
        const Ended ended = RunToEnd(HostCommand({command, "--site", file}));
        EXPECT_EQ(3, ended.exit_code) << command;
        EXPECT_EQ("", ended.out);
        EXPECT_NE(std::string::npos, ended.err.find(file + ":" + GetParam().error)) << command << ": " << ended.err;
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.Path() / "data")) << "nothing is made for a site that is wrong";
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BadSiteFileTest,
    testing::Values(
        BadSite{"NoToml", "this is no toml", "3"}, BadSite{"UnknownKey", "[probe]\nperiod = 60\n", "4: probe.period: "},
        BadSite{"WrongType", "[probe]\nperiod_s = \"often\"\n", "4: probe.period_s: "},
        BadSite{"OutOfRange", "[clock]\nscale = 0\n", "4: clock.scale: "},
        BadSite{"MissingKey", "[[device]]\nid = 1\n", "3: device[1]."},
        BadSite{"NoAddress", "[[device]]\nid = 1\nname = \"a\"\nprobe = \"nowhere\"\n", "6: device[1].probe: "},
        BadSite{"Twice", "[[area]]\nid = 1\nname = \"a\"\n[[area]]\nid = 1\nname = \"b\"\n", "7: area[2].id: "},
        BadSite{"DataDirTooLongForTheSocket",
                "data_dir = \"/tmp/0123456789/0123456789/0123456789/0123456789/0123456789/0123456789/0123456789/"
                "0123456789/0123456789\"\n",
                "3: site.data_dir: "},
        BadSite{"DatabaseInTheDataDir", "[database]\ndir = \".\"\n", "4: database.dir: "},
        BadSite{"NoSuchDevice", "[[channel]]\nid = 1\ndevice = 9\nno = 1\n", "5: channel[1].device: "}),
    [](const testing::TestParamInfo<BadSite>& info) { return info.param.name; });

TEST(SiteFileTest, MissingFileIsToldByItsPath) {
    const Ended ended = RunToEnd(HostCommand({"run", "--site", "/nowhere/site.toml"}));
    EXPECT_EQ(3, ended.exit_code);
    EXPECT_NE(std::string::npos, ended.err.find("/nowhere/site.toml")) << ended.err;
}

class CheckTest : public testing::Test {
protected:
    CheckTest() {
        site_.AddDevice("tcp://127.0.0.1:9/");
        site_.AddPlugin("recorder", "recorder.so", "cameras = [101]");
        site_.Write();
    }

    Ended Check() const {
        return RunToEnd(HostCommand({"check", "--site", site_.SiteFile().string(), "--plugins", TEST_PLUGIN_DIR}));
    }

    TestSite site_;
};

TEST_F(CheckTest, GoodSiteIsSummedUpAndNothingIsMade) {
    const Ended ended = Check();
    EXPECT_EQ(0, ended.exit_code) << ended.err;
    EXPECT_EQ("", ended.err);
    EXPECT_NE(std::string::npos,
              ended.out.find("site test: 1 device, 1 channel, 1 element, 1 area, 2 zones, 1 plug-in\n"))
        << ended.out;
    EXPECT_NE(std::string::npos, ended.out.find("store: not made yet")) << ended.out;
    EXPECT_NE(std::string::npos, ended.out.find("plug-ins: all can be loaded")) << ended.out;
    EXPECT_FALSE(std::filesystem::exists(site_.DataDir()));
}

TEST_F(CheckTest, PluginThatCannotBeLoadedIsTold) {
    site_.AddPlugin("broken", "no_entry.so");
    site_.Write();
    const Ended ended = Check();
    EXPECT_EQ(4, ended.exit_code);
    EXPECT_NE(std::string::npos, ended.err.find("plug-in \"broken\": ")) << ended.err;
}

TEST_F(CheckTest, RubbishRowsOfARunSiteAreCountedWithExamples) {
    {
        HostProcess host(site_);
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        EXPECT_EQ(0, host.Stop());
    }
    EXPECT_EQ(0, Check().exit_code) << Check().err;
    HistoryRows(site_.DatabaseDir() / "recorder.db")
        .Run(
            "INSERT INTO camera_history(camera_id, camera_state, state_time, business_type, differ) VALUES"
            "(101, 1, 'yesterday', 1, 0), (101, 1, '2026-02-30 00:00:00', 1, 0), (101, 5, '2026-03-01 00:00:00', 1, 0),"
            "(999, 2, '2026-03-01 00:00:00', 1, 0)");
    const Ended ended = Check();
    EXPECT_EQ(5, ended.exit_code);
    const std::string table = (site_.DatabaseDir() / "recorder.db").string() + ": camera_history: ";
    for (const std::string& text :
         {table + "state_time is no moment: 2 rows\n", table + "camera_state is neither 1 nor 2: 1 row\n",
          table + "camera_id is no camera of the site: 1 row\n",
          std::string("    camera_id 101, camera_state 1, state_time 'yesterday', business_type 1\n")}) {
        EXPECT_NE(std::string::npos, ended.err.find(text)) << ended.err;
    }
}

TEST_F(CheckTest, HostStartsOnRubbishRowsAllTheSame) {
    {
        HostProcess host(site_);
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        EXPECT_EQ(0, host.Stop());
    }
    HistoryRows(site_.DatabaseDir() / "recorder.db")
        .Run(
            "INSERT INTO camera_history(camera_id, camera_state, state_time, business_type, differ) VALUES"
            "(101, 1, 'yesterday', 1, 0), (101, 'x', NULL, 1, 'y')");
    HostProcess host(site_);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    EXPECT_EQ(0, host.Stop());
}

TEST_F(CheckTest, StoreWhoseDatabaseIsTheDataFolderIsRefusedByCheckAndRun) {
    {
        HostProcess host(site_);
        ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
        EXPECT_EQ(0, host.Stop());
    }
    HistoryRows(site_.DataDir() / "site.db").Run("UPDATE site SET database_dir = '" + site_.DataDir().string() + "/'");
    const std::string told =
        "qarhost: database.dir must not be site.data_dir, where the host's own files lie: " + site_.DataDir().string() +
        "\n";
    const Ended checked = Check();
    EXPECT_EQ(5, checked.exit_code);
    EXPECT_EQ(told, checked.err);
    HostProcess host(site_);
    EXPECT_EQ(5, host.Process().WaitForEnd());
    EXPECT_EQ(told, host.Process().Err());
}

}  // namespace
}  // namespace qartest
