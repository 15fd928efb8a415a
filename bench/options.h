#pragma once

#include <string>

namespace bench {

struct Options {
    int cameras = 10000;
    int rows = 100000;     ///< of the history table, spread evenly over the cameras
    int rounds = 7;        ///< each round measures raw and ours once, in turn; the best counts
    int changes = 1000;    ///< timeline changes of a round
    int messages = 20000;  ///< change messages of a round
    int log_level = 3;     ///< 2 debug … 6 critical; the log goes to a file
    std::string folder;    ///< of the databases and the log
};

}  // namespace bench
