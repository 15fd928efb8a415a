#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "RangeQueue.h"

namespace backfill {

/// A told range as the table keeps it.
struct StoredRange {
    CameraKey key;
    TimeRange range;
    int attempts = 0;
    std::chrono::system_clock::time_point due;  ///< when it may be tried
};

/// A point of a camera's history.
struct HistoryPoint {
    std::string iso;  ///< the device's clock
    int state = 0;    ///< 1 contact made, 2 found in order
};

/// The plug-in's tables: the history table, which the library fills, and one row for each told range that is not
/// fetched yet, by which a restart goes on where it stopped. Operations give false when the statement failed; the
/// database layer has logged why. Threads: any; all block on the database.
class AttemptTable {
public:
    AttemptTable(const std::string& plugin, const std::string& schema);

    /// @return name of the history table
    const std::string& HistoryTable() const { return history_table_; }

    /// Makes both tables and the history's index where they are absent.
    bool Create();
    bool Load(std::vector<StoredRange>& ranges);
    /// A row that is there stays as it is.
    bool Insert(const CameraKey& key, const TimeRange& range);
    bool Update(const CameraKey& key, const TimeRange& range, int attempts, std::chrono::system_clock::time_point due,
                const std::string& error);
    bool Delete(const CameraKey& key, const TimeRange& range);

    /// @param counts  gets the number of history points of each camera that has any
    bool CountPoints(std::map<CameraKey, long long>& counts);
    /// @param points  gets a camera's history, in order of time
    bool LoadPoints(const CameraKey& key, std::vector<HistoryPoint>& points);
    /// @param errors  gets what the last failed attempt of a range said, by the range's begin and end
    bool LoadErrors(const CameraKey& key, std::map<std::pair<std::string, std::string>, std::string>& errors);

private:
    bool Execute(const std::string& sql);

    std::string plugin_;
    std::string schema_;
    std::string history_table_;
    std::string attempt_table_;
};

}  // namespace backfill
