#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/log/LogOutput.h"
#include "standalone/log/temp_log.h"

namespace {

using qarplatform::LogEntry;
using qarplatform::LogOptions;
using qarplatform::LogOutput;

LogEntry Entry(const std::string& text) { return {std::chrono::system_clock::now(), 3, "m", text}; }

TEST(LogOutputTest, FailureIsToldOnceWhicheverStepItShowsIn) {
    LogOptions options;
    options.file = "/dev/full";
    LogOutput output;
    std::string error;
    ASSERT_TRUE(output.OpenFile(options, error)) << error;
    const LogEntry longer_than_any_buffer = Entry(std::string(1 << 20, 'x'));
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        output.Write(longer_than_any_buffer);
        output.Flush();
        output.Write(Entry("short"));
        output.Flush();
        output.Flush();
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_THAT(told, testing::StartsWith("log lines cannot be written: "));
    EXPECT_EQ(told.find('\n'), told.size() - 1) << told;
}

}  // namespace
