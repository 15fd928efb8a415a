#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One line of the report.
struct Comparison {
    std::string name;
    std::string raw_name;
    double limit = 0;  ///< highest ratio of ours to raw; 0: the ratio is shown only
    const char* unit = "us";
    double raw = 0;
    double ours = 0;
    double ratio = 0;
    double low = 0;  ///< a quarter of the rounds have a ratio below it
    double high = 0;

    bool IsAboveLimit() const { return limit > 0 && ratio > limit; }
};

/// What is measured: its names, the highest ratio, and the same work done by either side.
struct Work {
    std::string name;
    std::string raw_name;
    double limit = 0;
    int operations = 1;  ///< how many a call of `raw` or `ours` does
    int rounds = 1;
    std::function<void()> prepare = [] {};  ///< before each round, not measured
    std::function<void()> raw;
    std::function<void()> ours;
};

/// Runs both sides in turn, the one that goes first changing with each round. Times are the medians, in microseconds
/// for each operation. The ratio is the median of the rounds' ratios: whatever else the machine does for longer than a
/// round slows both sides of it.
Comparison Compare(const Work& work);

/// The table: PrintHead once, then rows.
void PrintHead();
void PrintRows(const std::vector<Comparison>& comparisons);

}  // namespace bench
