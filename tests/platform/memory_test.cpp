#include <array>
#include <cstddef>

#include "platform/PlatformTest.h"
#include "qarutil/SecureMemory.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;

class MemoryTest : public PlatformTest {
protected:
    std::array<unsigned char, 4> dest_{1, 2, 3, 4};
    const std::array<unsigned char, 4> src_{11, 12, 13, 14};
};

TEST_F(MemoryTest, FillWritesTheBytesAsked) {
    EXPECT_EQ(qarutil::memset_s(dest_.data(), dest_.size(), 9, 3), 0);
    EXPECT_THAT(dest_, ElementsAre(9, 9, 9, 4));
}

TEST_F(MemoryTest, FillOfNothingWritesNothing) {
    EXPECT_EQ(qarutil::memset_s(dest_.data(), dest_.size(), 9, 0), 0);
    EXPECT_THAT(dest_, ElementsAre(1, 2, 3, 4));
}

TEST_F(MemoryTest, FillBeyondTheBlockIsRefusedAndWritesNothing) {
    EXPECT_NE(qarutil::memset_s(dest_.data(), 2, 9, 3), 0);
    EXPECT_THAT(dest_, ElementsAre(1, 2, 3, 4));
    EXPECT_NE(qarutil::memset_s(nullptr, 4, 9, 1), 0);
}

TEST_F(MemoryTest, CopyWritesTheBytesAsked) {
    EXPECT_EQ(qarutil::memcpy_s(dest_.data(), dest_.size(), src_.data(), 2), 0);
    EXPECT_THAT(dest_, ElementsAre(11, 12, 3, 4));
    EXPECT_EQ(qarutil::memcpy_s(dest_.data(), 4, src_.data(), 4), 0);
    EXPECT_THAT(dest_, ElementsAre(11, 12, 13, 14));
}

TEST_F(MemoryTest, CopyBeyondTheBlockIsRefusedAndZeroesTheBlock) {
    EXPECT_NE(qarutil::memcpy_s(dest_.data(), 3, src_.data(), 4), 0);
    EXPECT_THAT(dest_, ElementsAre(0, 0, 0, 4));
}

TEST_F(MemoryTest, CopyFromNullIsRefusedAndZeroesTheBlock) {
    EXPECT_NE(qarutil::memcpy_s(dest_.data(), 2, nullptr, 1), 0);
    EXPECT_THAT(dest_, ElementsAre(0, 0, 3, 4));
}

TEST_F(MemoryTest, CopyToNullIsRefused) { EXPECT_NE(qarutil::memcpy_s(nullptr, 4, src_.data(), 1), 0); }

}  // namespace
}  // namespace platform_tests
