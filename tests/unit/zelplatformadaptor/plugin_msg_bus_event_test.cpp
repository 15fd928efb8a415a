#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>

#include "mock/Platform.h"
#include "unit/zelplatformadaptor/fake_contents.h"
#include "zelplatformadaptor/PluginMsgBusEvent.h"

namespace qar {
namespace {

using qarmock::LineIn;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Datas = std::list<std::shared_ptr<IBusMsgExtendContentData>>;
using Pictures = std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>;

constexpr char kExtend[] = "qar::CPluginMsgBusEvent::GetExtendContentDatas";
constexpr char kPicture[] = "qar::CPluginMsgBusEvent::GetPictureBinaryDatas";

class FakePicture : public moxcore::IMoxMemoryBlock {
public:
    const char* GetData() const override { return "jpg"; }
    unsigned int GetSize() const override { return 3; }
};

class FakeEventContent : public ZELPlatform::CEventBaseContent {
public:
    bool GetContent(const char** data, int* size) override {
        *data = "{}";
        *size = 3;
        return true;
    }
    int ContentType() override { return kind; }
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override { return buffers; }
    bool GetPictureBinaryData(Pictures& list) override {
        if (!pictures_answer) return false;
        list.push_back(picture);
        return true;
    }

    int kind = ZELPlatform::kContentTextAndBinary;
    std::list<std::pair<const char*, unsigned int>> buffers;
    std::shared_ptr<FakePicture> picture = std::make_shared<FakePicture>();
    bool pictures_answer = true;
};

class PluginMsgBusEventTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(PluginMsgBusEventTest, EventBorrowsTheContentsBlockAndKeepsTheContentAlive) {
    auto content = std::make_shared<test::FakeContent>(std::string("{}\0ab\0", 6));
    const std::weak_ptr<test::FakeContent> watched = content;
    const char* block = content->data;
    const CPluginMsgBusEvent msg(1, 2, 3, std::move(content));
    EXPECT_FALSE(watched.expired());
    EXPECT_EQ(msg.Type(), 1);
    EXPECT_EQ(msg.SourceType(), 2);
    EXPECT_EQ(msg.SourceID(), 3u);
    EXPECT_EQ(msg.Data(), block);
    EXPECT_EQ(msg.DataSize(), 6u);
    EXPECT_EQ(msg.GetJsonTxt(), "{}");
    EXPECT_EQ(msg.GetBinaryData(), block + 3);
    EXPECT_EQ(msg.PluginID(), "not provide");
}

TEST_F(PluginMsgBusEventTest, EventWithoutContentIsBinaryAndEmpty) {
    const CPluginMsgBusEvent msg(1, 2, 3, nullptr);
    EXPECT_EQ(msg.Data(), nullptr);
    EXPECT_EQ(msg.DataSize(), 0u);
    EXPECT_TRUE(msg.BinaryData());
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
}

TEST_F(PluginMsgBusEventTest, KindOfTheContentDecidesWhetherTheEventIsBinary) {
    const auto content = std::make_shared<test::FakeContent>("text");
    const CPluginMsgBusEvent msg(1, 2, 3, content);
    content->kind = 1;
    EXPECT_FALSE(msg.BinaryData());
    content->kind = 2;
    EXPECT_TRUE(msg.BinaryData());
    content->kind = 3;
    EXPECT_TRUE(msg.BinaryData());
    content->kind = 0;
    EXPECT_TRUE(msg.BinaryData());
}

TEST_F(PluginMsgBusEventTest, BlockWithoutNulIsAllTextAndHasNoBinaryPart) {
    const CPluginMsgBusEvent msg(1, 2, 3, std::make_shared<test::FakeContent>("text"));
    EXPECT_EQ(msg.GetJsonTxt(), "text");
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
}

TEST_F(PluginMsgBusEventTest, BlockThatBeginsWithNulHasABinaryPartOnly) {
    const auto content = std::make_shared<test::FakeContent>(std::string("\0ab", 3));
    const CPluginMsgBusEvent msg(1, 2, 3, content);
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.GetBinaryData(), content->data + 1);
}

TEST_F(PluginMsgBusEventTest, BlockCountsWhateverTheContentAnswers) {
    const auto content = std::make_shared<test::FakeContent>("text");
    content->answer = false;
    const CPluginMsgBusEvent msg(1, 2, 3, content);
    EXPECT_EQ(msg.DataSize(), 4u);
    EXPECT_EQ(msg.GetJsonTxt(), "text");
}

TEST_F(PluginMsgBusEventTest, NegativeSizeCountsAsNone) {
    const auto content = std::make_shared<test::FakeContent>("text");
    content->size = -1;
    const CPluginMsgBusEvent msg(1, 2, 3, content);
    EXPECT_EQ(msg.DataSize(), 0u);
    EXPECT_EQ(msg.GetJsonTxt(), "");
    EXPECT_EQ(msg.GetBinaryData(), nullptr);
}

TEST_F(PluginMsgBusEventTest, ContentThatWritesNothingLeavesTheEventWithoutABlock) {
    const CPluginMsgBusEvent msg(1, 2, 3, std::make_shared<test::SilentContent>());
    EXPECT_EQ(msg.Data(), nullptr);
    EXPECT_EQ(msg.DataSize(), 0u);
}

TEST_F(PluginMsgBusEventTest, ExtendBuffersAreAppendedInOrder) {
    const auto content = std::make_shared<FakeEventContent>();
    const char first[] = "first";
    const char second[] = "second";
    content->buffers = {{first, 5}, {second, 6}};
    CPluginMsgBusEvent msg(1, 2, 3, content);
    Datas datas(1);
    msg.GetExtendContentDatas(datas);
    ASSERT_EQ(datas.size(), 3u);
    EXPECT_EQ((*std::next(datas.begin(), 1))->GetData(), first);
    EXPECT_EQ((*std::next(datas.begin(), 1))->GetDataSize(), 5u);
    EXPECT_EQ((*std::next(datas.begin(), 2))->GetData(), second);
    EXPECT_EQ((*std::next(datas.begin(), 2))->GetDataSize(), 6u);
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PluginMsgBusEventTest, PicturesAreAppendedByTheContent) {
    const auto content = std::make_shared<FakeEventContent>();
    CPluginMsgBusEvent msg(1, 2, 3, content);
    Pictures pictures;
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(pictures, ElementsAre(content->picture));
    EXPECT_THAT(platform.log.Lines(), IsEmpty());
}

TEST_F(PluginMsgBusEventTest, BuffersAndPicturesOfAnEventWithoutContentAreRefused) {
    CPluginMsgBusEvent msg(1, 2, 3, nullptr);
    Datas datas;
    Pictures pictures;
    msg.GetExtendContentDatas(datas);
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(datas, IsEmpty());
    EXPECT_THAT(pictures, IsEmpty());
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kExtend, 4, "QARCommon", "platform msg empty"),
                                                  LineIn(kPicture, 4, "QARCommon", "platform msg empty")));
}

