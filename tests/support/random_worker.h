#pragma once

#include <cstddef>
#include <random>
#include <set>
#include <vector>

namespace test_support {

/// What one thread of a stress test chooses by; each has a generator of its own.
struct RandomWorker {
    int number;
    std::mt19937 random;

    int Below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); }
    bool Once(int in) { return Below(in) == 0; }
    template <class T>
    const T& Of(const std::vector<T>& all) {
        return all[static_cast<std::size_t>(Below(static_cast<int>(all.size())))];
    }
    /// Each of them with an even chance.
    template <class Numbers>
    std::set<int> SomeOf(const Numbers& all) {
        std::set<int> some;
        for (const int number_of_all : all) {
            if (Once(2)) some.insert(number_of_all);
        }
        return some;
    }
};

}  // namespace test_support
