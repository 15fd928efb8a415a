#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "plugins/backfill/StatePageJson.h"

namespace backfill {
namespace {

using std::chrono::seconds;

const RangeQueue::Time kNow{seconds(1000)};

// a second of 1970-01-01, as a clock of UTC or of an hour ahead of it shows it
std::string Iso(int64_t second, bool ahead = false) {
    const int64_t shown = second + (ahead ? 3600 : 0);
    char text[64];
    std::snprintf(text, sizeof(text), "1970-01-01T%02d:%02d:%02d%s", static_cast<int>(shown / 3600),
                  static_cast<int>(shown / 60 % 60), static_cast<int>(shown % 60), ahead ? "+01:00" : "+00:00");
    return text;
}

TimeRange Range(int64_t begin, int64_t end) { return {{Iso(begin), begin}, {Iso(end), end}}; }

RangeQueue::Entry Piece(int64_t begin, int64_t end) { return {Range(begin, end), 1, kNow, false}; }

std::vector<std::string> ErrorsIn(const CameraState& state) {
    rapidjson::Document document;
    document.Parse(CameraJson(state, kNow).c_str());
    std::vector<std::string> errors;
    for (const auto& range : document["ranges"].GetArray()) errors.emplace_back(range["last_error"].GetString());
    return errors;
}

TEST(StatePageJsonTest, CameraIsTheseTexts) {
    CameraState state;
    state.key = {101, 2};
    state.points = {{Iso(5), 1}, {Iso(6), 2}};
    state.errors = {{{Iso(10), Iso(20)}, "no \"route\""}};
    state.pieces = {{Range(10, 20), 3, kNow + seconds(61), false},
                    {Range(30, 40), 1, kNow + seconds(61), true},
                    {Range(50, 60), 0, kNow, false}};
    EXPECT_EQ(R"({"camera":101,"busi":2,"points":[{"time":"1970-01-01T00:00:05+00:00","state":1},)"
              R"({"time":"1970-01-01T00:00:06+00:00","state":2}],"ranges":[)"
              R"({"begin":"1970-01-01T00:00:10+00:00","end":"1970-01-01T00:00:20+00:00","seconds":10,"attempts":3,)"
              R"("state":"waiting","next_attempt_s":61,"last_error":"no \"route\""},)"
              R"({"begin":"1970-01-01T00:00:30+00:00","end":"1970-01-01T00:00:40+00:00","seconds":10,"attempts":1,)"
              R"("state":"fetching","next_attempt_s":0,"last_error":""},)"
              R"({"begin":"1970-01-01T00:00:50+00:00","end":"1970-01-01T00:01:00+00:00","seconds":10,"attempts":0,)"
              R"("state":"due","next_attempt_s":0,"last_error":""}]})",
              CameraJson(state, kNow));
}

TEST(StatePageJsonTest, CamerasAreTheseTexts) {
    EXPECT_EQ(
        R"({"cameras":[{"camera":1,"busi":1,"name":"a","points":7,"ranges":2,"fetching":1,"seconds":90,"attempts":4},)"
        R"({"camera":2,"busi":1,"name":"","points":0,"ranges":0,"fetching":0,"seconds":0,"attempts":0}]})",
        CamerasJson({{{1, 1}, "a"}, {{2, 1}, ""}}, {{{1, 1}, 7}, {{3, 1}, 9}}, {{{1, 1}, {2, 1, 90, 4}}}));
}

TEST(StatePageJsonTest, PieceHasTheErrorOfTheFirstToldRangeByItsText) {
    CameraState state;
    state.pieces = {Piece(100, 200), Piece(200, 300), Piece(400, 500)};
    state.errors = {{{Iso(150), Iso(250)}, "of both"},
                    {{Iso(100), Iso(200)}, "of the first"},
                    {{Iso(300), Iso(400)}, "of none"},
                    {{Iso(50, true), Iso(450, true)}, "of all, but its text comes last"},
                    {{"yesterday", "today"}, "of no range"}};
    EXPECT_EQ((std::vector<std::string>{"of the first", "of both", "of all, but its text comes last"}),
              ErrorsIn(state));
}

TEST(StatePageJsonTest, ManyErrorsAreOnTheSamePiecesAsEachLookedUpByItself) {
    std::mt19937 random(11);
    const auto below = [&random](int64_t count) {
        return std::uniform_int_distribution<int64_t>(0, count - 1)(random);
    };
    for (int round = 0; round < 5; ++round) {
        CameraState state;
        for (int64_t begin = below(50); begin < 70000; begin += 1 + below(60)) {
            const int64_t end = begin + 1 + below(60);
            state.pieces.push_back(Piece(begin, end));
            begin = end;
        }
        for (int i = 0; i < 1000; ++i) {
            const int64_t begin = below(70000);
            const int64_t end = begin + (i % 100 == 0 ? below(7000) : below(90));
            const bool ahead = below(2) == 0;
            state.errors[{Iso(begin, ahead), Iso(end, ahead)}] = "error " + std::to_string(i);
        }
        std::vector<std::pair<TimeRange, std::string>> errors;  // by the ranges' texts
        for (const auto& [name, text] : state.errors) errors.emplace_back(*ParseRange({name.first, name.second}), text);
        std::vector<std::string> expected;
        for (const RangeQueue::Entry& piece : state.pieces) {
            const auto first = std::find_if(errors.begin(), errors.end(),
                                            [&](const auto& error) { return error.first.Overlaps(piece.range); });
            expected.push_back(first == errors.end() ? "" : first->second);
        }
        ASSERT_EQ(expected, ErrorsIn(state)) << "round " << round;
    }
}

}  // namespace
}  // namespace backfill
