#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <regex>
#include <thread>

#include "LogSink.h"
#include "Mox/Base/Error.h"
#include "standalone/log/temp_log.h"

namespace {

using Mox::Base::Error;
using qarplatform::LogOptions;
using qarplatform::StartLog;
using qarplatform::StopLog;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(LogSinkTest, LineHasLocalTimeLevelModuleAndText) {
    setenv("TZ", "<+0530>-5:30", 1);
    tzset();
    TempLog log;
    const std::time_t before = std::time(nullptr);
    LogSinkWrite(4, "QARCommon", "[%s]text %d", "f", 5);
    StopLog();
    const std::string line = ReadLogFile(log.File());
    std::smatch match;
    ASSERT_TRUE(std::regex_match(
        line, match, std::regex(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\.\d{3} W \[QARCommon\] \[f\]text 5\n)")))
        << line;
    std::tm written{};
    ASSERT_NE(strptime(match[1].str().c_str(), "%Y-%m-%d %H:%M:%S", &written), nullptr);
    EXPECT_NEAR(static_cast<double>(timegm(&written) - 19800), static_cast<double>(before), 5.0);
}

TEST(LogSinkTest, EachLevelHasItsLetter) {
    TempLog log;
    for (int level = 2; level <= 6; ++level) LogSinkWrite(level, "m", "%d", level);
    EXPECT_THAT(log.Lines(), ElementsAre("D [m] 2", "I [m] 3", "W [m] 4", "E [m] 5", "C [m] 6"));
}

TEST(LogSinkTest, FormatOfALineBelowTheLevelIsNotTouched) {
    TempLog log(4);
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    // reading the format would end the process
    auto* write = static_cast<void (*)(int, const char*, const char*, ...)>(&LogSinkWrite);
    write(3, "m", static_cast<const char*>(page));
    write(2, "m", static_cast<const char*>(page));
    munmap(page, 4096);
    LogSinkWrite(4, "m", "kept");
    EXPECT_THAT(log.Lines(), ElementsAre("W [m] kept"));
}

TEST(LogSinkTest, NewlineAtTheEndIsNotDoubledAndFurtherLinesAreIndented) {
    TempLog log;
    LogSinkWrite(3, "m", "one\n");
    LogSinkWrite(3, "m", "two\n[%s(%d)]\n", "a.cpp", 7);
    LogSinkWrite(3, "m", "\n");
    LogSinkWrite(3, "m", "%s", "");
    EXPECT_THAT(log.Lines(), ElementsAre("I [m] one", "I [m] two", "    [a.cpp(7)]", "I [m] ", "I [m] "));
}

TEST(LogSinkTest, LineOfAMebibyteIsWrittenWhole) {
    TempLog log;
    std::string text(1 << 20, 'x');
    text.back() = 'y';
    LogSinkWrite(3, "m", "%s", text.c_str());
    EXPECT_THAT(log.Lines(), ElementsAre("I [m] " + text));
}

TEST(LogSinkTest, LastErrorAndErrnoStay) {
    TempLog log;
    Error::SetLastError(Error::ErrorCode(7, 8));
    errno = ENOENT;
    LogSinkWrite(5, "m", "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(7, 8));
}

TEST(LogSinkTest, BeforeTheLogStartsWarningsAndWorseGoToStderr) {
    testing::internal::CaptureStderr();
    LogSinkWrite(3, "m", "information");
    LogSinkWrite(4, "m", "warning");
    LogSinkWrite(5, "m", "error\n");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(text, std::regex(R"(\S+ \S+ W \[m\] warning\n\S+ \S+ E \[m\] error\n)"))) << text;
}

TEST(LogSinkTest, AfterTheLogStopsLinesGoToStderr) {
    TempLog log(3);
    LogSinkWrite(3, "m", "in the file");
    StopLog();
    testing::internal::CaptureStderr();
    LogSinkWrite(3, "m", "after");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("I [m] after\n"));
    EXPECT_THAT(log.Lines(), ElementsAre("I [m] in the file"));
}

TEST(LogSinkTest, WithoutAFileLinesGoToStderr) {
    testing::internal::CaptureStderr();
    std::string error;
    ASSERT_TRUE(StartLog(LogOptions(), error));
    LogSinkWrite(2, "m", "debug");
    LogSinkWrite(3, "m", "information");
    StopLog();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(text, std::regex(R"(\S+ \S+ I \[m\] information\n)"))) << text;
}

TEST(LogSinkTest, FileThatCannotBeOpenedIsNamedWithTheReason) {
    TempLogFolder folder;
    LogOptions options;
    options.file = folder.Path("");
    std::string error;
    EXPECT_FALSE(StartLog(options, error));
    EXPECT_EQ(error, "cannot open log file " + options.file + ": Is a directory");

    std::ofstream(folder.Path("plain")) << "x";
    options.file = folder.Path("plain/test.log");
    EXPECT_FALSE(StartLog(options, error));
    EXPECT_EQ(error, "cannot open log file " + options.file + ": Not a directory");
}

TEST(LogSinkTest, RefusedStartLeavesTheRunningLog) {
    TempLog log;
    LogOptions options;
    options.file = "/proc/no/such/folder/test.log";
    std::string error;
    EXPECT_FALSE(StartLog(options, error));
    LogSinkWrite(3, "m", "still here");
    EXPECT_THAT(log.Lines(), ElementsAre("I [m] still here"));
}

TEST(LogSinkTest, FileIsReadableByItsGroupOnlyAndNotLeftToChildren) {
    umask(0);
    TempLogFolder folder;
    LogOptions options;
    options.file = folder.Path("new/folder/test.log");
    std::string error;
    ASSERT_TRUE(StartLog(options, error)) << error;
    struct stat status {};
    ASSERT_EQ(stat(options.file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);

    int open_descriptors = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) != options.file) continue;
        ++open_descriptors;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(open_descriptors, 1);
    StopLog();
}