TEST_F(PluginMsgBusEventTest, BuffersAndPicturesOfAnotherKindOfContentAreRefused) {
    const auto content = std::make_shared<FakeEventContent>();
    content->kind = 2;
    content->buffers = {{"x", 1}};
    CPluginMsgBusEvent msg(1, 2, 3, content);
    Datas datas;
    Pictures pictures;
    msg.GetExtendContentDatas(datas);
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(datas, IsEmpty());
    EXPECT_THAT(pictures, IsEmpty());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kExtend, 4, "QARCommon", "event type not text_and_binary_type [2:3]"),
                            LineIn(kPicture, 4, "QARCommon", "event type not text_and_binary_type [2:3]")));
}

TEST_F(PluginMsgBusEventTest, BuffersAndPicturesOfAContentOfAnotherClassAreRefused) {
    const auto content = std::make_shared<test::FakeContent>("text");
    content->kind = 3;
    CPluginMsgBusEvent msg(1, 2, 3, content);
    Datas datas;
    Pictures pictures;
    msg.GetExtendContentDatas(datas);
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(datas, IsEmpty());
    EXPECT_THAT(pictures, IsEmpty());
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn(kExtend, 4, "QARCommon", "cast to CEventBaseContent failed"),
                            LineIn(kPicture, 4, "QARCommon", "cast to CEventBaseContent failed")));
}

TEST_F(PluginMsgBusEventTest, PicturesThatCannotBeHadAreLogged) {
    const auto content = std::make_shared<FakeEventContent>();
    content->pictures_answer = false;
    CPluginMsgBusEvent msg(1, 2, 3, content);
    Pictures pictures;
    msg.GetPictureBinaryDatas(pictures);
    EXPECT_THAT(pictures, IsEmpty());
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn(kPicture, 4, "QARCommon", "GetPictureBinaryData failed.")));
}

}  // namespace
}  // namespace qar
