#include <gtest/gtest.h>

#include <cstddef>

#include "Mox/Base/StringUtil.h"

namespace {

using Mox::Base::StringUtil::str_fmt;

TEST(StringUtilTest, RendersArguments) { EXPECT_EQ(str_fmt("%s:%d|%lld", "a", -3, 5000000000LL), "a:-3|5000000000"); }

TEST(StringUtilTest, EmptyTextStaysEmpty) { EXPECT_EQ(str_fmt("%s", ""), ""); }

TEST(StringUtilTest, NoLengthIsCut) {
    for (const std::size_t length : {1022u, 1023u, 1024u, 1025u, 1u << 20}) {
        const std::string text(length, 'x');
        EXPECT_EQ(str_fmt("%s", text.c_str()), text);
    }
}

}  // namespace
