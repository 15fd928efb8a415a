#include "bench/comparison.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace bench {

namespace {

double MicrosecondsOf(const std::function<void()>& work, int operations) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - begin;
    return spent.count() / operations;
}

}  // namespace

Comparison Compare(const std::string& name, const std::string& raw_name, int rounds, int operations,
                   const std::function<void()>& raw, const std::function<void()>& ours) {
    std::vector<double> raw_times;
    std::vector<double> our_times;
    for (int round = 0; round < rounds; ++round) {
        for (int turn = 0; turn < 2; ++turn) {
            if ((round + turn) % 2 == 0) {
                raw_times.push_back(MicrosecondsOf(raw, operations));
            } else {
                our_times.push_back(MicrosecondsOf(ours, operations));
            }
        }
    }
    return Comparison{name, raw_name, *std::min_element(raw_times.begin(), raw_times.end()),
                      *std::min_element(our_times.begin(), our_times.end())};
}

void PrintTable(const std::vector<Comparison>& comparisons) {
    std::printf("%-44s %12s %12s %8s   %s\n", "", "raw", "ours", "ratio", "raw is");
    for (const Comparison& c : comparisons) {
        std::printf("%-44s %9.2f us %9.2f us %8.2f   %s\n", c.name.c_str(), c.raw_us, c.ours_us, c.ours_us / c.raw_us,
                    c.raw_name.c_str());
    }
}

}  // namespace bench
