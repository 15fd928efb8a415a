#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One line of the report: the same work done by the raw engine and by ours, in microseconds for each operation.
struct Comparison {
    std::string name;
    std::string raw_name;
    double raw_us = 0;
    double ours_us = 0;
};

/// Runs both sides in turn, the one that goes first changing with each round, and takes the best round of
/// each: whatever else the machine does only adds.
/// @param operations  how many a call of `raw` or `ours` does
Comparison Compare(const std::string& name, const std::string& raw_name, int rounds, int operations,
                   const std::function<void()>& raw, const std::function<void()>& ours);

void PrintTable(const std::vector<Comparison>& comparisons);

}  // namespace bench
