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
        const Kind kind = KindOf(statement.ColumnType(i));
        Append(kind);
        if (kind == Kind::kInt || kind == Kind::kReal) {
            Append(statement.Int(i));
        }
        if (kind == Kind::kReal || kind == Kind::kText) {
            const std::string_view text = statement.TextView(i);
            Append(static_cast<uint32_t>(text.size()));
            rows_.append(text);
        }
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
    const Cell* cell = Find(column);
    if (!cell) {
        return 0;
    }
    return cell->kind == Kind::kText ? WholeNumber(TextOf(*cell)) : cell->number;
}

std::string ResultTable::GetString(std::string_view column) {
    const Cell* cell = Find(column);
    if (!cell) {
        return std::string();
    }
    return cell->kind == Kind::kInt ? std::to_string(cell->number) : std::string(TextOf(*cell));
}

template <typename Number>
void ResultTable::Append(Number number) {
    rows_.append(reinterpret_cast<const char*>(&number), sizeof number);
}

template <typename Number>
Number ResultTable::Take() {
    Number number;
    std::memcpy(&number, &rows_[read_end_], sizeof number);
    read_end_ += sizeof number;
    return number;
}

void ResultTable::ReadRow() {
    for (Cell& cell : cells_) {
        cell = Cell();
        cell.kind = Take<Kind>();
        if (cell.kind == Kind::kInt || cell.kind == Kind::kReal) {
            cell.number = Take<int64_t>();
        }
        if (cell.kind == Kind::kReal || cell.kind == Kind::kText) {
            cell.text_size = Take<uint32_t>();
            cell.text_begin = read_end_;
            read_end_ += cell.text_size;
        }
    }
    ++read_rows_;
}

const ResultTable::Cell* ResultTable::Find(std::string_view column) {
    if (AtEnd()) {
        return nullptr;
    }
    while (read_rows_ <= row_) {
        ReadRow();
    }
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [&](const std::string& name) { return SameName(name, column); });
    return found == columns_.end() ? nullptr : &cells_[static_cast<std::size_t>(found - columns_.begin())];
}

std::string_view ResultTable::TextOf(const Cell& cell) const {
    return std::string_view(rows_).substr(cell.text_begin, cell.text_size);
}

}  // namespace qarplatform
