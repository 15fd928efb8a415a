#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mock/FakeConnect.h"

namespace qar::history_test {

/// The history tables of a test's plug-ins: takes the state history's own statements and no others. Threads: any.
class HistoryTables {
public:
    /// Runs a statement. One that is none of the state history's fails the test.
    void Execute(const std::string& sql);
    /// @return the rows that a SELECT of the state history gives
    qarmock::FakeRows Query(const std::string& sql) const;

    /// @return the rows of a camera as "<moment> <state>", by moment and then by insertion
    std::vector<std::string> Points(const std::string& table, int busi, int camera) const;
    /// @return business types and cameras that have rows
    std::set<std::pair<int, int>> Keys(const std::string& table) const;
    /// @return how many INSERTs had a key that was not above the one before
    int KeysOutOfOrder() const;
    std::size_t Inserts() const;

private:
    struct Row {
        int state;
        int differ;
    };
    using Rows = std::multimap<std::string, Row>;       // by moment
    using Table = std::map<std::pair<int, int>, Rows>;  // by business type and camera

    void Insert(const std::string& sql);
    void Update(const std::string& sql);
    void Delete(const std::string& sql);

    mutable std::mutex mutex_;
    std::map<std::string, Table> tables_;
    long long last_key_ = 0;
    int keys_out_of_order_ = 0;
    std::size_t inserts_ = 0;
};

}  // namespace qar::history_test
