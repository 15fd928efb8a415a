#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "side_by_side.h"
#include "steps.h"

namespace qartest {

/// A sequence after which the library and the model differ.
struct Disagreement {
    uint64_t seed;
    std::vector<Step> steps;
    std::string difference;
    std::string statements;  ///< of the last step
};

/// Runs the sequence of that seed up to the first difference.
/// @param kinds  counts the steps by their kinds
std::optional<Disagreement> RunSequence(SideBySide& sides, uint64_t seed,
                                        std::map<std::string, uint64_t>* kinds = nullptr);

/// Leaves out steps for as long as the two sides still differ.
Disagreement Shrink(SideBySide& sides, Disagreement disagreement);

/// @return the steps and both sides, as they were found and after Shrink
std::string Report(SideBySide& sides, const Disagreement& disagreement);

}  // namespace qartest
