#include <gtest/gtest.h>

#include <array>
#include <string>

#include "qarutil/SecureMemory.h"

namespace {

class SecureMemoryTest : public testing::Test {
protected:
    std::string Content() const { return std::string(buffer_.begin(), buffer_.end()); }

    std::array<char, 4> buffer_ = {'a', 'b', 'c', 'd'};
};

TEST_F(SecureMemoryTest, FillsCountBytes) {
    EXPECT_EQ(qarutil::memset_s(buffer_.data(), 4, 'x', 3), 0);
    EXPECT_EQ(Content(), "xxxd");
}

TEST_F(SecureMemoryTest, FillBeyondTheSizeWritesNothing) {
    EXPECT_NE(qarutil::memset_s(buffer_.data(), 3, 'x', 4), 0);
    EXPECT_EQ(Content(), "abcd");
}

TEST_F(SecureMemoryTest, FillOfNullFails) { EXPECT_NE(qarutil::memset_s(nullptr, 4, 'x', 4), 0); }

TEST_F(SecureMemoryTest, CopiesCountBytes) {
    EXPECT_EQ(qarutil::memcpy_s(buffer_.data(), 4, "xy", 2), 0);
    EXPECT_EQ(Content(), "xycd");
}

TEST_F(SecureMemoryTest, CopyOfNothingSucceeds) {
    EXPECT_EQ(qarutil::memcpy_s(buffer_.data(), 4, "xy", 0), 0);
    EXPECT_EQ(Content(), "abcd");
}

TEST_F(SecureMemoryTest, CopyBeyondTheSizeZeroesTheTarget) {
    EXPECT_NE(qarutil::memcpy_s(buffer_.data(), 3, "wxyz", 4), 0);
    EXPECT_EQ(Content(), std::string("\0\0\0d", 4));
}

TEST_F(SecureMemoryTest, CopyFromNullZeroesTheTarget) {
    EXPECT_NE(qarutil::memcpy_s(buffer_.data(), 3, nullptr, 2), 0);
    EXPECT_EQ(Content(), std::string("\0\0\0d", 4));
}

TEST_F(SecureMemoryTest, CopyToNullFails) { EXPECT_NE(qarutil::memcpy_s(nullptr, 4, "xy", 2), 0); }

}  // namespace
