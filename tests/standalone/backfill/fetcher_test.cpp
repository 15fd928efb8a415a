#include "plugins/backfill/Fetcher.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace backfill {
namespace {

namespace fs = std::filesystem;

class FetcherTest : public testing::Test {
protected:
    FetcherTest() {
        std::string pattern = (fs::temp_directory_path() / "fetcher_test_XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        config_.out_dir = folder_ + "/out";
    }
    ~FetcherTest() override { fs::remove_all(folder_); }

    FetchResult Fetch(const std::string& script) {
        config_.fetch = {"sh", "-c", script, "sh", "{out}", "{begin_unix}", "{end_unix}"};
        return Fetcher(config_).Fetch(job_, source_, stop_);
    }

    std::string folder_;
    Config config_;
    CameraSource source_{"http://10.0.0.1/archive", "10.0.0.1", 554};
    StopEvent stop_;
    RangeQueue::Job job_{{101, 7}, 1, {{"2024-03-01T08:00:00+08:00", 100}, {"2024-03-01T08:00:20+08:00", 120}}, 1};
};

TEST_F(FetcherTest, PlaceholdersAreFilledAndOthersStay) {
    const std::vector<std::string> command =
        Fetcher::Command({"get", "{archive}/{camera}?b={begin_unix}&e={end_unix}", "{begin}", "{end}", "{busi}",
                          "{address}:{port}", "{out}", "{other} {", "}{camera"},
                         job_, source_, "/tmp/x");
    EXPECT_EQ(command, (std::vector<std::string>{"get", "http://10.0.0.1/archive/101?b=100&e=120",
                                                 "2024-03-01T08:00:00+08:00", "2024-03-01T08:00:20+08:00", "7",
                                                 "10.0.0.1:554", "/tmp/x", "{other} {", "}{camera"}));
}

TEST_F(FetcherTest, FetchedFileIsPutInPlaceUnderTheRange) {
    const FetchResult result = Fetch("printf '%s %s' $2 $3 > \"$1\"");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(result.file, folder_ + "/out/camera_101/busi_7/100-120.bin");
    EXPECT_EQ(result.bytes, 7);
    std::ifstream file(result.file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "100 120");
    EXPECT_FALSE(fs::exists(result.file + ".part"));
}

TEST_F(FetcherTest, FailedCommandLeavesNothingInPlace) {
    const FetchResult result = Fetch("echo half > \"$1\"; echo no route; exit 3");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error, "sh ended with code 3: no route");
    EXPECT_FALSE(fs::exists(folder_ + "/out/camera_101/busi_7/100-120.bin"));
}

TEST_F(FetcherTest, CommandThatWritesNoFileIsAFailure) {
    const FetchResult result = Fetch("exit 0");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error, "the command wrote no file " + folder_ +
                                "/out/camera_101/busi_7/100-120.bin.part: No such file or directory");
}

TEST_F(FetcherTest, HalfAFileOfAnAttemptThatWasCutOffIsNotTakenForAWholeOne) {
    const std::string part = folder_ + "/out/camera_101/busi_7/100-120.bin.part";
    fs::create_directories(fs::path(part).parent_path());
    std::ofstream(part) << "half";
    EXPECT_FALSE(Fetch("exit 0").success);
    EXPECT_FALSE(fs::exists(part));
}

TEST_F(FetcherTest, FullDiskIsAFailureAndWhatWasWrittenMakesRoomAgain) {
    // a limit on the size of files stands for the disk
    const FetchResult result = Fetch("ulimit -f 1; trap '' XFSZ; head -c 100000 /dev/zero > \"$1\"");
    EXPECT_FALSE(result.success);
    EXPECT_NE(result.error.find("File too large"), std::string::npos) << result.error;
    EXPECT_TRUE(fs::is_empty(folder_ + "/out/camera_101/busi_7"));
}

TEST_F(FetcherTest, PathMayHoldAnyCharacters) {
    config_.out_dir = folder_ + "/Überwachung 倉庫 $(touch x); 'q'";
    const FetchResult result = Fetch("echo > \"$1\"");
    ASSERT_TRUE(result.success) << result.error;
    EXPECT_EQ(result.file, config_.out_dir + "/camera_101/busi_7/100-120.bin");
    EXPECT_TRUE(fs::exists(result.file));
}

TEST_F(FetcherTest, FetchesLeaveNoDescriptorOpen) {
    const auto open = [] {
        const auto all = fs::directory_iterator("/proc/self/fd");
        return std::distance(fs::begin(all), fs::end(all));
    };
    const auto before = open();
    EXPECT_TRUE(Fetch("echo > \"$1\"").success);
    EXPECT_FALSE(Fetch("exit 1").success);
    config_.fetch = {"/no/such/program"};
    EXPECT_FALSE(Fetcher(config_).Fetch(job_, source_, stop_).success);
    EXPECT_EQ(open(), before);
}

TEST_F(FetcherTest, FolderThatCannotBeMadeIsAFailure) {
    std::ofstream(folder_ + "/out") << "a file where the folder should be";
    const FetchResult result = Fetch("exit 0");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error.substr(0, 23), "cannot make the folder ");
}

}  // namespace
}  // namespace backfill
