#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/log/LogOutput.h"
#include "standalone/log/temp_log.h"

namespace {

using qarplatform::LogEntry;
using qarplatform::LogOptions;
using qarplatform::LogOutput;
using testing::ElementsAre;

LogEntry Entry(const std::string& text) { return {std::chrono::system_clock::now(), 3, "m", text}; }

TEST(LogOutputTest, FailureIsToldOnce) {
    LogOptions options;
    options.file = "/dev/full";
    LogOutput output;
    std::string error;
    ASSERT_TRUE(output.OpenFile(options, error)) << error;
    const LogEntry longer_than_any_buffer = Entry(std::string(1 << 20, 'x'));
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) {
        output.Write(longer_than_any_buffer);
        output.Write(Entry("short"));
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_THAT(told, testing::StartsWith("log lines cannot be written: "));
    EXPECT_EQ(told.find('\n'), told.size() - 1) << told;
}

/// Lowers a limit of this process as long as it lasts.
class LowLimit {
public:
    LowLimit(decltype(RLIMIT_FSIZE) kind, rlim_t value) : kind_(kind) {
        std::signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(getrlimit(kind_, &old_), 0);
        const rlimit low{value, old_.rlim_max};
        EXPECT_EQ(setrlimit(kind_, &low), 0);
    }
    ~LowLimit() { setrlimit(kind_, &old_); }
    LowLimit(const LowLimit&) = delete;
    LowLimit& operator=(const LowLimit&) = delete;

private:
    const decltype(RLIMIT_FSIZE) kind_;
    rlimit old_{};
};

class LogOutputFileTest : public testing::Test {
protected:
    void Open(std::size_t max_bytes) {
        LogOptions options;
        options.file = File();
        options.max_bytes = max_bytes;
        options.files = 2;
        std::string error;
        ASSERT_TRUE(output_.OpenFile(options, error)) << error;
    }

    std::string File() const { return folder_.Path("test.log"); }

    void Write(const std::string& text) { output_.Write(Entry(text)); }

    /// @return the lines of a file without date and time
    static std::vector<std::string> Lines(const std::string& path) {
        std::istringstream stream(ReadLogFile(path));
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line.substr(std::min<std::size_t>(24, line.size())));
        return lines;
    }

    TempLogFolder folder_;
    LogOutput output_;
};

TEST_F(LogOutputFileTest, LinesLostOnAFullDiskAreCountedInTheLogOnceItTakesLinesAgain) {
    Open(1 << 20);
    Write("before");
    testing::internal::CaptureStderr();
    {
        const LowLimit full(RLIMIT_FSIZE, std::filesystem::file_size(File()) + 12);  // room for a part of a line
        for (int i = 0; i < 3; ++i) Write("lost");
    }
    Write("after");
    Write("and on");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "log lines cannot be written: File too large\n");
    EXPECT_THAT(Lines(File()),
                ElementsAre("I [m] before",
                            "W [QARPlatform] 3 log lines were lost, as the log could not be written: File too large",
                            "I [m] after", "I [m] and on"));
}

TEST_F(LogOutputFileTest, EachFullDiskIsToldAndCountedAnew) {
    Open(1 << 20);
    testing::internal::CaptureStderr();
    const std::string long_line(500, 'x');  // what is told on stderr must have room under the limit
    for (int i = 0; i < 2; ++i) {
        Write(long_line);
        const LowLimit full(RLIMIT_FSIZE, std::filesystem::file_size(File()));
        Write("lost");
    }
    Write("after");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "log lines cannot be written: File too large\nlog lines cannot be written: File too large\n");
    const std::string lost = "W [QARPlatform] 1 log lines were lost, as the log could not be written: File too large";
    EXPECT_THAT(Lines(File()), ElementsAre("I [m] " + long_line, lost, "I [m] " + long_line, lost, "I [m] after"));
}

TEST_F(LogOutputFileTest, LogGoesOnInTheOldFileWhileARotationCannotMakeItsNewOne) {
    Open(100);
    Write(std::string(60, 'a'));
    testing::internal::CaptureStderr();
    {
        const LowLimit no_descriptor(RLIMIT_NOFILE, 0);
        Write(std::string(60, 'b'));
        Write("c");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "the log cannot be rotated: Too many open files\n");
    EXPECT_THAT(Lines(File()),
                ElementsAre("I [m] " + std::string(60, 'a'), "I [m] " + std::string(60, 'b'), "I [m] c"));

    Write("d");
    EXPECT_THAT(Lines(File()), ElementsAre("I [m] d"));
    EXPECT_EQ(Lines(folder_.Path("test.1.log")).size(), 3U);
}

TEST_F(LogOutputFileTest, RotatedFilesThatCannotMoveStayAndTheLogGoesOnInTheOldFile) {
    Open(100);
    std::filesystem::create_directories(folder_.Path("test.2.log/x"));
    Write(std::string(60, 'a'));
    Write(std::string(60, 'b'));  // becomes the second file
    testing::internal::CaptureStderr();
    Write(std::string(60, 'c'));
    Write("d");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "the log cannot be rotated: Is a directory\n");
    EXPECT_THAT(Lines(folder_.Path("test.1.log")), ElementsAre("I [m] " + std::string(60, 'a')));
    EXPECT_THAT(Lines(File()),
                ElementsAre("I [m] " + std::string(60, 'b'), "I [m] " + std::string(60, 'c'), "I [m] d"));

    std::filesystem::remove_all(folder_.Path("test.2.log"));
    Write("e");
    EXPECT_THAT(Lines(File()), ElementsAre("I [m] e"));
    EXPECT_THAT(Lines(folder_.Path("test.2.log")), ElementsAre("I [m] " + std::string(60, 'a')));
}

}  // namespace
