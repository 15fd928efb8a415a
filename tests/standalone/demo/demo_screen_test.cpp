#include <gtest/gtest.h>

#include "demo_cameras/time_text.h"
#include "demo_run/screen.h"
#include "demo_run/terminal.h"

namespace demo {
namespace {

std::vector<Mark> Marks(const std::string& letters) {
    std::vector<Mark> marks;
    for (const char letter : letters) {
        marks.push_back(static_cast<Mark>(std::string(" =#.x~").find(letter)));
    }
    return marks;
}

class DemoScreenTest : public testing::Test {
protected:
    DemoScreenTest() {
        picture_.seed = 1;
        picture_.scale = 600;
        picture_.now_s = ParseIso("2026-11-01T02:12:30Z")->utc_s;
        picture_.phase = "6 s left";
        picture_.begin_s = ParseIso("2026-10-31T22:00:00Z")->utc_s;
        picture_.step_s = 1800;
        picture_.cameras = {
            {101, 28800, true, Mark::kFetched, Marks("==##=xx~..                                           "), 3, 2},
            {102, -19800, false, Mark::kFetching, Marks("..                                                   "), 1,
             0}};
        picture_.told = 4;
        picture_.closed = 2;
        picture_.open = 2;
        picture_.outages = 2;
        picture_.events = {"02:10 first", "02:11 second"};
    }

    Picture picture_;
    ScreenStyle style_;
};

TEST_F(DemoScreenTest, ThePictureWithoutColourAndWithoutUtf8) {
    const std::vector<std::string> expected{
        "QARCommon demo   seed 1   clock x600   2026-11-01 02:12 UTC   6 s left",
        "",
        "cam   zone 7d     00:00   04:00   08:00   12:00   16:00   20:00      now   done",
        "101 +08:00 #  ==##=xx~..                                            away    2/3",
        "102 -05:30 ~  ..                                                            0/1",
        "",
        "= in order   x gap   ~ being fetched   # fetched   . unknown   7d: week before",
        "outages 2   ranges told 4   fetched 2   open 2",
        "  02:10 first",
        "  02:11 second"};
    EXPECT_EQ(Draw(picture_, style_), expected);
}

TEST_F(DemoScreenTest, Utf8HasSymbolsOfItsOwn) {
    style_.utf8 = true;
    EXPECT_EQ(Draw(picture_, style_)[3], "101 +08:00 █  ━━██━░░▒··" + std::string(43, ' ') + " away    2/3");
}

TEST_F(DemoScreenTest, ColourGoesRoundEachRunOfEqualMarks) {
    style_.colour = true;
    EXPECT_EQ(Draw(picture_, style_)[3],
              "101 +08:00 \x1b[36m#\x1b[0m  \x1b[32m==\x1b[0m\x1b[36m##\x1b[0m\x1b[32m=\x1b[0m\x1b[31mxx\x1b[0m"
              "\x1b[33m~\x1b[0m\x1b[90m..\x1b[0m" +
                  std::string(43, ' ') + " \x1b[31maway\x1b[0m    2/3");
}

TEST_F(DemoScreenTest, TwelveCamerasAndTheNewestEventsFit80By24) {
    const CameraLine camera = picture_.cameras.front();
    picture_.cameras.assign(12, camera);
    for (int i = 0; i < 40; ++i) {
        picture_.events.push_back(std::to_string(i) + std::string(100, 'x'));
    }
    const std::vector<std::string> lines = Draw(picture_, style_);
    EXPECT_EQ(lines.size(), 23U);
    for (const std::string& line : lines) {
        EXPECT_LE(line.size(), 79U) << line;
    }
    EXPECT_EQ(lines.back().substr(0, 5), "  39x");
}

TEST_F(DemoScreenTest, AWiderTerminalHasALongerTimeLine) {
    EXPECT_EQ(TimeLinePlaces(style_), 53U);
    style_.columns = 120;
    EXPECT_EQ(TimeLinePlaces(style_), 93U);
    style_.columns = 20;
    EXPECT_EQ(TimeLinePlaces(style_), 10U);
}

TEST(DemoTerminalTest, ColourNeedsATerminalThatIsNotDumbAndNobodyWhoForbidsIt) {
    EXPECT_TRUE(AbilitiesOf(true, "xterm", nullptr, "UTF-8").style.colour);
    EXPECT_TRUE(AbilitiesOf(true, "xterm", "", "UTF-8").style.colour);
    EXPECT_FALSE(AbilitiesOf(true, "xterm", "1", "UTF-8").style.colour);
    EXPECT_FALSE(AbilitiesOf(true, "dumb", nullptr, "UTF-8").style.colour);
    EXPECT_FALSE(AbilitiesOf(true, nullptr, nullptr, "UTF-8").style.colour);
    EXPECT_FALSE(AbilitiesOf(false, "xterm", nullptr, "UTF-8").style.colour);
}

TEST(DemoTerminalTest, ADumbTerminalIsOneThatCannotBeDrawnOver) {
    EXPECT_TRUE(AbilitiesOf(true, "dumb", nullptr, "UTF-8").terminal);
    EXPECT_FALSE(AbilitiesOf(true, "dumb", nullptr, "UTF-8").cursor);
    EXPECT_TRUE(AbilitiesOf(true, "xterm", "1", "UTF-8").cursor);
}

TEST(DemoTerminalTest, OnlyAUtf8LocaleGetsUtf8) {
    EXPECT_TRUE(AbilitiesOf(true, "xterm", nullptr, "UTF-8").style.utf8);
    EXPECT_FALSE(AbilitiesOf(true, "xterm", nullptr, "ANSI_X3.4-1968").style.utf8);
}

}  // namespace
}  // namespace demo
