#include "sequence.h"

#include <utility>

namespace qartest {
namespace {

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

std::string Text(const Disagreement& disagreement) {
    std::string text;
    for (size_t i = 0; i < disagreement.steps.size(); ++i) {
        text += "  " + std::to_string(i) + ". " + disagreement.steps[i].text + "\n";
    }
    return text + "Difference:\n" + disagreement.difference + "Statements of the last step:\n" +
           disagreement.statements;
}

}  // namespace

std::optional<Disagreement> RunSequence(SideBySide& sides, uint64_t seed, std::map<std::string, uint64_t>* kinds) {
    sides.StartSequence();
    StepMaker maker(seed, sides);
    std::vector<Step> steps;
    for (int operations = 0; operations < maker.Operations();) {
        steps.push_back(maker.Next());
        steps.back().run(sides);
        if (kinds != nullptr) ++(*kinds)["step: " + steps.back().kind];
        if (!steps.back().operation) continue;
        ++operations;
        std::string difference = sides.Difference();
        if (!difference.empty()) return Disagreement{seed, steps, std::move(difference), sides.Statements()};
    }
    return std::nullopt;
}

Disagreement Shrink(SideBySide& sides, Disagreement disagreement) {
    auto& steps = disagreement.steps;
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
    disagreement.difference = Replay(sides, steps);
    disagreement.statements = sides.Statements();
    return disagreement;
}

std::string Report(SideBySide& sides, const Disagreement& disagreement) {
    return "The library and the model differ after sequence " + std::to_string(disagreement.seed) + ":\n" +
           Text(disagreement) + "Fewer steps that differ as well:\n" + Text(Shrink(sides, disagreement));
}

}  // namespace qartest
