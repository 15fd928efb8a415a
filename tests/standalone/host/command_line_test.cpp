#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "host/CommandLine.h"
#include "host/ExitCode.h"

namespace qarhost {
namespace {

using Command = CommandLine::Command;

class CommandLineTest : public testing::Test {
protected:
    bool Parse(std::vector<const char*> words) {
        words.insert(words.begin(), "qarhost");
        return ParseCommandLine(static_cast<int>(words.size()), words.data(), "1.2.3", out_, err_, result_, exit_code_);
    }

    void ExpectRefused(const std::vector<const char*>& words, const std::string& reason) {
        EXPECT_FALSE(Parse(words));
        EXPECT_EQ(kExitCommandLine, exit_code_);
        EXPECT_NE(std::string::npos, err_.str().find(reason)) << err_.str();
        EXPECT_EQ("", out_.str());
    }

    std::ostringstream out_;
    std::ostringstream err_;
    CommandLine result_;
    int exit_code_ = -1;
};

TEST_F(CommandLineTest, RunTakesTheSiteFileAndAFolderOfPlugins) {
    ASSERT_TRUE(Parse({"run", "--site", "a.toml", "--plugins=/p"}));
    EXPECT_EQ(Command::kRun, result_.command);
    EXPECT_EQ("a.toml", result_.site);
    EXPECT_EQ("/p", result_.plugin_dir);
}

TEST_F(CommandLineTest, FolderOfPluginsMayBeLeftOut) {
    ASSERT_TRUE(Parse({"run", "--site=a.toml"}));
    EXPECT_EQ("", result_.plugin_dir);
}

TEST_F(CommandLineTest, CheckTakesTheSiteFile) {
    ASSERT_TRUE(Parse({"check", "--site", "a.toml"}));
    EXPECT_EQ(Command::kCheck, result_.command);
}

TEST_F(CommandLineTest, StatusPrintsTablesUnlessJsonIsAskedFor) {
    ASSERT_TRUE(Parse({"status", "--site", "a.toml"}));
    EXPECT_EQ(Command::kStatus, result_.command);
    EXPECT_FALSE(result_.json);
    ASSERT_TRUE(Parse({"status", "--site", "a.toml", "--json"}));
    EXPECT_TRUE(result_.json);
}

TEST_F(CommandLineTest, GuardTakesADeviceAndOnOrOff) {
    ASSERT_TRUE(Parse({"guard", "--site", "a.toml", "7", "on"}));
    EXPECT_EQ(Command::kGuard, result_.command);
    EXPECT_EQ(7, result_.device);
    EXPECT_TRUE(result_.guard);
    ASSERT_TRUE(Parse({"guard", "8", "off", "--site", "a.toml"}));
    EXPECT_EQ(8, result_.device);
    EXPECT_FALSE(result_.guard);
}

TEST_F(CommandLineTest, DatabaseTakesAFolder) {
    ASSERT_TRUE(Parse({"database", "--site", "a.toml", "--dir", "other"}));
    EXPECT_EQ(Command::kDatabase, result_.command);
    EXPECT_EQ("other", result_.database_dir);
}

TEST_F(CommandLineTest, PasswordTakesAUser) {
    ASSERT_TRUE(Parse({"password", "--site", "a.toml", "Bert B."}));
    EXPECT_EQ(Command::kPassword, result_.command);
    EXPECT_EQ("a.toml", result_.site);
    EXPECT_EQ("Bert B.", result_.user);
}

TEST_F(CommandLineTest, VersionIsPrintedAndEndsWell) {
    EXPECT_FALSE(Parse({"--version"}));
    EXPECT_EQ(kExitOk, exit_code_);
    EXPECT_EQ("qarhost 1.2.3\n", out_.str());
}

TEST_F(CommandLineTest, HelpNamesEachCommandAndEachExitCode) {
    EXPECT_FALSE(Parse({"--help"}));
    EXPECT_EQ(kExitOk, exit_code_);
    for (const char* text : {"run", "check", "status", "guard", "database", "password", "--version",
                             "Exit codes:", "  0 ", "  1 ", "  2 ", "  3 ", "  4 ", "  5 "}) {
        EXPECT_NE(std::string::npos, out_.str().find(text)) << text;
    }
}

TEST_F(CommandLineTest, ACommandIsNeeded) { ExpectRefused({}, "A command is required"); }

TEST_F(CommandLineTest, AnUnknownCommandIsRefused) { ExpectRefused({"walk"}, "walk"); }

TEST_F(CommandLineTest, AnUnknownOptionIsRefused) { ExpectRefused({"run", "--site", "a", "--fast"}, "--fast"); }

TEST_F(CommandLineTest, TheSiteFileIsNeeded) { ExpectRefused({"run"}, "--site"); }

TEST_F(CommandLineTest, AGuardThatIsNeitherOnNorOffIsRefused) {
    ExpectRefused({"guard", "--site", "a", "1", "maybe"}, "STATE must be on or off, not 'maybe'\n");
}

TEST_F(CommandLineTest, ADeviceThatIsNoIdIsRefused) { ExpectRefused({"guard", "--site", "a", "x1", "on"}, "x1"); }

TEST_F(CommandLineTest, ADeviceIdBelowOneIsRefused) { ExpectRefused({"guard", "--site", "a", "0", "on"}, "0"); }

TEST_F(CommandLineTest, TheFolderOfTheDatabaseIsNeeded) {
    ExpectRefused({"database", "--site", "a"}, "--dir");
    ExpectRefused({"database", "--site", "a", "--dir", ""}, "must not be empty");
}

TEST_F(CommandLineTest, TheUserOfAPasswordIsNeededAndThePasswordIsNoArgument) {
    ExpectRefused({"password", "--site", "a"}, "USER");
    ExpectRefused({"password", "--site", "a", "anna", "secret"}, "secret");
}

}  // namespace
}  // namespace qarhost
