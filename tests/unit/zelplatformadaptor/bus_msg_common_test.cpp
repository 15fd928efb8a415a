#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <list>
#include <memory>
#include <string>

#include "mock/Platform.h"
#include "qar/IBusMsg.h"

namespace qar {
namespace {

using ::testing::IsEmpty;

std::string Block(const IBusMsg& msg) { return std::string(msg.Data(), msg.DataSize()); }

std::string Bytes(const char* text, std::size_t size) { return std::string(text, size); }

/// A message that implements what it must.
class PlainMsg : public IBusMsg {
public:
    int Type() const override { return 0; }
    int SourceType() const override { return 0; }
    unsigned int SourceID() const override { return 0; }
    const char* Data() const override { return nullptr; }
    unsigned int DataSize() const override { return 0; }
    bool BinaryData() const override { return false; }
    std::string GetJsonTxt() const override { return {}; }
    const char* GetBinaryData() const override { return nullptr; }
};

TEST(BusMsgTest, MessageThatTellsNoPluginHasNoFurtherBuffersEither) {
    PlainMsg msg;
    std::list<std::shared_ptr<IBusMsgExtendContentData>> datas;
    std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures;
    msg.GetExtendContentDatas(datas);
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_EQ(msg.PluginID(), "not provide");
    EXPECT_THAT(datas, IsEmpty());
    EXPECT_THAT(pictures, IsEmpty());
}

TEST(BusMsgCommonTest, NumbersTextAndBinaryPartAreReadBack) {
    CBusMsgCommon msg(1, 2, 3, "{}", "abc", 3, "plugin");
    EXPECT_EQ(msg.Type(), 1);
    EXPECT_EQ(msg.SourceType(), 2);
    EXPECT_EQ(msg.SourceID(), 3u);
    EXPECT_EQ(Block(msg), Bytes("{}\0abc", 6));
    EXPECT_FALSE(msg.BinaryData());
    EXPECT_EQ(msg.GetJsonTxt(), "{}");
    EXPECT_EQ(msg.GetBinaryData(), msg.Data() + 3);
    EXPECT_EQ(msg.PluginID(), "plugin");

    std::list<std::shared_ptr<IBusMsgExtendContentData>> datas;
    std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>> pictures;
    msg.GetExtendContentDatas(datas);
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(datas, IsEmpty());
    EXPECT_THAT(pictures, IsEmpty());
}

TEST(BusMsgCommonTest, MessageWithoutTextIsBinaryAndBeginsWithTheNul) {
    const CBusMsgCommon msg(1, 2, 3, "", "\x01\x02\x03\x04", 4);
    EXPECT_TRUE(msg.BinaryData());
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.DataSize(), 5u);
    EXPECT_EQ(msg.GetBinaryData(), msg.Data() + 1);
    EXPECT_EQ(Block(msg), Bytes("\0\x01\x02\x03\x04", 5));
}

TEST(BusMsgCommonTest, MessageWithoutBinaryPartGivesTheAddressBehindTheText) {
    const CBusMsgCommon msg(1, 2, 3, "{}", nullptr, 0);
    EXPECT_EQ(msg.DataSize(), 3u);
    EXPECT_EQ(msg.GetJsonTxt(), "{}");
    EXPECT_FALSE(msg.BinaryData());
    EXPECT_EQ(msg.GetBinaryData(), msg.Data() + 3);
}

TEST(BusMsgCommonTest, EmptyMessageHasABlockOfOneNul) {
    const CBusMsgCommon msg(1, 2, 3, "", nullptr, 0);
    EXPECT_EQ(Block(msg), Bytes("\0", 1));
    EXPECT_TRUE(msg.BinaryData());
    EXPECT_EQ(msg.GetBinaryData(), msg.Data() + 1);
}

TEST(BusMsgCommonTest, TextCountsWithWhatStandsBehindItsOwnNul) {
    const CBusMsgCommon msg(1, 2, 3, Bytes("a\0b", 3), "xy", 2);
    EXPECT_EQ(Block(msg), Bytes("a\0b\0xy", 6));
    EXPECT_EQ(msg.GetJsonTxt(), "a");
    EXPECT_EQ(msg.GetBinaryData(), msg.Data() + 2);
}

TEST(BusMsgCommonTest, NullBinaryPartWithASizeCountsAsZeros) {
    const CBusMsgCommon msg(1, 2, 3, "t", nullptr, 3);
    EXPECT_EQ(Block(msg), Bytes("t\0\0\0\0", 5));
}

TEST(BusMsgCommonTest, SizeBeyondDataSizeLeavesTheMessageWithoutABlock) {
    const CBusMsgCommon msg(1, 2, 3, "t", nullptr, std::numeric_limits<unsigned int>::max());
    EXPECT_EQ(msg.Data(), nullptr);
    EXPECT_EQ(msg.DataSize(), 0u);
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
    EXPECT_FALSE(msg.BinaryData());
}

TEST(BusMsgCommonTest, BlockIsFilledAndCopiedByTheBoundsCheckedCalls) {
    const qarmock::Platform platform;
    const std::string binary = "abc";
    const CBusMsgCommon msg(1, 2, 3, "text", binary.data(), 3);
    const auto calls = platform.memory.All();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].function, "memset_s");
    EXPECT_EQ(calls[0].dest, msg.Data());
    EXPECT_EQ(calls[0].dest_size, 8u);
    EXPECT_EQ(calls[0].value, 0);
    EXPECT_EQ(calls[0].count, 8u);
    EXPECT_EQ(calls[1].function, "memcpy_s");
    EXPECT_EQ(calls[1].dest, msg.Data());
    EXPECT_EQ(calls[1].dest_size, 8u);
    EXPECT_EQ(calls[1].count, 4u);
    EXPECT_EQ(calls[2].function, "memcpy_s");
    EXPECT_EQ(calls[2].dest, msg.Data() + 5);
    EXPECT_EQ(calls[2].dest_size, 3u);
    EXPECT_EQ(calls[2].src, binary.data());
    EXPECT_EQ(calls[2].count, 3u);
}

