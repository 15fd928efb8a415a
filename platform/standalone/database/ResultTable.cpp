#include "standalone/database/ResultTable.h"

#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "standalone/database/SqlText.h"

namespace qarplatform {

namespace {

int64_t WholeNumber(std::string_view text) {
    int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? number : 0;
}

}  // namespace

ResultTable::Kind ResultTable::KindOf(int type) {
    switch (type) {
        case SQLITE_NULL:
            return Kind::kNull;
        case SQLITE_INTEGER:
            return Kind::kInt;
        case SQLITE_FLOAT:
            return Kind::kReal;
        default:
            return Kind::kText;
    }
}

void ResultTable::Begin(const sqlite::Statement& statement) {
    Clear();
    for (int i = 0; i < statement.ColumnCount(); ++i) {
        columns_.emplace_back(statement.ColumnName(i));
    }
    cells_.resize(columns_.size());
}

void ResultTable::AddRow(const sqlite::Statement& statement) {
    for (int i = 0; i < static_cast<int>(columns_.size()); ++i) {
        sqlite3_value* const value = statement.Value(i);
        Cell cell;
        cell.kind = KindOf(sqlite3_value_type(value));
        std::string_view text;
        if (cell.kind == Kind::kInt || cell.kind == Kind::kReal) {
            cell.number = sqlite3_value_int64(value);
        }
        if (cell.kind == Kind::kReal || cell.kind == Kind::kText) {
            const auto* begin = reinterpret_cast<const char*>(sqlite3_value_text(value));
            cell.text_size = begin ? static_cast<uint32_t>(sqlite3_value_bytes(value)) : 0;
            text = std::string_view(begin, cell.text_size);
        }
        rows_.append(reinterpret_cast<const char*>(&cell), sizeof cell);
        rows_.append(text);
    }
    ++row_count_;
}

void ResultTable::Clear() { *this = ResultTable(); }

void ResultTable::Next() {
    if (!AtEnd()) {
        ++row_;
    }
}

int64_t ResultTable::GetInt(std::string_view column) {
    std::string_view text;
    const Cell cell = Find(column, text);
    return cell.kind == Kind::kText ? WholeNumber(text) : cell.number;
}

std::string ResultTable::GetString(std::string_view column) {
    std::string_view text;
    const Cell cell = Find(column, text);
    return cell.kind == Kind::kInt ? std::to_string(cell.number) : std::string(text);
}

ResultTable::Cell ResultTable::CellAt(std::size_t place) const {
    Cell cell;
    std::memcpy(&cell, &rows_[place], sizeof cell);
    return cell;
}

void ResultTable::ReadRow() {
    for (std::size_t& cell : cells_) {
        cell = read_end_;
        read_end_ += sizeof(Cell) + CellAt(cell).text_size;
    }
    ++read_rows_;
}

// A cell of NULL when there is none.
ResultTable::Cell ResultTable::Find(std::string_view column, std::string_view& text) {
    if (AtEnd()) {
        return Cell();
    }
    while (read_rows_ <= row_) {
        ReadRow();
    }
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].size() == column.size() && (columns_[i] == column || SameName(columns_[i], column))) {
            const Cell cell = CellAt(cells_[i]);
            text = std::string_view(rows_).substr(cells_[i] + sizeof(Cell), cell.text_size);
            return cell;
        }
    }
    return Cell();
}

}  // namespace qarplatform
