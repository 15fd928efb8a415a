// The server's parts that need no connection.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/http/ClientFaults.h"
#include "standalone/http/ErrorBody.h"
#include "standalone/http/Utf8.h"
#include "standalone/log/temp_log.h"

namespace {

using qarplatform::ClientFaults;
using qarplatform::ErrorBody;
using qarplatform::IsUtf8;
using qarplatform::ReplaceNonUtf8;
using qarplatform::StatusText;
using ::testing::ElementsAre;

TEST(Utf8Test, CharactersOfAnyLengthStay) {
    for (const std::string_view text :
         {"", "a", "\x7F", "\xC2\x80", "\xC3\xA4\xC3\xB6", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(IsUtf8(text)) << text;
        EXPECT_EQ(ReplaceNonUtf8(text), text);
    }
    EXPECT_TRUE(IsUtf8(std::string_view("a\0b", 3)));
}

TEST(Utf8Test, EachByteThatIsNoneIsReplaced) {
    const std::string replaced = "\xEF\xBF\xBD";
    const std::vector<std::pair<std::string_view, int>> texts = {
        {"\x80", 1},         {"\xC1\xBF", 2},         {"\xC3", 1},         {"\xE0\x9F\xBF", 3},     {"\xE4\xB8", 2},
        {"\xED\xA0\x80", 3}, {"\xF0\x8F\xBF\xBF", 4}, {"\xF0\x90\x80", 3}, {"\xF4\x90\x80\x80", 4}, {"\xFF", 1}};
    for (const auto& [text, bytes] : texts) {
        EXPECT_FALSE(IsUtf8(text));
        std::string expected = "a";
        for (int i = 0; i < bytes; ++i) {
            expected += replaced;
        }
        EXPECT_EQ(ReplaceNonUtf8("a" + std::string(text) + "z"), expected + "z");
    }
}

TEST(ErrorBodyTest, TellsStatusNameAndReason) {
    EXPECT_EQ(ErrorBody(404, "no plug-in serves /x"),
              R"({"status":404,"error":"Not Found","reason":"no plug-in serves /x"})");
}

TEST(ErrorBodyTest, AnyReasonGivesJson) {
    EXPECT_EQ(ErrorBody(500, "a\"b\\\n\xFF"),
              "{\"status\":500,\"error\":\"Internal Server Error\",\"reason\":\"a\\\"b\\\\\\n\xEF\xBF\xBD\"}");
}

TEST(ErrorBodyTest, UnknownStatusHasANameToo) { EXPECT_EQ(StatusText(299), "Unknown"); }

TEST(ClientFaultsTest, LinesOfAKindAreASecondApartAndNoFaultIsUncounted) {
    TempLog log;
    ClientFaults faults;
    const auto begin = std::chrono::steady_clock::now();
    unsigned long long tells = 0;
    for (; std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(1100); ++tells) {
        faults.Tell("this is wrong", "192.0.2.1");
    }
    faults.Tell("that is wrong", "192.0.2.2");
    faults.TellLeftOut();
    faults.TellLeftOut();
    const std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "W [QARPlatform] http: this is wrong, client 192.0.2.1");
    const std::string second = "W [QARPlatform] http: this is wrong, client 192.0.2.1; ";
    ASSERT_EQ(lines[1].substr(0, second.size()), second);
    EXPECT_EQ(lines[2], "W [QARPlatform] http: that is wrong, client 192.0.2.2");
    const std::string last = "W [QARPlatform] http: this is wrong; ";
    ASSERT_EQ(lines[3].substr(0, last.size()), last);
    EXPECT_EQ(2 + std::stoull(lines[1].substr(second.size())) + std::stoull(lines[3].substr(last.size())), tells);
}

}  // namespace
