// Random sequences of everything that can happen to the state history, beside a model of it.
//
// QAR_SEQUENCES sets how many there are in all, QAR_SEED where they begin.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "sequence.h"

namespace qartest {
namespace {

constexpr uint64_t kSeed = 20240308;
constexpr uint64_t kSequences = 4000;

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
    {"compared: ranges", 1},
};

uint64_t FromEnvironment(const char* name, uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

/// @return nothing that has to be met was met too seldom
bool AllMet(const std::map<std::string, uint64_t>& seen, uint64_t sequences) {
    bool all = true;
    for (const auto& [what, times] : kToBeMet) {
        const auto found = seen.find(what);
        const uint64_t met = found == seen.end() ? 0 : found->second;
        if (met * 1000 >= times * sequences) continue;
        std::cout << "Met too seldom, " << met << " times: " << what << "\n";
        all = false;
    }
    return all;
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
    return sequences < 100 || AllMet(seen, sequences);
}

class ModelTest : public ::testing::TestWithParam<int> {};

TEST_P(ModelTest, RandomSequencesAgree) {
    // In a process of its own, as the library reads the cameras of this node once in a process.
    EXPECT_EXIT(std::exit(RunShard(GetParam()) ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Shards, ModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace qartest
