#include <gtest/gtest.h>

#include <sstream>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"

namespace qartest {
namespace {

struct Broken {
    const char* file;
    const char* config;
    std::vector<const char*> reasons;  // each stands in the one error line
};

void PrintTo(const Broken& broken, std::ostream* out) { *out << broken.file; }

class BrokenPluginTest : public testing::TestWithParam<Broken> {
protected:
    std::vector<std::string> ErrorLines(const std::string& err) const {
        std::vector<std::string> lines;
        std::istringstream stream(err);
        for (std::string line; std::getline(stream, line);) {
            if (line.find("plug-in \"broken\"") != std::string::npos) lines.push_back(line);
        }
        return lines;
    }

    TestSite site_;
};

TEST_P(BrokenPluginTest, IsToldInOneLineAndThoseBeforeItAreStopped) {
    site_.AddPlugin("lifecycle", "lifecycle.so");
    site_.AddPlugin("broken", GetParam().file, GetParam().config);
    site_.AddPlugin("late", "recorder.so");
    site_.Write();
    HostProcess host(site_);
    EXPECT_EQ(4, host.Process().WaitForEnd());
    EXPECT_EQ("", host.Process().Out()) << "neither ready nor stopped cleanly";
    const auto lines = ErrorLines(host.Process().Err());
    ASSERT_EQ(1u, lines.size()) << host.Process().Err();
    for (const char* reason : GetParam().reasons) {
        EXPECT_NE(std::string::npos, lines[0].find(reason)) << lines[0];
    }
    EXPECT_EQ(1u, site_.LogLines("plug-in \"broken\"").size());
    EXPECT_EQ("lifecycle start online=0\nlifecycle stop database=works\n", ReadText(site_.DataDir() / "life.txt"));
}

INSTANTIATE_TEST_SUITE_P(
    Plugins, BrokenPluginTest,
    testing::Values(
        Broken{"nowhere.so", "", {"file not found: ", "/nowhere.so"}},
        Broken{"site.toml", "", {"site.toml is no shared library"}},
        Broken{"unresolved_symbol.so", "", {"cannot be loaded: ", "undefined symbol: function_that_nobody_has"}},
        Broken{"no_entry.so", "", {"no_entry.so does not export qarhost_plugin_entry"}},
        Broken{"null_entry.so", "", {"qarhost_plugin_entry gave null"}},
        Broken{"entry_throws.so", "", {"qarhost_plugin_entry threw: no constant today"}},
        Broken{"newer_version.so", "", {"version 2 of the plug-in entry, which is newer than this host's version 1"}},
        Broken{"older_version.so", "", {"version 0 of the plug-in entry, which is older than this host's version 1"}},
        Broken{"small_size.so", "", {"its description has 32 bytes, at least 40 are needed"}},
        Broken{"no_start.so", "", {"no start function"}},
        Broken{"start_fails.so", "", {"start gave 7: the moon is full"}},
        Broken{"start_throws.so", "", {"start threw: the moon is full"}},
        Broken{"start_throws.so", "odd = true", {"start threw what is no std::exception"}},
        Broken{"lifecycle.so", "", {"lifecycle.so is already loaded as plug-in \"lifecycle\""}}),
    [](const testing::TestParamInfo<Broken>& info) {
        std::string name = info.param.file;
        name = name.substr(0, name.find('.')) + (*info.param.config != '\0' ? "_odd" : "");
        return name;
    });

TEST(PluginNameTest, NameThatDiffersFromTheIdIsNoMistake) {
    TestSite site;
    site.AddPlugin("another_name", "stop_throws.so");
    site.Write();
    HostProcess host(site);
    EXPECT_TRUE(host.WaitUntilReady()) << host.Process().Err();
}

TEST(PluginStopTest, StopThatThrowsIsToldAndTheOthersAreStoppedAllTheSame) {
    TestSite site;
    site.AddPlugin("lifecycle", "lifecycle.so");
    site.AddPlugin("stop_throws", "stop_throws.so");
    site.Write();
    HostProcess host(site);
    ASSERT_TRUE(host.WaitUntilReady()) << host.Process().Err();
    EXPECT_EQ(1, host.Stop());
    EXPECT_NE(std::string::npos, host.Process().Err().find("plug-in \"stop_throws\": stop threw: not in the mood"));
    EXPECT_EQ("lifecycle start online=0\nlifecycle stop database=works\n", ReadText(site.DataDir() / "life.txt"));
}

}  // namespace
}  // namespace qartest
