#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace qarhost {

/// Rows of a history table that cannot be right, of one kind.
struct BadRows {
    std::string what;  ///< "state_time is no moment"
    int64_t count = 0;
    std::vector<std::string> examples;  ///< the first few
};

/// What was found in a table that holds camera states.
struct HistoryTable {
    std::string file;
    std::string table;
    int64_t rows = 0;
    std::vector<BadRows> bad;  ///< only kinds that occur
};

/// Looks through the tables of a database folder that have the columns of a history table. Nothing is changed.
/// @param dir      folder with one file for each schema; one that is not there holds no tables
/// @param cameras  the ids of the site's cameras
/// @param errors   gets the files that cannot be read, with the reason
std::vector<HistoryTable> CheckHistoryTables(const std::string& dir, const std::set<int64_t>& cameras,
                                             std::vector<std::string>& errors);

/// @return whether a text is a moment that exists, as "2024-03-01 08:00:00"
bool IsPlainTime(const std::string& text);

}  // namespace qarhost
