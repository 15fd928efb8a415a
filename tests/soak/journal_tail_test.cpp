#include "soak/journal_tail.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "integration/support/temp_folder.h"

namespace soak {
namespace {

class JournalTailTest : public testing::Test {
protected:
    void Append(const std::string& text) { std::ofstream(file_, std::ios::app) << text; }

    qartest::TempFolder folder_;
    const std::filesystem::path file_ = folder_.Path() / "journal";
    JournalTail tail_{file_};
};

TEST_F(JournalTailTest, EachLineIsReadOnceWhenItIsWhole) {
    EXPECT_TRUE(tail_.Read().empty()) << "there is no file yet";
    Append("told camera=101 busi=2 begin=2026-03-01T08:00:00+08:00 end=2026-03-01T08:10:00+08:00\ndeleted camera=1");
    const auto first = tail_.Read();
    ASSERT_EQ(1U, first.size());
    EXPECT_EQ("told", first[0].kind);
    EXPECT_EQ(101, first[0].camera);
    EXPECT_EQ(2, first[0].busi);
    EXPECT_EQ(1772323200, first[0].begin_s);
    EXPECT_EQ(1772323800, first[0].end_s);
    EXPECT_TRUE(tail_.Read().empty());
    Append("02 busi=1 begin=2026-03-01T00:00:00Z end=2026-03-01T00:00:01Z left=0\n");
    const auto second = tail_.Read();
    ASSERT_EQ(1U, second.size());
    EXPECT_EQ("deleted", second[0].kind);
    EXPECT_EQ(102, second[0].camera);
}

TEST_F(JournalTailTest, LineOfAnotherFormIsTold) {
    Append("told camera=101 busi=1 begin=yesterday end=2026-03-01T00:00:01Z\n");
    EXPECT_THROW(tail_.Read(), std::runtime_error);
}

}  // namespace
}  // namespace soak
