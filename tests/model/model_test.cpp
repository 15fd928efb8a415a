// Random sequences of everything that can happen to the state history, beside a model of it.
//
// QAR_MODEL_SEQUENCES sets how many there are in all, QAR_MODEL_SEED where they begin.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "side_by_side.h"
#include "steps.h"

namespace qartest {
namespace {

constexpr uint64_t kSeed = 20240308;

// One case each, so one process each under CTest.
const Setting kSettings[] = {
    {{11, 12, 21, 41}, "UTC0", 0},      {{11, 12, 21, 31, 41}, "AAA-8", 28800},
    {{11, 21}, "AAA5:30", -19800},      {{}, "UTC0", 0},
    {{11, 12, 21}, "AAA-8", 28800},     {{31}, "UTC0", 0},
    {{11, 12, 21, 31}, "AAA3", -10800}, {{12, 41}, "AAA-5:45", 20700},
};
constexpr int kShards = static_cast<int>(std::size(kSettings));

uint64_t FromEnvironment(const char* name, uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

/// @return the difference after the last of the steps that is run, "" when there is none
std::string Replay(SideBySide& sides, const std::vector<Step>& steps) {
    sides.StartSequence();
    std::string difference;
    for (const Step& step : steps) {
        step.run(sides);
        if (step.operation) difference = sides.Difference();
        if (!difference.empty()) break;
    }
    return difference;
}

/// Leaves out steps for as long as the two sides still differ.
void Shrink(SideBySide& sides, std::vector<Step>& steps) {
    for (bool shorter = true; shorter;) {
        shorter = false;
        for (size_t i = steps.size(); i-- > 1;) {  // the first one sets the scene
            std::vector<Step> fewer = steps;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
            if (Replay(sides, fewer).empty()) continue;
            steps = std::move(fewer);
            shorter = true;
        }
    }
}

std::string Text(const std::vector<Step>& steps) {
    std::string text;
    for (size_t i = 0; i < steps.size(); ++i) text += "  " + std::to_string(i) + ". " + steps[i].text + "\n";
    return text;
}

class ModelTest : public ::testing::TestWithParam<int> {
protected:
    /// Runs one sequence. @return its number of operations; 0 when the two sides differed
    int Run(uint64_t seed) {
        sides_.StartSequence();
        StepMaker maker(seed, sides_);
        std::vector<Step> steps;
        for (int operations = 0; operations < maker.Operations();) {
            steps.push_back(maker.Next());
            steps.back().run(sides_);
            if (!steps.back().operation) continue;
            ++operations;
            const std::string difference = sides_.Difference();
            if (difference.empty()) continue;
            const std::string all = Text(steps);
            const std::string statements = sides_.Statements();
            Shrink(sides_, steps);
            const std::string difference_of_fewer = Replay(sides_, steps);
            ADD_FAILURE() << "The library and the model differ after sequence " << seed << ":\n"
                          << all << "Difference:\n"
                          << difference << "Statements of the last step:\n"
                          << statements << "Fewer steps that differ as well:\n"
                          << Text(steps) << "Their difference:\n"
                          << difference_of_fewer << "Statements of their last step:\n"
                          << sides_.Statements();
            return 0;
        }
        return maker.Operations();
    }

    const Setting& setting_ = kSettings[GetParam()];
    SideBySide sides_{setting_};
};

TEST_P(ModelTest, RandomSequencesAgree) {
    const uint64_t first = FromEnvironment("QAR_MODEL_SEED", kSeed);
    const uint64_t all = FromEnvironment("QAR_MODEL_SEQUENCES", MODEL_SEQUENCES);
    uint64_t sequences = 0;
    uint64_t operations = 0;
    for (uint64_t number = static_cast<uint64_t>(GetParam()); number < all; number += kShards) {
        const int operations_of_it = Run(first + number);
        if (operations_of_it == 0) {
            std::cout << "Again: QAR_MODEL_SEED=" << first + number - static_cast<uint64_t>(GetParam())
                      << " QAR_MODEL_SEQUENCES=" << kShards << " with the same case\n";
            return;
        }
        ++sequences;
        operations += static_cast<uint64_t>(operations_of_it);
    }
    std::cout << "seed " << first << ", "
              << "cameras of this node " << List(sides_.world.node) << ", TZ=" << setting_.time_zone << ": "
              << sequences << " sequences, " << operations << " operations agree\n";
}

INSTANTIATE_TEST_SUITE_P(Shards, ModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace qartest
