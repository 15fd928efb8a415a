#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/database/sqlite/Statement.h"

namespace qarplatform {

/// A query's whole result, read row by row. Columns are named case-insensitively; of columns with one name the first
/// counts.
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
    int64_t GetInt(std::string_view column) const;
    /// @return the current row's value as text; "" for NULL, an unknown column, or at the end
    std::string GetString(std::string_view column) const;

private:
    // Integers and floating-point numbers cut to integers lie in `value`; a text's place in `texts_` does else. The
    // text of a floating-point number lies there as well.
    struct Cell {
        int64_t value = 0;
        std::size_t text_begin = 0;
        uint32_t text_size = 0;
        enum class Kind : uint8_t { kNull, kInt, kReal, kText } kind = Kind::kNull;
    };

    const Cell* Find(std::string_view column) const;
    std::string_view TextOf(const Cell& cell) const;

    std::vector<std::string> columns_;
    std::vector<Cell> cells_;
    std::string texts_;
    std::size_t row_count_ = 0;
    std::size_t row_ = 0;
};

}  // namespace qarplatform