TEST(BusMsgCommonTest, EachCopyIsOneByteLongerThanItsSource) {
    const CBusMsgCommon msg(1, 2, 3, "{}", nullptr, 0);
    const CBusMsgCommon copy(msg);
    const CBusMsgCommon second(copy);
    EXPECT_EQ(copy.DataSize(), 4u);
    EXPECT_EQ(Block(copy), Bytes("{}\0\0", 4));
    EXPECT_EQ(second.DataSize(), 5u);
}

TEST(BusMsgCommonTest, CopyKeepsNumbersTextBinaryPartAndPlugin) {
    const CBusMsgCommon msg(1, 2, 3, "{}", "abc", 3, "plugin");
    const CBusMsgCommon copy(msg);
    EXPECT_EQ(copy.Type(), 1);
    EXPECT_EQ(copy.SourceType(), 2);
    EXPECT_EQ(copy.SourceID(), 3u);
    EXPECT_EQ(copy.GetJsonTxt(), "{}");
    EXPECT_EQ(std::string(copy.GetBinaryData(), 3), "abc");
    EXPECT_EQ(copy.DataSize(), 7u);
    EXPECT_EQ(copy.PluginID(), "plugin");
    EXPECT_NE(copy.Data(), msg.Data());
}

TEST(BusMsgCommonTest, CopyOfABinaryMessageStaysBinary) {
    const CBusMsgCommon msg(1, 2, 3, "", "abcd", 4);
    const CBusMsgCommon copy(msg);
    EXPECT_TRUE(copy.BinaryData());
    EXPECT_EQ(copy.DataSize(), 6u);
    EXPECT_EQ(std::string(copy.GetBinaryData(), 4), "abcd");
}

TEST(BusMsgCommonTest, CopyOfAMessageOfTheShorterConstructorTellsNoPlugin) {
    const CBusMsgCommon msg(1, 2, 3, "{}", nullptr, 0);
    EXPECT_EQ(msg.PluginID(), "not provide");
    EXPECT_EQ(CBusMsgCommon(msg).PluginID(), "not provide");
}

TEST(BusMsgCommonTest, TextThatBeginsWithNulMakesTheCopyBinaryAndNotTheOriginal) {
    const CBusMsgCommon msg(1, 2, 3, Bytes("\0a", 2), "xy", 2);
    const CBusMsgCommon copy(msg);
    EXPECT_FALSE(msg.BinaryData());
    EXPECT_TRUE(copy.BinaryData());
    EXPECT_EQ(copy.GetJsonTxt(), "");
    EXPECT_EQ(copy.DataSize(), 6u);
    EXPECT_EQ(Block(copy), Bytes("\0a\0xy\0", 6));
}

TEST(BusMsgCommonTest, CopyReadsTheSourceThroughItsOwnOperations) {
    class Overriding : public CBusMsgCommon {
    public:
        Overriding() : CBusMsgCommon(1, 2, 3, "text", "abc", 3) {}
        int Type() const override { return 11; }
        int SourceType() const override { return 12; }
        unsigned int SourceID() const override { return 13; }
        unsigned int DataSize() const override { return 5; }
        std::string GetJsonTxt() const override { return "tx"; }
        const char* GetBinaryData() const override { return "123"; }
        std::string PluginID() const override { return "own"; }
    };
    const Overriding msg;
    const CBusMsgCommon copy(msg);
    EXPECT_EQ(copy.Type(), 11);
    EXPECT_EQ(copy.SourceType(), 12);
    EXPECT_EQ(copy.SourceID(), 13u);
    EXPECT_EQ(Block(copy), Bytes("tx\0"
                                 "123",
                                 6));
    EXPECT_EQ(copy.PluginID(), "own");
}

TEST(BusMsgCommonTest, AssignmentCopiesAndLeavesTheOldBlockReadable) {
    CBusMsgCommon msg(1, 2, 3, "old", nullptr, 0);
    const char* old_block = msg.Data();
    const CBusMsgCommon source(4, 5, 6, "new", "x", 1, "plugin");
    msg = source;
    EXPECT_EQ(msg.Type(), 4);
    EXPECT_EQ(msg.SourceType(), 5);
    EXPECT_EQ(msg.SourceID(), 6u);
    EXPECT_EQ(msg.GetJsonTxt(), "new");
    EXPECT_EQ(msg.DataSize(), 6u);
    EXPECT_EQ(msg.PluginID(), "plugin");
    EXPECT_STREQ(old_block, "old");
}

TEST(BusMsgCommonTest, SelfAssignmentCopiesLikeAnyOther) {
    CBusMsgCommon msg(1, 2, 3, "text", nullptr, 0);
    const char* old_block = msg.Data();
    const CBusMsgCommon& same = msg;
    msg = same;
    EXPECT_EQ(msg.GetJsonTxt(), "text");
    EXPECT_EQ(msg.DataSize(), 6u);
    EXPECT_NE(msg.Data(), old_block);
    EXPECT_STREQ(old_block, "text");
}

}  // namespace
}  // namespace qar
