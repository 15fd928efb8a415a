#include "kill/support/statement_record.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "integration/support/temp_folder.h"

namespace qartest {
namespace {

StatementRecord Read(const std::string& text) {
    const TempFolder folder;
    return StatementRecord::Read(folder.Write("record", text));
}

TEST(StatementRecordTest, KeepsTheOrderOfTheAnswers) {
    const auto record = Read("begin 7 alpha 1\nA\nbegin 8 beta 3\nB\nC\ntrue 8\ntrue 7\nbegin 8 beta 1\nD\nfalse 8\n");
    ASSERT_EQ(2u, record.done.size());
    EXPECT_EQ("B\nC", record.done[0].sql);
    EXPECT_EQ("beta", record.done[0].plugin);
    EXPECT_EQ("A", record.done[1].sql);
    ASSERT_EQ(1u, record.refused.size());
    EXPECT_EQ("D", record.refused[0].sql);
    EXPECT_TRUE(record.open.empty());
}

TEST(StatementRecordTest, TextWithoutAnAnswerIsOpen) {
    for (const char* text : {"begin 7 alpha 1\nA\n", "begin 7 alpha 1\nA\ntrue 7"}) {
        const auto record = Read(text);
        EXPECT_TRUE(record.done.empty()) << text;
        ASSERT_EQ(1u, record.open.size()) << text;
        EXPECT_EQ("A", record.open[0].sql);
    }
}

TEST(StatementRecordTest, TextThatIsNotWholeWasNotBegun) {
    for (const char* text : {"begin 7 al", "begin 7 alpha 4\nA", "begin 7 alpha 1\nA"}) {
        EXPECT_TRUE(Read(text).open.empty()) << text;
    }
}

TEST(StatementRecordTest, AnswerWithoutATextIsRefused) {
    EXPECT_THROW(Read("true 7\n"), std::runtime_error);
    EXPECT_THROW(Read("begin 7 alpha 1\nA\nbegin 7 alpha 1\nA\n"), std::runtime_error);
}

TEST(StatementRecordTest, NoFileIsAnEmptyRecord) {
    const TempFolder folder;
    const auto record = StatementRecord::Read(folder.Path() / "none");
    EXPECT_TRUE(record.done.empty());
    EXPECT_TRUE(record.open.empty());
}

}  // namespace
}  // namespace qartest
