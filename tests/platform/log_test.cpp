#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "LogSink.h"
#include "Mox/Base/Error.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class LogTest : public PlatformTest {};

TEST_F(LogTest, LineIsRenderedWithItsModule) {
    platform_->StartLog(2);
    LogSinkWrite(3, "QARCommon", "[%s]count %d, id %lld, text %s[%s(%d)]", "qar::F", -5, 1LL << 40, "abc", "a.cpp", 7);
    EXPECT_THAT(platform_->LogText(), HasSubstr("[qar::F]count -5, id 1099511627776, text abc[a.cpp(7)]"));
}

TEST_F(LogTest, LinesBelowTheLevelAreLeftOutAndTheirFormatIsNotTouched) {
    platform_->StartLog(4);
    const auto* unreadable = reinterpret_cast<const char*>(1);
    LogSinkWrite(2, "QARCommon", "debug %s", unreadable);
    LogSinkWrite(3, "QARCommon", "information %s", unreadable);
    LogSinkWrite(4, "QARCommon", "a warning");
    LogSinkWrite(5, "QARCommonMsg", "an error");
    LogSinkWrite(6, "QarUtilsPerf", "a critical line");
    const std::string text = platform_->LogText();
    EXPECT_THAT(text, Not(HasSubstr("debug")));
    EXPECT_THAT(text, Not(HasSubstr("information")));
    EXPECT_THAT(text, HasSubstr("a warning"));
    EXPECT_THAT(text, HasSubstr("an error"));
    EXPECT_THAT(text, HasSubstr("a critical line"));
}

TEST_F(LogTest, LineOfAMegabyteIsNotCut) {
    platform_->StartLog(2);
    const std::string body(1 << 20, 'x');
    LogSinkWrite(5, "QARCommon", "<%s>", body.c_str());
    EXPECT_THAT(platform_->LogText().find("<" + body + ">"), testing::Ne(std::string::npos));
}

TEST_F(LogTest, NewlineInAFormatIsPartOfTheLine) {
    platform_->StartLog(2);
    LogSinkWrite(3, "QARCommon", "first half\nsecond half");
    const std::string text = platform_->LogText();
    const auto first = text.find("first half\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(text.find("second half", first), std::string::npos);
}

TEST_F(LogTest, LastErrorStaysAsItWas) {
    using Mox::Base::Error;
    platform_->StartLog(4);
    Error::SetLastError(Error::ErrorCode(3, 9));
    LogSinkWrite(5, "QARCommon", "written");
    LogSinkWrite(2, "QARCommon", "not written");
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(3, 9));
}

TEST_F(LogTest, LinesOfSeveralThreadsAreAllThereAndWhole) {
    platform_->StartLog(2);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 100; ++i) LogSinkWrite(3, "QARCommon", "<thread %d line %d>", thread, i);
        });
    }
    for (auto& thread : threads) thread.join();
    const std::string text = platform_->LogText();
    for (int thread = 0; thread < 4; ++thread) {
        for (int i = 0; i < 100; ++i) {
            EXPECT_THAT(text, HasSubstr("<thread " + std::to_string(thread) + " line " + std::to_string(i) + ">"));
        }
    }
}

}  // namespace
}  // namespace platform_tests
