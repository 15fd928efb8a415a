#pragma once

#include <string>

namespace bench {

/// A camera under a business type.
struct Line {
    int busi;
    int camera;
};

// The statements that the library runs, with times as "YYYY-MM-DD HH:MM:SS". Offsets are 0, so both time columns agree.

/// A point of state 2 moves.
std::string MoveText(const Line& line, const std::string& from, const std::string& to);
std::string AddText(long long id, const Line& line, int state, const std::string& time);
/// Points before `time` go.
std::string ExpireText(const Line& line, const std::string& time);

}  // namespace bench
