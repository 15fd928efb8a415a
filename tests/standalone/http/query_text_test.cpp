#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "standalone/http/QueryText.h"

namespace qarplatform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::string PathOf(const std::string& path) {
    std::string normal;
    std::string error;
    return NormalPath(path, normal, error) ? normal : "refused: " + error;
}

QueryParams ParamsOf(const std::string& query) {
    QueryParams params;
    std::string error;
    EXPECT_TRUE(AddQuery(query, params, error)) << error;
    return params;
}

std::string RefusalOf(const std::string& query) {
    QueryParams params;
    std::string error;
    return AddQuery(query, params, error) ? "" : error;
}

TEST(QueryTextTest, PathIsDecodedAndLosesTheSlashAtItsEnd) {
    EXPECT_EQ("/a/b c", PathOf("/a/b%20c"));
    EXPECT_EQ("/a", PathOf("/a/"));
    EXPECT_EQ("/", PathOf("/"));
    EXPECT_EQ("/\xC3\xA4/...", PathOf("/%c3%A4/..."));
}

TEST(QueryTextTest, PlusInAPathStaysAPlus) { EXPECT_EQ("/a+b", PathOf("/a+b")); }

TEST(QueryTextTest, PathThatCouldMeanAnotherIsRefused) {
    const std::string dots = "refused: the path has a segment \".\" or \"..\"";
    EXPECT_EQ(dots, PathOf("/a/../b"));
    EXPECT_EQ(dots, PathOf("/a/%2e%2E/b"));
    EXPECT_EQ(dots, PathOf("/a/.."));
    EXPECT_EQ(dots, PathOf("/./a"));
    EXPECT_EQ("refused: the path has an empty segment", PathOf("//a"));
    EXPECT_EQ("refused: the path has an empty segment", PathOf("/a//"));
    EXPECT_EQ("refused: the path has an empty segment", PathOf("//"));
    EXPECT_EQ("refused: the path has an encoded '/'", PathOf("/a%2Fb"));
    EXPECT_EQ("refused: the path has a backslash", PathOf("/a\\b"));
    EXPECT_EQ("refused: the path has a backslash", PathOf("/a%5cb"));
    EXPECT_EQ("refused: the path has a control character", PathOf("/a%00"));
    EXPECT_EQ("refused: the path has a control character", PathOf("/a%0D%0A"));
    EXPECT_EQ("refused: the path has a control character", PathOf("/a%7f"));
    EXPECT_EQ("refused: the path is no UTF-8", PathOf("/%ff"));
    EXPECT_EQ("refused: the path is no UTF-8", PathOf("/%C0%AE%C0%AE"));  // ".." in an overlong form
    EXPECT_EQ("refused: the path has a '%' without two digits", PathOf("/a%2"));
    EXPECT_EQ("refused: the path has a '%' without two digits", PathOf("/a%g0"));
    EXPECT_EQ("refused: the path has a '?' or '#'", PathOf("/a#b"));
    EXPECT_EQ("refused: the path does not begin with '/'", PathOf("a"));
    EXPECT_EQ("refused: the path does not begin with '/'", PathOf(""));
}

TEST(QueryTextTest, DecodedPercentIsNotDecodedAgain) { EXPECT_EQ("/a%2e%2e", PathOf("/a%252e%252e")); }

TEST(QueryTextTest, QueryIsDecodedWithBlanksForPlusses) {
    EXPECT_THAT(ParamsOf("a=1+2&b%3D=%2B&c"), ElementsAre(Pair("a", "1 2"), Pair("b=", "+"), Pair("c", "")));
}

TEST(QueryTextTest, FirstOfEqualKeysStays) { EXPECT_THAT(ParamsOf("a=1&a=2"), ElementsAre(Pair("a", "1"))); }

TEST(QueryTextTest, EmptyPairsArePassedOver) {
    EXPECT_THAT(ParamsOf(""), IsEmpty());
    EXPECT_THAT(ParamsOf("&&a=1&"), ElementsAre(Pair("a", "1")));
}

TEST(QueryTextTest, OnlyTheFirstEqualsSignDivides) { EXPECT_THAT(ParamsOf("a=b=c"), ElementsAre(Pair("a", "b=c"))); }

TEST(QueryTextTest, WhatIsThereBeforeWinsOverTheForm) {
    QueryParams params{{"a", "query"}};
    std::string error;
    ASSERT_TRUE(AddQuery("a=form&b=form", params, error));
    EXPECT_THAT(params, ElementsAre(Pair("a", "query"), Pair("b", "form")));
}

TEST(QueryTextTest, BadQueryIsRefusedWithItsReason) {
    EXPECT_EQ("the query has a '%' without two digits", RefusalOf("a=%"));
    EXPECT_EQ("the query has a '%' without two digits", RefusalOf("%4=a"));
    EXPECT_EQ("the query has a NUL", RefusalOf("a=%00"));
    EXPECT_EQ("the query is no UTF-8", RefusalOf("a=%E4"));
}

TEST(QueryTextTest, ThousandKeysAreTakenAndOneMoreIsRefused) {
    std::string query;
    for (std::size_t i = 0; i < kMaxQueryKeys; ++i) query += "k" + std::to_string(i) + "=&";
    EXPECT_EQ(1000U, ParamsOf(query).size());
    EXPECT_EQ(1000U, ParamsOf(query + "k7=again").size());
    EXPECT_EQ("the query has more than 1000 keys", RefusalOf(query + "more="));
}

TEST(QueryTextTest, TargetIsDividedAtItsFirstQuestionMark) {
    Target target;
    std::string error;
    ASSERT_TRUE(ParseTarget("/a/b?x=1?2&y", target, error));
    EXPECT_EQ("/a/b", target.path);
    EXPECT_THAT(target.params, ElementsAre(Pair("x", "1?2"), Pair("y", "")));
    ASSERT_FALSE(ParseTarget("/..?x=1", target, error));
    EXPECT_EQ("the path has a segment \".\" or \"..\"", error);
}

}  // namespace
}  // namespace qarplatform
