#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "qarutil/RapidJsonProto.h"

namespace {

constexpr int kDefault = -77;

class RapidJsonProtoTest : public testing::Test {
protected:
    int Read(const std::string& text, const std::string& path = "/n") {
        EXPECT_TRUE(json_.set_str(text)) << text;
        return json_.get_int_v(path, kDefault);
    }

    CRapidJsonProto json_;
};

TEST_F(RapidJsonProtoTest, GivesMembersOfTheOutermostObject) {
    EXPECT_EQ(Read(R"({"a":1,"n":2,"b":3})"), 2);
    EXPECT_EQ(Read(R"({"a":1,"n":-2})", "/a"), 1);
    EXPECT_EQ(Read(R"( {"n" : -2} )"), -2);
    EXPECT_EQ(Read(R"({"\u006e":5})"), 5);
}

TEST_F(RapidJsonProtoTest, MissingMemberGivesTheDefault) {
    EXPECT_EQ(Read(R"({"a":1})"), kDefault);
    EXPECT_EQ(Read("{}"), kDefault);
    EXPECT_EQ(Read("[1]"), kDefault);
    EXPECT_EQ(Read("5"), kDefault);
    EXPECT_EQ(Read(R"([{"n":1}])"), kDefault);
}

TEST_F(RapidJsonProtoTest, MembersOfInnerObjectsAreNotTaken) {
    EXPECT_EQ(Read(R"({"a":{"n":1},"b":[{"n":2}]})"), kDefault);
    EXPECT_EQ(Read(R"({"a":{"n":1},"n":3,"b":[4]})"), 3);
}

TEST_F(RapidJsonProtoTest, MemberThatIsNoIntGivesTheDefault) {
    for (const char* value : {"1.0", "1e3", "\"1\"", "true", "null", "{}", "[1]", "[]", "{\"n\":1}"}) {
        EXPECT_EQ(Read(std::string(R"({"n":)") + value + "}"), kDefault) << value;
    }
}

TEST_F(RapidJsonProtoTest, OnlyNumbersThatFitAnIntCount) {
    EXPECT_EQ(Read(R"({"n":2147483647})"), INT_MAX);
    EXPECT_EQ(Read(R"({"n":-2147483648})"), INT_MIN);
    EXPECT_EQ(Read(R"({"n":2147483648})"), kDefault);
    EXPECT_EQ(Read(R"({"n":-2147483649})"), kDefault);
    EXPECT_EQ(Read(R"({"n":18446744073709551615})"), kDefault);
}

TEST_F(RapidJsonProtoTest, FirstOfSeveralMembersOfOneNameCounts) {
    EXPECT_EQ(Read(R"({"n":1,"n":2})"), 1);
    EXPECT_EQ(Read(R"({"n":"text","n":2})"), kDefault);
}

TEST_F(RapidJsonProtoTest, PathIsASlashAndOneName) {
    EXPECT_EQ(Read(R"({"n":1})", "n"), kDefault);
    EXPECT_EQ(Read(R"({"n":1})", ""), kDefault);
    EXPECT_EQ(Read(R"({"":1})", "/"), 1);
}

TEST_F(RapidJsonProtoTest, ReaderStopsAtTheFirstNul) {
    EXPECT_EQ(Read(std::string("{\"n\":1}\0\x01\x02", 10)), 1);
    EXPECT_FALSE(json_.set_str(std::string("{\"n\"\0:1}", 8)));
}

TEST_F(RapidJsonProtoTest, WhatIsNoJsonIsRefused) {
    for (const char* text : {"", " ", "{", "{\"n\":1", "{\"n\":1}}", "{n:1}", "text", "{\"n\":1,}", "[1 2]"}) {
        EXPECT_FALSE(json_.set_str(text)) << text;
    }
    EXPECT_FALSE(json_.set_str(std::string("\0{\"n\":1}", 8)));
}

TEST_F(RapidJsonProtoTest, RefusedTextLeavesNothingOfItselfNorOfTheOneBefore) {
    EXPECT_EQ(Read(R"({"n":1})"), 1);
    EXPECT_FALSE(json_.set_str(R"({"n":2,)"));
    EXPECT_EQ(json_.get_int_v("/n", kDefault), kDefault);
}

TEST_F(RapidJsonProtoTest, NewTextReplacesTheOneBefore) {
    EXPECT_EQ(Read(R"({"n":1})"), 1);
    EXPECT_EQ(Read(R"({"m":1})"), kDefault);
}

TEST_F(RapidJsonProtoTest, DeepNestingIsSafe) {
    constexpr int kDepth = 1000000;
    EXPECT_FALSE(json_.set_str(std::string(kDepth, '[')));
    EXPECT_EQ(Read(std::string("{\"a\":") + std::string(kDepth, '[') + std::string(kDepth, ']') + ",\"n\":4}"), 4);
    std::string objects;
    for (int i = 0; i < kDepth; ++i) objects += "{\"n\":";
    EXPECT_FALSE(json_.set_str(objects));
    EXPECT_EQ(Read(objects + "1" + std::string(kDepth, '}')), kDefault);
}

}  // namespace
