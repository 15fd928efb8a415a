#include "plugins/backfill/Journal.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <vector>

namespace backfill {
namespace {

namespace fs = std::filesystem;

constexpr CameraKey kCamera{101, 7};
const TimeRange kRange{{"2024-03-01T08:00:00+08:00", 100}, {"2024-03-01T08:00:20+08:00", 120}};
const std::string kTold = "told camera=101 busi=7 begin=2024-03-01T08:00:00+08:00 end=2024-03-01T08:00:20+08:00\n";

class JournalTest : public testing::Test {
protected:
    JournalTest() {
        std::string pattern = (fs::temp_directory_path() / "journal_test_XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        path_ = folder_ + "/journal";
    }
    ~JournalTest() override { fs::remove_all(folder_); }

    std::string Text() const {
        std::ifstream file(path_);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    std::string folder_;
    std::string path_;
    Journal journal_;
    std::string error_;
};

TEST_F(JournalTest, LinesAreAppendedToWhatIsThere) {
    std::ofstream(path_) << "before\n";
    ASSERT_TRUE(journal_.Open(path_, error_)) << error_;
    journal_.Told(kCamera, kRange);
    journal_.Failed(kCamera, kRange, 3, "no\nroute");
    journal_.Done(kCamera, kRange, 80, "/x");
    const std::string range = kTold.substr(4, kTold.size() - 5);
    EXPECT_EQ(Text(), "before\n" + kTold + "failed" + range + " attempt=3 error=no route\ndone" + range +
                          " bytes=80 file=/x\n");
}

TEST_F(JournalTest, FileThatCannotBeOpenedIsToldWithItsPath) {
    EXPECT_FALSE(journal_.Open(folder_ + "/none/journal", error_));
    EXPECT_EQ(error_, "cannot open the journal " + folder_ + "/none/journal: No such file or directory");
}

TEST_F(JournalTest, LineThatWasTornByAFullDiskDoesNotSpoilTheNext) {
    ASSERT_TRUE(journal_.Open(path_, error_)) << error_;
    ASSERT_NE(std::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit full{10, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    journal_.Told(kCamera, kRange);
    journal_.Told(kCamera, kRange);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    journal_.Told(kCamera, kRange);
    EXPECT_EQ(Text(), kTold.substr(0, 10) + "\n" + kTold);
}

TEST_F(JournalTest, LinesOfSeveralThreadsDoNotMix) {
    ASSERT_TRUE(journal_.Open(path_, error_)) << error_;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int line = 0; line < 50; ++line) journal_.Told(kCamera, kRange);
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::string expected;
    for (int line = 0; line < 200; ++line) expected += kTold;
    EXPECT_EQ(Text(), expected);
}

}  // namespace
}  // namespace backfill
