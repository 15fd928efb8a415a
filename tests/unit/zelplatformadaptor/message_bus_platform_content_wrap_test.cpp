#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>

#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"

namespace qar {
namespace {

template <class Wrapper>
class PlatformContentWrapTest : public ::testing::Test {};

using Wrappers = ::testing::Types<CPlatformMsgContent, CPlatformMsgObserverContent>;
TYPED_TEST_SUITE(PlatformContentWrapTest, Wrappers);

TYPED_TEST(PlatformContentWrapTest, ContentIsTheMessagesBlock) {
    const auto msg = std::make_shared<CBusMsgCommon>(4, 2, 3, "{}", "ab", 2);
    TypeParam content(msg);
    const char* data = nullptr;
    int size = 0;
    EXPECT_TRUE(content.GetContent(&data, &size));
    EXPECT_EQ(data, msg->Data());
    EXPECT_EQ(size, 5);
}

TYPED_TEST(PlatformContentWrapTest, KindFollowsTheMessage) {
    EXPECT_EQ(TypeParam(std::make_shared<CBusMsgCommon>(4, 2, 3, "{}", nullptr, 0)).ContentType(), 1);
    EXPECT_EQ(TypeParam(std::make_shared<CBusMsgCommon>(4, 2, 3, "", "ab", 2)).ContentType(), 2);
}

TYPED_TEST(PlatformContentWrapTest, WrapperWithoutMessageHasNoContentAndKindZero) {
    TypeParam content(nullptr);
    const char* data = "untouched";
    int size = 9;
    EXPECT_FALSE(content.GetContent(&data, &size));
    EXPECT_STREQ(data, "untouched");
    EXPECT_EQ(size, 9);
    EXPECT_EQ(content.ContentType(), 0);
}

TYPED_TEST(PlatformContentWrapTest, WrapperKeepsItsMessageAlive) {
    auto msg = std::make_shared<CBusMsgCommon>(4, 2, 3, "{}", nullptr, 0);
    const std::weak_ptr<CBusMsgCommon> watched = msg;
    const TypeParam content(std::move(msg));
    EXPECT_FALSE(watched.expired());
}

TEST(ObserverContentWrapTest, ObserverTypeIsTheMessages) {
    EXPECT_EQ(CPlatformMsgObserverContent(std::make_shared<CBusMsgCommon>(4, 2, 3, "", nullptr, 0)).ObserverMsgType(),
              4);
    EXPECT_EQ(CPlatformMsgObserverContent(nullptr).ObserverMsgType(), -1);
}

TEST(NotifyContentWrapTest, TextAndBinaryPartAreTheMessagesWholeBlock) {
    const auto msg = std::make_shared<CBusMsgCommon>(4, 2, 3, "{}", "ab", 2);
    CNotifyMsgContent content(msg);
    CNotifyMsgContent::Buffer buffer;
    EXPECT_TRUE(content.GetTextContent(buffer));
    EXPECT_EQ(buffer.data, msg->Data());
    EXPECT_EQ(buffer.size, 5u);

    std::list<CNotifyMsgContent::Buffer> buffers(1);
    EXPECT_TRUE(content.GetBinaryContents(buffers));
    ASSERT_EQ(buffers.size(), 2u);
    EXPECT_EQ(buffers.back().data, msg->Data());
    EXPECT_EQ(buffers.back().size, 5u);
}

TEST(NotifyContentWrapTest, KindFollowsTheMessage) {
    EXPECT_EQ(CNotifyMsgContent(std::make_shared<CBusMsgCommon>(4, 2, 3, "{}", nullptr, 0)).ContentType(), 1);
    EXPECT_EQ(CNotifyMsgContent(std::make_shared<CBusMsgCommon>(4, 2, 3, "", "ab", 2)).ContentType(), 2);
}

TEST(NotifyContentWrapTest, WrapperWithoutMessageHasNoParts) {
    CNotifyMsgContent content(nullptr);
    CNotifyMsgContent::Buffer buffer;
    std::list<CNotifyMsgContent::Buffer> buffers;
    EXPECT_FALSE(content.GetTextContent(buffer));
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_FALSE(content.GetBinaryContents(buffers));
    EXPECT_TRUE(buffers.empty());
}

TEST(ExtendContentDataTest, DataIsTheMemoryItWasGiven) {
    const char memory[] = "abc";
    const CBusMsgExtendContentData data(memory, 3);
    EXPECT_EQ(data.GetData(), memory);
    EXPECT_EQ(data.GetDataSize(), 3u);
}

}  // namespace
}  // namespace qar
