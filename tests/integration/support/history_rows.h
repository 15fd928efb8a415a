#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct sqlite3;

namespace qartest {

/// The table camera_history of a schema's file, read and written beside a running host.
class HistoryRows {
public:
    /// @throws std::runtime_error  where it cannot be opened
    explicit HistoryRows(const std::filesystem::path& file);
    ~HistoryRows();
    HistoryRows(const HistoryRows&) = delete;
    HistoryRows& operator=(const HistoryRows&) = delete;

    /// Runs statements. @throws std::runtime_error  where that fails
    void Run(const std::string& sql);

    /// The latest moment of all rows: the wall clock in seconds since 1970 as if it were UTC; 0 where there is no row.
    std::int64_t LatestWallS();
    std::int64_t LatestWallS(int camera);
    /// Camera, business type, moment and state of all rows, sorted.
    std::vector<std::string> All();

    /// Makes a new file with the same table and rows.
    static void CopyTable(const std::filesystem::path& from, const std::filesystem::path& to);

private:
    sqlite3* database_ = nullptr;
};

}  // namespace qartest
