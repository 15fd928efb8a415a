#include <string>

#include "platform/PlatformTest.h"
#include "qarutil/RapidJsonProto.h"

namespace platform_tests {
namespace {

class JsonTest : public PlatformTest {
protected:
    CRapidJsonProto json_;
};

TEST_F(JsonTest, MembersOfTheOutermostObjectAreRead) {
    ASSERT_TRUE(json_.set_str(R"({"ChangeType": 3, "ResourceID": -7, "Nested": {"Inner": 1}})"));
    EXPECT_EQ(json_.get_int_v("/ChangeType", -1), 3);
    EXPECT_EQ(json_.get_int_v("/ResourceID", 0), -7);
    EXPECT_EQ(json_.get_int_v("/Inner", -1), -1);
}

TEST_F(JsonTest, MissingMemberAndOneThatIsNoIntGiveTheDefault) {
    ASSERT_TRUE(
        json_.set_str(R"({"Text": "5", "Half": 0.5, "Big": 4294967296, "Yes": true, "Null": null, "List": [1]})"));
    for (const char* path : {"/Absent", "/Text", "/Half", "/Big", "/Yes", "/Null", "/List"}) {
        EXPECT_EQ(json_.get_int_v(path, -1), -1) << path;
        EXPECT_EQ(json_.get_int_v(path, 42), 42) << path;
    }
}

TEST_F(JsonTest, EdgesOfAnIntAreRead) {
    ASSERT_TRUE(json_.set_str(R"({"Max": 2147483647, "Min": -2147483648, "Over": 2147483648})"));
    EXPECT_EQ(json_.get_int_v("/Max", 0), 2147483647);
    EXPECT_EQ(json_.get_int_v("/Min", 0), -2147483647 - 1);
    EXPECT_EQ(json_.get_int_v("/Over", 0), 0);
}

TEST_F(JsonTest, TextThatIsNoJsonIsRefused) {
    for (const char* text : {"", " ", "{", "{]", "hello", "{\"A\":}", "{\"A\":1} tail"}) {
        EXPECT_FALSE(json_.set_str(text)) << text;
    }
}

TEST_F(JsonTest, RefusedTextLeavesNothingOfTheFormerOne) {
    ASSERT_TRUE(json_.set_str(R"({"A": 1})"));
    EXPECT_FALSE(json_.set_str("{"));
    EXPECT_EQ(json_.get_int_v("/A", -1), -1);
}

TEST_F(JsonTest, SecondTextReplacesTheFirst) {
    ASSERT_TRUE(json_.set_str(R"({"A": 1})"));
    ASSERT_TRUE(json_.set_str(R"({"B": 2})"));
    EXPECT_EQ(json_.get_int_v("/A", -1), -1);
    EXPECT_EQ(json_.get_int_v("/B", -1), 2);
}

TEST_F(JsonTest, NothingWasSet) { EXPECT_EQ(json_.get_int_v("/A", 5), 5); }

TEST_F(JsonTest, DocumentThatIsNoObjectHasNoMembers) {
    ASSERT_TRUE(json_.set_str("[1, 2]"));
    EXPECT_EQ(json_.get_int_v("/0", -1), -1);
    ASSERT_TRUE(json_.set_str("7"));
    EXPECT_EQ(json_.get_int_v("/", -1), -1);
}

TEST_F(JsonTest, NulEndsTheText) {
    const std::string text("{\"A\": 1}\0 binary part", 22);
    ASSERT_TRUE(json_.set_str(text));
    EXPECT_EQ(json_.get_int_v("/A", -1), 1);
    EXPECT_FALSE(json_.set_str(std::string("\0{\"A\": 1}", 9)));
}

TEST_F(JsonTest, NestingOfAMillionLevelsIsSafe) {
    constexpr int kDepth = 1000000;
    const std::string text =
        "{\"A\": 1, \"Deep\": " + std::string(kDepth, '[') + std::string(kDepth, ']') + ", \"B\": 2}";
    ASSERT_TRUE(json_.set_str(text));
    EXPECT_EQ(json_.get_int_v("/A", -1), 1);
    EXPECT_EQ(json_.get_int_v("/B", -1), 2);
    EXPECT_FALSE(json_.set_str(std::string(kDepth, '[')));
}

}  // namespace
}  // namespace platform_tests
