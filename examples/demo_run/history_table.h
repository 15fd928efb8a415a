#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

struct sqlite3;

namespace demo {

/// A row of the table in which the state history keeps its points.
struct HistoryRow {
    int camera = 0;
    int busi = 0;
    int state = 0;
    std::int64_t wall_s = 0;    // the camera's wall clock, in seconds since 1970 as if it were UTC
    std::int64_t differ_s = 0;  // its offset from UTC when the row was made

    bool operator==(const HistoryRow&) const = default;
};

/// Stretches of wall clock [begin, end) between neighbouring points of one timeline that are neither (1, 2) nor (2, 2):
/// the exception ranges.
/// @param points  of one camera and business type, in the order of their wall clock
std::vector<std::pair<HistoryRow, HistoryRow>> ExceptionPairs(const std::vector<HistoryRow>& points);

/// Reads the table of the plug-in `backfill` while the host writes it; opens the file for reading only.
class HistoryTable {
public:
    explicit HistoryTable(std::filesystem::path database);
    ~HistoryTable();

    /// All rows in the order of camera, business type and wall clock; nothing where there is no table yet or it could
    /// not be read now.
    std::optional<std::vector<HistoryRow>> Read();

private:
    struct Close {
        void operator()(sqlite3* database) const;
    };

    bool Open();

    std::filesystem::path file_;
    std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace demo
