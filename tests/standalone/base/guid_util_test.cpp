#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "Mox/Base/GuidUtil.h"

namespace {

using Mox::Base::GuidUtil::CreateGuid;

TEST(GuidUtilTest, GuidIsARandomOneInUpperCaseWithoutBraces) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    for (int i = 0; i < 100; ++i) {
        const std::string guid = CreateGuid();
        EXPECT_TRUE(std::regex_match(guid, form)) << guid;
    }
}

TEST(GuidUtilTest, GuidsDiffer) {
    std::set<std::string> guids;
    for (int i = 0; i < 1000; ++i) guids.insert(CreateGuid());
    EXPECT_EQ(guids.size(), 1000u);
}

}  // namespace
