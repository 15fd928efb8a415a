#include "soak/soak_options.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>

namespace soak {
namespace {

constexpr const char* kNames[] = {"QAR_SOAK_CAMERAS", "QAR_SOAK_DAYS", "QAR_SOAK_SCALE", "QAR_SOAK_PROBE_S",
                                  "QAR_SOAK_SEED"};

// Keeps what is set for the soak's own run.
class SoakOptionsTest : public testing::Test {
protected:
    SoakOptionsTest() {
        for (const char* name : kNames) {
            const char* const text = std::getenv(name);
            if (text != nullptr) kept_[name] = text;
            unsetenv(name);
        }
    }
    ~SoakOptionsTest() override {
        for (const char* name : kNames) unsetenv(name);
        for (const auto& [name, text] : kept_) setenv(name.c_str(), text.c_str(), 1);
    }

private:
    std::map<std::string, std::string> kept_;
};

TEST_F(SoakOptionsTest, EnvironmentSetsThem) {
    setenv("QAR_SOAK_CAMERAS", "1000", 1);
    setenv("QAR_SOAK_DAYS", "1.5", 1);
    setenv("QAR_SOAK_SCALE", "2000", 1);
    setenv("QAR_SOAK_PROBE_S", "300", 1);
    setenv("QAR_SOAK_SEED", "7", 1);
    const SoakOptions options = SoakOptions::FromEnvironment();
    EXPECT_EQ(1000, options.cameras);
    EXPECT_EQ(129'600'000, options.DurationMs());
    EXPECT_EQ(2000, options.scale);
    EXPECT_EQ(300, options.probe_s);
    EXPECT_EQ(7U, options.seed);
}

TEST_F(SoakOptionsTest, WithoutItTheRunIsShort) {
    const SoakOptions options = SoakOptions::FromEnvironment();
    EXPECT_LE(options.cameras, 20);
    EXPECT_LT(options.days, SoakOptions::kLongDays);
}

TEST_F(SoakOptionsTest, ManyCamerasRunSlowerUnlessTheScaleIsSet) {
    setenv("QAR_SOAK_CAMERAS", "1000", 1);
    EXPECT_LE(SoakOptions::FromEnvironment().scale, 2000);
    setenv("QAR_SOAK_SCALE", "5000", 1);
    EXPECT_EQ(5000, SoakOptions::FromEnvironment().scale);
}

TEST_F(SoakOptionsTest, ValueThatIsNoneOrOutOfItsRangeIsRefused) {
    for (const char* text : {"", "many", "20x", "1", "1e9", "20.5"}) {
        setenv("QAR_SOAK_CAMERAS", text, 1);
        EXPECT_THROW(SoakOptions::FromEnvironment(), std::invalid_argument) << text;
    }
}

}  // namespace
}  // namespace soak
