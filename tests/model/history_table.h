#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mock/FakeConnect.h"
#include "world.h"

namespace qartest {

/// One plug-in's history table in memory. It runs the library's nine statements, letter by letter as they are fixed,
/// and no other text.
class HistoryTable {
public:
    struct Entry {
        int64_t id;
        Key key;
        Row row;
    };

    HistoryTable(const std::string& name, const std::string& key_column);

    /// Runs one of the seven changing statements.
    /// @param new_id   the number that a new row must have
    /// @param succeed  false: nothing changes, but the text is looked at all the same
    /// @return false for a text that is none of them
    bool Execute(const std::string& sql, int64_t new_id, bool succeed);
    /// Runs one of the two queries. @return nothing for a text that is none of them
    std::optional<qarmock::FakeRows> Query(const std::string& sql);
    /// @return what the last statement was, in a few words
    const char* Kind() const { return kind_; }

    std::vector<Entry> entries;  ///< in the order of insertion

private:
    /// `sql` against a shape, in which # stands for a number and @ for a moment in quotes.
    /// @return all of the text fits, and `numbers_` has what stood there
    bool Fits(const std::string& sql, const std::string& shape);
    Key KeyAt(size_t camera) const;

    std::string update_time_, update_state_, insert_, delete_range_, delete_expired_, delete_line_, delete_camera_;
    std::string select_all_, select_cameras_;
    std::vector<int64_t> numbers_;
    const char* kind_ = "";
};

}  // namespace qartest
