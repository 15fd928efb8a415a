// Mistakes that are made on purpose, on one side or the other, have to come out as differences.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "sequence.h"

namespace qartest {
namespace {

struct Mistake {
    const char* name;
    std::function<void(World&)> mislead;     ///< what the model sees wrongly
    std::function<void(SideBySide&)> spoil;  ///< what is wrong after a step
    const char* shows;                       ///< what the difference speaks of

    friend std::ostream& operator<<(std::ostream& out, const Mistake& mistake) { return out << mistake.name; }
};

/// Changes the first of the models' lines that `change` can change.
std::function<void(SideBySide&)> InModel(bool (*change)(Line&)) {
    return [change](SideBySide& sides) {
        for (TimelineModel& model : sides.models) {
            for (auto& [key, line] : model.lines) {
                if (change(line)) return;
            }
        }
    };
}

/// Changes the first of the library's rows.
std::function<void(SideBySide&)> InTable(void (*change)(Row&)) {
    return [change](SideBySide& sides) {
        for (HistoryTable& table : sides.tables) {
            if (!table.entries.empty()) return change(table.entries[0].row);
        }
    };
}

const Mistake kMistakes[] = {
    // the model does not know a rule
    {"EveryStatementSucceeds", [](World& world) { world.sql_ok = [ok = world.sql_ok] { return ok() || true; }; },
     nullptr, ""},
    {"GuardIsNotAsked",
     [](World& world) {
         for (auto& [id, device] : world.devices) device.guard = true;
     },
     nullptr, ""},
    {"ADeviceIsOnlineAlways",
     [](World& world) {
         for (auto& [id, device] : world.devices) device.online = true;
     },
     nullptr, ""},
    {"ACameraIsOnlineAlways",
     [](World& world) {
         for (auto& [id, camera] : world.cameras) camera.online = true;
     },
     nullptr, ""},
    {"AClockIsLearnedAlways",
     [](World& world) {
         for (auto& [id, device] : world.devices) device.clock_learned = true;
     },
     nullptr, ""},
    {"EveryCameraIsKnown",
     [](World& world) {
         for (auto& [id, camera] : world.cameras) camera.known = true;
     },
     nullptr, ""},
    {"TheServersClockServesForAll",
     [](World& world) {
         for (auto& [id, device] : world.devices) device.offset = device.error = 0;
     },
     nullptr, ""},
    {"AClockIsOneSecondAhead",
     [](World& world) {
         for (auto& [id, device] : world.devices) ++device.error;
     },
     nullptr, ""},
    {"RowsOfOtherNodesAreLoaded",
     [](World& world) {
         for (const auto& [id, camera] : world.cameras) world.node.insert(id);
     },
     nullptr, "cared cameras"},
    // one thing is wrong
    {"AStateIsAnother", nullptr, InModel([](Line& line) {
         if (line.points.empty()) return false;
         int& state = line.points.rbegin()->second;
         state = state == 2 ? 1 : 2;
         return true;
     }),
     "points of"},
    {"APointIsLost", nullptr, InModel([](Line& line) {
         if (line.points.size() < 3) return false;
         line.points.erase(std::next(line.points.begin()));  // within a range it can be seen nowhere else
         return true;
     }),
     "points of"},
    {"APointsOffsetIsAnother", nullptr, InModel([](Line& line) {
         if (line.points.empty()) return false;
         auto point = line.points.extract(line.points.begin());
         point.key().offset += 60;
         line.points.insert(std::move(point));
         return true;
     }),
     "points of"},
    {"ARangeEndsEarlier", nullptr, InModel([](Line& line) {
         if (line.points.size() < 2 || line.points.rbegin()->second == 2) return false;
         line.points.erase(std::prev(line.points.end()));
         return true;
     }),
     "ranges of"},
    {"ARowIsLost", nullptr, InModel([](Line& line) {
         if (line.rows.empty()) return false;
         line.rows.pop_back();
         return true;
     }),
     "rows of"},
    {"ARowIsThereTwice", nullptr,
     [](SideBySide& sides) {
         for (HistoryTable& table : sides.tables) {
             if (!table.entries.empty()) return table.entries.push_back(table.entries[0]);
         }
     },
     "rows of"},
    {"ARowsTimeIsAnother", nullptr, InTable([](Row& row) { ++row.at.wall; }), "rows of"},
    {"ARowsOffsetIsAnother", nullptr, InTable([](Row& row) { row.at.offset += 60; }), "rows of"},
    {"ARowsUtcTimeIsAnother", nullptr, InTable([](Row& row) { ++row.utc; }), "rows of"},
    {"ARowsStateIsAnother", nullptr, InTable([](Row& row) { row.state += 1; }), "rows of"},
    {"ACameraIsNotCaredFor", nullptr, InModel([](Line& line) { return std::exchange(line.cared, false); }),
     "cared cameras"},
    {"ACameraIsNotPutOff", nullptr, InModel([](Line& line) { return std::exchange(line.put_off, false); }),
     "cameras put off"},
    {"ACallIsMissing", nullptr,
     [](SideBySide& sides) {
         if (!sides.got.told.empty()) sides.got.told.pop_back();
     },
     "calls of the callbacks"},
    {"ACallComesTwice", nullptr,
     [](SideBySide& sides) {
         if (!sides.got.told.empty()) sides.got.told.push_back(sides.got.told.back());
     },
     "calls of the callbacks"},
    {"ACallIsOfAnotherType", nullptr,
     [](SideBySide& sides) {
         if (!sides.got.told.empty()) ++sides.got.told.back().busi;
     },
     "calls of the callbacks"},
    {"ACallsRangeIsShorter", nullptr,
     [](SideBySide& sides) {
         if (sides.got.told.empty()) return;
         Moment& end = sides.got.told[0].ranges.begin()->second[0].second;
         end = end.After(-1);
     },
     "calls of the callbacks"},
    {"AResultIsAnother", nullptr,
     [](SideBySide& sides) {
         if (!sides.got.results.empty()) sides.got.results.back() = !sides.got.results.back().value_or(true);
     },
     "result"},
    {"AStatementIsLeftOut", nullptr, [](SideBySide& sides) { sides.world.sql_ok(); }, "number of statements"},
};

class MistakesTest : public ::testing::TestWithParam<Mistake> {
protected:
    SideBySide sides_{{{11, 12, 21}, "AAA-8", 28800}};
};

TEST_P(MistakesTest, AreFound) {
    sides_.mislead = GetParam().mislead;
    sides_.spoil = GetParam().spoil;
    std::optional<Disagreement> found;
    for (uint64_t seed = 1; !found && seed <= 200; ++seed) found = RunSequence(sides_, seed);
    ASSERT_TRUE(found);
    EXPECT_NE(found->difference.find(GetParam().shows), std::string::npos) << found->difference;

    const Disagreement fewer = Shrink(sides_, *found);
    EXPECT_FALSE(fewer.difference.empty());
    EXPECT_LE(fewer.steps.size(), found->steps.size());
    const std::string report = Report(sides_, *found);
    EXPECT_NE(report.find("after sequence " + std::to_string(found->seed)), std::string::npos);
    EXPECT_NE(report.find(fewer.steps.back().text), std::string::npos);
    EXPECT_NE(report.find(fewer.difference), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(All, MistakesTest, ::testing::ValuesIn(kMistakes),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(MistakesTest, NoneMeansNoDifference) {
    SideBySide sides({{11, 12, 21}, "AAA-8", 28800});
    for (uint64_t seed = 1; seed <= 200; ++seed) {
        const auto found = RunSequence(sides, seed);
        ASSERT_FALSE(found) << Report(sides, *found);
    }
}

}  // namespace
}  // namespace qartest
