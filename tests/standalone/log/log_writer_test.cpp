#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/log/LogWriter.h"
#include "standalone/log/temp_log.h"

namespace {

using qarplatform::LogEntry;
using qarplatform::LogOptions;
using qarplatform::LogOutput;
using qarplatform::LogWriter;
using testing::ElementsAre;

/// A writer whose output stalls: a pipe that nobody reads until the test does.
class StalledLogTest : public testing::Test {
protected:
    void SetUp() override {
        LogOptions options;
        options.file = folder_.Path("pipe");
        options.max_bytes = 1U << 30;
        ASSERT_EQ(mkfifo(options.file.c_str(), 0600), 0);
        reader_ = open(options.file.c_str(), O_RDONLY | O_NONBLOCK);
        ASSERT_GE(reader_, 0);
        std::string error;
        ASSERT_TRUE(output_.OpenFile(options, error)) << error;
    }
    void TearDown() override {
        if (reader_ >= 0) close(reader_);
    }

    static LogEntry Entry(std::string text) { return {std::chrono::system_clock::now(), 3, "m", std::move(text)}; }

    static bool Post(LogWriter& writer, std::string text, int level = 3) {
        LogEntry entry = Entry(std::move(text));
        entry.level = level;
        return writer.Post(entry);
    }

    void WaitForOutput() {
        struct pollfd ready {
            reader_, POLLIN, 0
        };
        ASSERT_EQ(poll(&ready, 1, -1), 1);
    }

    /// Posts a line longer than the pipe and waits until the writer is stuck in it.
    void Stall(LogWriter& writer) {
        ASSERT_TRUE(Post(writer, std::string(1 << 20, 'x')));
        WaitForOutput();
    }

    /// Lets the writer write all, and ends it. @return the lines without date and time, long ones by their length
    std::vector<std::string> Drain(std::unique_ptr<LogWriter> writer) {
        std::thread ending([&] { writer.reset(); });
        fcntl(reader_, F_SETFL, 0);
        std::string text;
        std::array<char, 65536> part{};
        for (ssize_t got = 0; (got = read(reader_, part.data(), part.size())) > 0;) {
            text.append(part.data(), static_cast<std::size_t>(got));
        }
        ending.join();
        std::istringstream stream(text);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            line = line.substr(24);
            lines.push_back(line.size() > 1000 ? std::to_string(line.size()) + " characters" : line);
        }
        return lines;
    }

    /// Gathers for so long that what gets through must have been let through.
    static LogWriter::Limits Gathering(std::size_t entries, std::size_t bytes) {
        return {entries, bytes, std::chrono::hours(1)};
    }

    static constexpr const char* kFirst = "1048582 characters";  // a mebibyte and "I [m] "

    TempLogFolder folder_;
    LogOutput output_;
    int reader_ = -1;
};

TEST_F(StalledLogTest, FullQueueDropsLinesAndTellsHowMany) {
    auto writer = std::make_unique<LogWriter>(std::move(output_), LogWriter::Limits{3, 1 << 20});
    Stall(*writer);
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(Post(*writer, "line " + std::to_string(i)));
    EXPECT_THAT(Drain(std::move(writer)),
                ElementsAre(kFirst, "I [m] line 0", "I [m] line 1", "I [m] line 2",
                            "W [QARPlatform] 7 log lines were lost, as the log could not be written fast enough"));
}

TEST_F(StalledLogTest, QueueIsBoundedInBytesToo) {
    auto writer = std::make_unique<LogWriter>(std::move(output_), LogWriter::Limits{100, 10});
    Stall(*writer);
    EXPECT_TRUE(Post(*writer, "12345678"));
    EXPECT_TRUE(Post(*writer, "123"));
    EXPECT_TRUE(Post(*writer, "1"));  // would fit, but comes behind a lost one
    EXPECT_THAT(Drain(std::move(writer)),
                ElementsAre(kFirst, "I [m] 12345678",
                            "W [QARPlatform] 2 log lines were lost, as the log could not be written fast enough"));
}

TEST_F(StalledLogTest, LongLineIsTakenWholeWhenNoneWaits) {
    auto writer = std::make_unique<LogWriter>(std::move(output_), LogWriter::Limits{100, 10});
    Stall(*writer);
    EXPECT_TRUE(Post(*writer, std::string(1 << 20, 'x')));
    EXPECT_THAT(Drain(std::move(writer)), ElementsAre(kFirst, kFirst));
}

TEST_F(StalledLogTest, ASingleLineIsWrittenThoughNoneFollows) {
    LogWriter writer(std::move(output_), LogWriter::Limits());
    EXPECT_TRUE(Post(writer, "line"));
    WaitForOutput();
}

TEST_F(StalledLogTest, WarningIsWrittenAtOnceWithTheLinesBeforeIt) {
    auto writer = std::make_unique<LogWriter>(std::move(output_), Gathering(100, 1 << 20));
    EXPECT_TRUE(Post(*writer, "line"));
    EXPECT_TRUE(Post(*writer, "warning", 4));
    WaitForOutput();
    EXPECT_THAT(Drain(std::move(writer)), ElementsAre("I [m] line", "W [m] warning"));
}

TEST_F(StalledLogTest, HalfAQueueOfLinesIsWrittenAtOnce) {
    LogWriter writer(std::move(output_), Gathering(6, 1 << 20));
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(Post(writer, "line"));
    WaitForOutput();
}

TEST_F(StalledLogTest, HalfAQueueOfBytesIsWrittenAtOnce) {
    LogWriter writer(std::move(output_), Gathering(100, 10));
    EXPECT_TRUE(Post(writer, "123456"));
    WaitForOutput();
}

TEST_F(StalledLogTest, LinesThatAreStillGatheredAreWrittenAtTheEnd) {
    auto writer = std::make_unique<LogWriter>(std::move(output_), Gathering(100, 1 << 20));
    EXPECT_TRUE(Post(*writer, "one"));
    EXPECT_TRUE(Post(*writer, "two"));
    EXPECT_THAT(Drain(std::move(writer)), ElementsAre("I [m] one", "I [m] two"));
}

TEST_F(StalledLogTest, StoppedWriterRefuses) {
    LogWriter writer(std::move(output_), LogWriter::Limits());
    writer.Stop();
    LogEntry entry = Entry("text");
    EXPECT_FALSE(writer.Post(entry));
    EXPECT_EQ(entry.text, "text");
    writer.Stop();
}

}  // namespace
