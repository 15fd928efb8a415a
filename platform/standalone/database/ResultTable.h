#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/database/sqlite/Statement.h"

namespace qarplatform {

/// A query's whole result, read row by row once all rows are there. It lies in one block, row behind row, as a result
/// may be the whole history; reading takes the current row out of it, so that reading too is for one thread at a time.
/// Columns are named case-insensitively; of columns with one name the first counts.
class ResultTable {
public:
    /// Empties the table and takes the columns of a statement.
    void Begin(const sqlite::Statement& statement);
    /// Appends the statement's current row.
    void AddRow(const sqlite::Statement& statement);
    void Clear();

    bool AtEnd() const { return row_ >= row_count_; }
    void Next();

    /// @return the current row's value; 0 for NULL, an unknown column, a text that is no whole number, or at the end.
    ///     A floating-point number loses its fraction.
    int64_t GetInt(std::string_view column);
    /// @return the current row's value as text; "" for NULL, an unknown column, or at the end
    std::string GetString(std::string_view column);

private:
    enum class Kind : char { kNull, kInt, kReal, kText };

    // What lies in `rows_` before a value's text. A floating-point number has both: cut to an integer, and as text.
    struct Cell {
        int64_t number = 0;
        uint32_t text_size = 0;
        Kind kind = Kind::kNull;
    };

    static Kind KindOf(int type);
    Cell CellAt(std::size_t place) const;
    void ReadRow();
    Cell Find(std::string_view column, std::string_view& text);

    std::vector<std::string> columns_;
    std::string rows_;
    std::size_t row_count_ = 0;
    std::size_t row_ = 0;
    std::size_t read_rows_ = 0;       // rows_ has been read into cells_ up to here
    std::size_t read_end_ = 0;        // in rows_
    std::vector<std::size_t> cells_;  // where those of the row that was read last begin
};

}  // namespace qarplatform
