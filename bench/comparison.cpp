#include "bench/comparison.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace bench {

namespace {

/// @param side  names the thread meanwhile, so that a profile can tell the sides apart
double MicrosecondsOf(const char* side, const std::function<void()>& work, int operations) {
    pthread_setname_np(pthread_self(), side);
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - begin;
    pthread_setname_np(pthread_self(), "bench");
    return spent.count() / operations;
}

/// @return the value that `part` of all lie below
double At(double part, std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1) + 0.5)];
}

std::string LimitText(const Comparison& comparison) {
    char text[16] = "";
    if (comparison.limit > 0) {
        std::snprintf(text, sizeof(text), "%.2f", comparison.limit);
    }
    return text;
}

}  // namespace

Comparison Compare(const Work& work) {
    std::vector<double> raw_times;
    std::vector<double> our_times;
    std::vector<double> ratios;
    for (int round = 0; round < work.rounds; ++round) {
        work.prepare();
        for (int turn = 0; turn < 2; ++turn) {
            if ((round + turn) % 2 == 0) {
                raw_times.push_back(MicrosecondsOf("raw", work.raw, work.operations));
            } else {
                our_times.push_back(MicrosecondsOf("ours", work.ours, work.operations));
            }
        }
        ratios.push_back(our_times.back() / raw_times.back());
    }
    Comparison comparison;
    comparison.name = work.name;
    comparison.raw_name = work.raw_name;
    comparison.limit = work.limit;
    comparison.raw = At(0.5, raw_times);
    comparison.ours = At(0.5, our_times);
    comparison.ratio = At(0.5, ratios);
    comparison.low = At(0.25, ratios);
    comparison.high = At(0.75, ratios);
    return comparison;
}

void PrintHead() {
    std::printf("%-46s %11s %11s %6s %12s %6s   %s\n", "", "raw", "ours", "ratio", "half of them", "limit", "raw is");
}

void PrintRows(const std::vector<Comparison>& comparisons) {
    for (const Comparison& c : comparisons) {
        std::printf("%-46s %8.2f %-2s %8.2f %-2s %6.2f  %.2f … %.2f %6s   %s%s\n", c.name.c_str(), c.raw, c.unit,
                    c.ours, c.unit, c.ratio, c.low, c.high, LimitText(c).c_str(), c.raw_name.c_str(),
                    c.IsAboveLimit() ? "   ABOVE THE LIMIT" : "");
    }
}

}  // namespace bench
