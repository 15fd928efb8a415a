#include <gtest/gtest.h>

#include <string>

#include "standalone/http/JsonCheck.h"

namespace qarplatform {
namespace {

std::string RefusalOf(const std::string& text) {
    std::string error;
    return CheckJson(text, error) ? "" : error;
}

std::string Nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

TEST(JsonCheckTest, AnyValueIsTaken) {
    for (const char* text : {"{}", "[]", " {\"a\":[1,2.5e3,null,true,\"\\u00e4\xC3\xA4\"]} \n", "1", "\"x\"", "null"}) {
        EXPECT_EQ("", RefusalOf(text)) << text;
    }
}

TEST(JsonCheckTest, RefusalNamesTheByte) {
    EXPECT_EQ("Missing a comma or '}' after an object member. At byte 6.", RefusalOf("{\"a\":1"));
    EXPECT_EQ("The document root must not be followed by other values. At byte 3.", RefusalOf("{} {}"));
    EXPECT_EQ("Invalid value. At byte 0.", RefusalOf("a=1"));
    EXPECT_EQ("The document is empty. At byte 0.", RefusalOf(""));
    EXPECT_EQ("Invalid encoding in string. At byte 2.", RefusalOf("[\"\xE4\"]"));
}

TEST(JsonCheckTest, NulEndsNoText) {
    EXPECT_EQ("A NUL behind the value. At byte 2.", RefusalOf(std::string("{}\0", 3)));
    EXPECT_EQ("A NUL behind the value. At byte 2.", RefusalOf(std::string("{}\0junk", 7)));
}

TEST(JsonCheckTest, ThousandLevelsAreTakenAndOneMoreIsRefused) {
    EXPECT_EQ("", RefusalOf(Nested(1000)));
    EXPECT_EQ("Nested too deep. At byte 1000.", RefusalOf(Nested(1001)));
    EXPECT_EQ("", RefusalOf("[" + Nested(999) + "," + Nested(999) + "]"));
}

}  // namespace
}  // namespace qarplatform
