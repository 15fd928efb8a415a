#pragma once

#include <string>

namespace bench {

struct Options {
    int cameras = 10000;
    int rows = 600000;     ///< of the history table, spread evenly over the cameras and business types
    int rounds = 5;        ///< of what goes over the whole table; shorter work has kShortRounds times as many
    int changes = 1000;    ///< time line changes of a round
    int messages = 20000;  ///< messages of a round, each subscriber's counted
    int requests = 10000;  ///< HTTP requests of a round
    std::string only;      ///< the one part to run; "" for all
    std::string folder;    ///< of the databases and the log
};

inline constexpr int kShortRounds = 8;

}  // namespace bench
