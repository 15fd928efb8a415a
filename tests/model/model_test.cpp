// Random sequences of everything that can happen to the state history, beside a model of it.
//
// QAR_SEQUENCES sets how many there are in all, QAR_SEED where they begin.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sequence.h"

namespace qartest {
namespace {

constexpr uint64_t kSeed = 20240308;
constexpr uint64_t kSequences = 8000;

// A shard each.
const Setting kSettings[] = {
    {{11, 12, 21, 41}, "UTC0", 0},      {{11, 12, 21, 31, 41}, "AAA-8", 28800},
    {{11, 21}, "AAA5:30", -19800},      {{}, "UTC0", 0},
    {{11, 12, 21}, "AAA-8", 28800},     {{31}, "UTC0", 0},
    {{11, 12, 21, 31}, "AAA3", -10800}, {{12, 41}, "AAA-5:45", 20700},
};
constexpr int kShards = static_cast<int>(std::size(kSettings));

// What has to be met, and how often at least in a thousand sequences.
const std::pair<const char*, uint64_t> kToBeMet[] = {
    {"step: add another state", 200},
    {"step: add state 1", 200},
    {"step: add state 2", 500},
    {"step: all clocks are learned", 20},
    {"step: camera online or not", 200},
    {"step: care", 500},
    {"step: care, other form", 500},
    {"step: check", 500},
    {"step: clock goes wrong or right", 200},
    {"step: clock learned or not", 500},
    {"step: delete a range", 500},
    {"step: deletion", 200},
    {"step: deletion by camera", 200},
    {"step: device online or not", 200},
    {"step: event of a camera", 500},
    {"step: event of a device", 500},
    {"step: event of no concern", 50},
    {"step: expiry", 500},
    {"step: guard changes", 200},
    {"step: known or not", 200},
    {"step: move out", 200},
    {"step: notification", 200},
    {"step: offset goes back", 100},
    {"step: offset goes forward", 100},
    {"step: register", 1000},
    {"step: restart", 200},
    {"step: rows from elsewhere", 200},
    {"step: tick of no sweep", 100},
    {"step: time passes", 2000},
    {"step: uninit", 20},
    {"step: unregister", 100},
    {"add: a moment that no calendar has", 10},
    {"add: a second's other", 100},
    {"add: an earlier moment", 200},
    {"add: the same once more", 50},
    {"rows taken over", 20},
    {"cameras cared for from the table on", 200},
    {"moved out with a timeline", 50},
    {"put off", 100},
    {"deletion of a camera that stays put off", 5},
    {"none put off after a retry", 20},
    {"handled later", 500},
    {"nothing posted, as the queue was full", 100},
    {"told: at a retry", 20},
    {"told: at care", 500},
    {"told: by an event", 20},
    {"told: hourly", 200},
    {"a callback threw, and it ended", 50},
    {"a callback threw, and it went on", 20},
    {"statement: add a row", 2000},
    {"statement: delete a range", 200},
    {"statement: delete of a camera", 50},
    {"statement: delete under a business type", 100},
    {"statement: delete what expired", 500},
    {"statement: move a row", 200},
    {"statement: read all", 1000},
    {"statement: read some cameras", 500},
    {"statement: set a row's state", 100},
    {"failed statement: add a row", 100},
    {"failed statement: delete a range", 10},
    {"failed statement: delete of a camera", 2},
    {"failed statement: delete under a business type", 5},
    {"failed statement: delete what expired", 20},
    {"failed statement: move a row", 10},
    {"failed statement: read all", 50},
    {"failed statement: read some cameras", 20},
    {"failed statement: set a row's state", 2},
    {"compared: a camera of both plug-ins", 1000},
    {"compared: a camera under several business types", 1000},
    {"compared: an emptied timeline", 500},
    {"compared: points with the offset going back", 500},
    {"compared: points with the offset going forward", 1000},
    {"compared: ranges", 5000},
    {"compared: rows", 10000},
};
// What a node without cameras never does.
const std::set<std::string> kOnlyWithCameras = {"cameras cared for from the table on", "statement: read all",
                                                "failed statement: read all"};

uint64_t FromEnvironment(const char* name, uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

/// @return what has to be met and was met too seldom, a line each
std::string Missing(const std::map<std::string, uint64_t>& seen, uint64_t sequences, bool with_cameras) {
    std::string missing;
    for (const auto& [what, times] : kToBeMet) {
        const auto found = seen.find(what);
        const uint64_t met = found == seen.end() ? 0 : found->second;
        if (met * 1000 >= times * sequences || (!with_cameras && kOnlyWithCameras.count(what) != 0)) continue;
        missing += "Met too seldom, " + std::to_string(met) + " times: " + what + "\n";
    }
    return missing;
}

bool RunShard(int shard) {
    const uint64_t first = FromEnvironment("QAR_SEED", kSeed);
    const uint64_t all = FromEnvironment("QAR_SEQUENCES", kSequences);
    SideBySide sides(kSettings[shard]);
    std::map<std::string, uint64_t> seen;
    uint64_t sequences = 0;
    for (uint64_t number = static_cast<uint64_t>(shard); number < all; number += kShards) {
        if (auto disagreement = RunSequence(sides, first + number, &seen)) {
            std::cout << Report(sides, *disagreement) << "Again: QAR_SEED=" << first + number - uint64_t(shard)
                      << " QAR_SEQUENCES=" << kShards << " with the same shard\n";
            return false;
        }
        ++sequences;
    }
    for (const auto& [what, times] : sides.seen) seen[what] += times;
    std::cout << "seed " << first << ", cameras of this node " << List(kSettings[shard].node)
              << ", TZ=" << kSettings[shard].time_zone << ": " << sequences << " sequences agree\n";
    for (const auto& [what, times] : seen) std::cout << "  " << times << "  " << what << "\n";
    const std::string missing = sequences < 100 ? "" : Missing(seen, sequences, !kSettings[shard].node.empty());
    std::cout << missing;
    return missing.empty();
}

class ModelTest : public ::testing::TestWithParam<int> {};

TEST_P(ModelTest, RandomSequencesAgree) {
    // In a process of its own, as the library reads the cameras of this node once in a process.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(RunShard(GetParam()) ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST(ModelTest, WhatIsMissingIsSaid) {
    std::map<std::string, uint64_t> seen;
    for (const auto& [what, times] : kToBeMet) seen[what] = times;
    EXPECT_EQ(Missing(seen, 1000, true), "");
    seen["statement: read all"] = 0;
    EXPECT_EQ(Missing(seen, 1000, true), "Met too seldom, 0 times: statement: read all\n");
    EXPECT_EQ(Missing(seen, 1000, false), "");
    seen.erase("told: hourly");
    EXPECT_EQ(Missing(seen, 1000, false), "Met too seldom, 0 times: told: hourly\n");
}

INSTANTIATE_TEST_SUITE_P(Shards, ModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace qartest
