#include <gtest/gtest.h>

#include <set>

#include "demo_cameras/recording.h"

namespace demo {
namespace {

TEST(DemoRecordingTest, ValuesAreThoseOfTheDocumentedHash) {
    // Worked out by an independent program from the description in the header.
    EXPECT_EQ(Recording(1, 101).ValueOf(1793514600), 0xAB9ED0CCU);
    EXPECT_EQ(Recording(7, 112).ValueOf(0), 0xC18FFE96U);
}

TEST(DemoRecordingTest, BytesAreFourPerSecondHighestFirst) {
    const Recording recording(1, 101);
    const std::string bytes = recording.Bytes(1000, 1003);
    ASSERT_EQ(bytes.size(), 12U);
    for (std::int64_t second = 0; second < 3; ++second) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(second) * 4 + i]);
        }
        EXPECT_EQ(value, recording.ValueOf(1000 + second));
    }
}

TEST(DemoRecordingTest, APartEqualsTheSameSecondsOfTheWhole) {
    const Recording recording(3, 105);
    EXPECT_EQ(recording.Bytes(500, 600), recording.Bytes(0, 1000).substr(2000, 400));
}

TEST(DemoRecordingTest, NothingLiesInAnEmptyOrReversedRange) {
    EXPECT_EQ(Recording(1, 1).Bytes(10, 10), "");
    EXPECT_EQ(Recording(1, 1).Bytes(10, 9), "");
}

TEST(DemoRecordingTest, SeedCameraAndSecondAllMatter) {
    EXPECT_EQ((std::set<std::uint32_t>{Recording(1, 1).ValueOf(1), Recording(2, 1).ValueOf(1),
                                       Recording(1, 2).ValueOf(1), Recording(1, 1).ValueOf(2)}
                   .size()),
              4U);
}

}  // namespace
}  // namespace demo
