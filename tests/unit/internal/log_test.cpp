#include "internal/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "mock/Platform.h"

namespace qar {
namespace logtest {

using qarmock::LineIn;
using ::testing::ElementsAre;
using ::testing::EndsWith;

class Speaker {
public:
    Speaker() { QAR_LOG(2, "QARCommon", "[%s]in constructor[%s(%d)]"); }
    void Speak(const std::string& text) const { QAR_LOG(3, "QARCommon", "[%s]%s\n[%s(%d)]", text.c_str()); }
    static void SpeakInLambda() {
        const auto speak = [](int value) { QAR_LOG(4, "QARCommonMsg", "[%s]%d[%s(%d)]", value); };
        speak(7);
    }
};

class LogTest : public ::testing::Test {
protected:
    qarmock::Platform platform;
};

TEST_F(LogTest, LineCarriesTheFullNameOfTheFunctionAlsoInsideALambda) {
    const Speaker speaker;
    speaker.Speak("spoken");
    Speaker::SpeakInLambda();
    EXPECT_THAT(platform.log.Lines(),
                ElementsAre(LineIn("qar::logtest::Speaker::Speaker", 2, "QARCommon", "in constructor"),
                            LineIn("qar::logtest::Speaker::Speak", 3, "QARCommon", "spoken\n"),
                            LineIn("qar::logtest::Speaker::SpeakInLambda", 4, "QARCommonMsg", "7")));
}

TEST_F(LogTest, LineOfAHelperCarriesTheNameOfTheFunctionItWorksFor) {
    const auto help = [](const char* function) { QAR_LOG_FOR(function, 4, "QARCommon", "[%s]%d missed[%s(%d)]", 7); };
    help("qar::logtest::Speaker::Speak");
    EXPECT_THAT(platform.log.Lines(), ElementsAre(LineIn("qar::logtest::Speaker::Speak", 4, "QARCommon", "7 missed")));
}

TEST_F(LogTest, FormatIsPassedOnAsItStandsWithFileAndLineBehind) {
    QAR_LOG(5, "QARCommon", "[%s]no newline before the end[%s(%d)]");
    const int line = __LINE__ - 1;
    const auto lines = platform.log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].format, "[%s]no newline before the end[%s(%d)]");
    EXPECT_THAT(lines[0].file, EndsWith("log_test.cpp"));
    EXPECT_EQ(lines[0].line, line);
}

}  // namespace logtest
}  // namespace qar
