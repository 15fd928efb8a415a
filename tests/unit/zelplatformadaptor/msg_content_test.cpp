#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>

#include "zelplatformadaptor/MsgContent.h"

namespace qar {
namespace {

class FakeNotifyContent final : public ZELPlatform::CMsgBusContentBase {
public:
    bool GetTextContent(Buffer& buffer) override {
        buffer = text;
        return text_answer;
    }
    bool GetBinaryContents(std::list<Buffer>& buffers) override {
        buffers = binaries;
        return binaries_answer;
    }
    int ContentType() override { return kind; }

    static Buffer MakeBuffer(const char* data, unsigned int size) {
        Buffer buffer;
        buffer.data = data;
        buffer.size = size;
        return buffer;
    }

    Buffer text;
    bool text_answer = true;
    std::list<Buffer> binaries;
    bool binaries_answer = true;
    int kind = 1;
};

class MsgContentTest : public ::testing::Test {
protected:
    MsgContentTest() { push_info->SetMsgContent(content); }

    std::shared_ptr<FakeNotifyContent> content = std::make_shared<FakeNotifyContent>();
    std::shared_ptr<ZELPlatform::CMsgPushInfo> push_info = std::make_shared<ZELPlatform::CMsgPushInfo>();
};

TEST_F(MsgContentTest, MessageTellsTheTypeAndNoResourceOrBlock) {
    push_info->SetTypeValue(12);
    const CMsgContent msg(push_info);
    EXPECT_EQ(msg.Type(), 12);
    EXPECT_EQ(msg.SourceType(), -1);
    EXPECT_EQ(msg.SourceID(), 0xFFFFFFFFu);
    EXPECT_EQ(msg.Data(), nullptr);
    EXPECT_EQ(msg.DataSize(), 0u);
    EXPECT_EQ(msg.PluginID(), "not provide");
}

TEST_F(MsgContentTest, TextIsTheWholeBufferOfTheContent) {
    content->text = FakeNotifyContent::MakeBuffer("a\0b", 3);
    const CMsgContent msg(push_info);
    EXPECT_EQ(msg.GetJsonTxt(), std::string("a\0b", 3));
    content->text_answer = false;
    EXPECT_EQ(msg.GetJsonTxt(), "");
    content->text_answer = true;
    content->text = FakeNotifyContent::MakeBuffer(nullptr, 5);
    EXPECT_EQ(msg.GetJsonTxt(), "");
}

TEST_F(MsgContentTest, BinaryPartIsTheFirstBufferOfTheContent) {
    const char first[] = "first";
    content->binaries = {FakeNotifyContent::MakeBuffer(first, 5), FakeNotifyContent::MakeBuffer("second", 6)};
    const CMsgContent msg(push_info);
    EXPECT_EQ(msg.GetBinaryData(), first);
    content->binaries_answer = false;
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
    content->binaries_answer = true;
    content->binaries.clear();
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
}

TEST_F(MsgContentTest, OnlyTheBinaryKindIsBinary) {
    const CMsgContent msg(push_info);
    EXPECT_FALSE(msg.BinaryData());
    content->kind = 2;
    EXPECT_TRUE(msg.BinaryData());
    content->kind = 3;
    EXPECT_FALSE(msg.BinaryData());
}

TEST_F(MsgContentTest, MessageWithoutPushInfoOrContentIsEmpty) {
    const auto without_content = std::make_shared<ZELPlatform::CMsgPushInfo>();
    without_content->SetTypeValue(12);
    for (const auto& info : {std::shared_ptr<ZELPlatform::CMsgPushInfo>(), without_content}) {
        const CMsgContent msg(info);
        EXPECT_EQ(msg.Type(), info != nullptr ? 12 : 0);
        EXPECT_FALSE(msg.BinaryData());
        EXPECT_EQ(msg.GetJsonTxt(), "");
        EXPECT_EQ(msg.GetBinaryData(), nullptr);
    }
}

}  // namespace
}  // namespace qar
