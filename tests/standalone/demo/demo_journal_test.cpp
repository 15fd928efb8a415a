#include <gtest/gtest.h>

#include <fstream>

#include "demo_run/journal.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

const std::string kTold = "told camera=101 busi=1 begin=2026-11-01T04:25:00+08:00 end=2026-11-01T05:41:00+08:00";

TEST(DemoJournalTest, AToldLineGivesItsRange) {
    const auto line = ParseJournalLine(kTold);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->event, JournalEvent::kTold);
    EXPECT_EQ(line->camera, 101);
    EXPECT_EQ(line->busi, 1);
    EXPECT_EQ(line->begin, *ParseIso("2026-11-01T04:25:00+08:00"));
    EXPECT_EQ(line->end, *ParseIso("2026-11-01T05:41:00+08:00"));
    EXPECT_EQ(line->text, kTold);
}

TEST(DemoJournalTest, TheLastKeyTakesTheRestOfTheLine) {
    const auto done = ParseJournalLine("done" + kTold.substr(4) + " bytes=18240 file=/a folder/camera=7 busi=9.bin");
    ASSERT_TRUE(done);
    EXPECT_EQ(done->event, JournalEvent::kDone);
    EXPECT_EQ(done->camera, 101);
    const auto failed = ParseJournalLine("failed" + kTold.substr(4) + " attempt=2 error=curl: (7) Failed to connect");
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->event, JournalEvent::kFailed);
    EXPECT_EQ(failed->error, "curl: (7) Failed to connect");
}

TEST(DemoJournalTest, OtherLinesGiveNothing) {
    EXPECT_FALSE(ParseJournalLine(""));
    EXPECT_FALSE(ParseJournalLine("told"));
    EXPECT_FALSE(ParseJournalLine("tolled" + kTold.substr(4)));
    EXPECT_FALSE(ParseJournalLine("told camera=x busi=1 begin=2026-11-01T04:25:00Z end=2026-11-01T05:41:00Z"));
    EXPECT_FALSE(ParseJournalLine("told camera=1 begin=2026-11-01T04:25:00Z end=2026-11-01T05:41:00Z"));
    EXPECT_FALSE(ParseJournalLine("told camera=1 busi=1 begin=yesterday end=2026-11-01T05:41:00Z"));
}

TEST(DemoJournalTest, TheTailGivesEachWholeLineOnce) {
    const TemporaryFolder folder;
    JournalTail tail(folder.Path() / "journal");
    EXPECT_TRUE(tail.Read().empty()) << "there is no file yet";
    std::ofstream file(folder.Path() / "journal");
    file << kTold << "\n" << kTold.substr(0, 30) << std::flush;
    EXPECT_EQ(tail.Read().size(), 1U);
    EXPECT_TRUE(tail.Read().empty());
    file << kTold.substr(30) << "\n" << std::flush;
    const auto lines = tail.Read();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines.front().text, kTold);
    EXPECT_EQ(tail.Unreadable(), 0);
}

TEST(DemoJournalTest, TheTailCountsLinesThatItCannotRead) {
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "journal") << "something else\n" << kTold << "\n\n";
    JournalTail tail(folder.Path() / "journal");
    EXPECT_EQ(tail.Read().size(), 1U);
    EXPECT_EQ(tail.Unreadable(), 2);
}

}  // namespace
}  // namespace demo