TEST(LogSinkTest, FullFileIsRotatedAndOldOnesGo) {
    umask(0);
    TempLogFolder folder;
    LogOptions options;
    options.file = folder.Path("test.log");
    options.max_bytes = 1000;
    options.files = 2;
    std::string error;
    ASSERT_TRUE(StartLog(options, error)) << error;
    for (int i = 0; i < 40; ++i) LogSinkWrite(3, "m", "line %d %s", i, std::string(60, 'x').c_str());
    StopLog();
    EXPECT_THAT(ReadLogFile(options.file), HasSubstr("line 39 "));
    for (const char* name : {"test.log", "test.1.log", "test.2.log"}) {
        struct stat status {};
        ASSERT_EQ(stat(folder.Path(name).c_str(), &status), 0) << name;
        EXPECT_LE(status.st_size, 1000);
        EXPECT_EQ(status.st_mode & 0777U, 0640U);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path("test.3.log")));
}

TEST(LogSinkTest, NewLogGoesOnBehindAnOldOne) {
    TempLogFolder folder;
    LogOptions options;
    options.file = folder.Path("test.log");
    std::string error;
    for (const char* text : {"first", "second"}) {
        ASSERT_TRUE(StartLog(options, error)) << error;
        LogSinkWrite(3, "m", "%s", text);
        StopLog();
    }
    EXPECT_THAT(ReadLogFile(options.file), testing::ContainsRegex("first\n.*second\n"));
}

TEST(LogSinkTest, FullDiskIsToldOnceOnStderrAndTroublesNobody) {
    testing::internal::CaptureStderr();
    LogOptions options;
    options.file = "/dev/full";
    std::string error;
    ASSERT_TRUE(StartLog(options, error)) << error;
    for (int i = 0; i < 2000; ++i) LogSinkWrite(3, "m", "line %d %s", i, std::string(60, 'x').c_str());
    StopLog();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(text, std::regex("log lines cannot be written: .*No space left on device\n"))) << text;
}

TEST(LogSinkTest, LinesOfManyThreadsAreWholeAndNoneIsLost) {
    TempLog log;
    constexpr int kThreads = 8;
    constexpr int kLines = 500;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < kLines; ++i) LogSinkWrite(3, "m", "%d %d", thread, i);
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::vector<int> next(kThreads, 0);
    for (const std::string& line : log.Lines()) {
        int thread = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "I [m] %d %d", &thread, &number), 2) << line;
        EXPECT_EQ(number, next.at(static_cast<std::size_t>(thread))++);
    }
    EXPECT_THAT(next, testing::Each(kLines));
}

}  // namespace
