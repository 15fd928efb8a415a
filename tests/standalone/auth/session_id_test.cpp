#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

#include "standalone/auth/SessionId.h"

namespace {

using qarplatform::NewSessionId;

TEST(SessionIdTest, IdsAre32LettersAndDigitsAndAllDiffer) {
    std::set<std::string> ids;
    for (int i = 0; i < 1000; ++i) {
        const std::string id = NewSessionId();
        EXPECT_EQ(id.size(), 32U);
        EXPECT_EQ(id.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
                  std::string::npos);
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 1000U);
}

TEST(SessionIdTest, EachCharacterIsAsLikelyAsTheOthers) {
    std::array<int, 256> counts{};
    constexpr int kIds = 20000;
    for (int i = 0; i < kIds; ++i) {
        for (const char c : NewSessionId()) {
            ++counts[static_cast<unsigned char>(c)];
        }
    }
    // A character that a remainder favours would come a quarter more often; chance alone stays far below a tenth.
    const double expected = kIds * 32 / 62.0;
    int characters = 0;
    for (const int count : counts) {
        if (count != 0) {
            ++characters;
            EXPECT_NEAR(count, expected, expected / 10);
        }
    }
    EXPECT_EQ(characters, 62);
}

}  // namespace
