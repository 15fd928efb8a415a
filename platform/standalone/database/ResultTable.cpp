#include "standalone/database/ResultTable.h"

#include <sqlite3.h>

#include <algorithm>
#include <charconv>

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

void ResultTable::Begin(const sqlite::Statement& statement) {
    Clear();
    for (int i = 0; i < statement.ColumnCount(); ++i) {
        columns_.emplace_back(statement.ColumnName(i));
    }
}

void ResultTable::AddRow(const sqlite::Statement& statement) {
    for (int i = 0; i < static_cast<int>(columns_.size()); ++i) {
        Cell cell;
        const int type = statement.ColumnType(i);
        if (type == SQLITE_INTEGER) {
            cell.kind = Cell::Kind::kInt;
            cell.value = statement.Int(i);
        } else if (type != SQLITE_NULL) {
            cell.kind = type == SQLITE_FLOAT ? Cell::Kind::kReal : Cell::Kind::kText;
            cell.value = type == SQLITE_FLOAT ? statement.Int(i) : 0;
            const std::string_view text = statement.TextView(i);
            cell.text_begin = texts_.size();
            cell.text_size = static_cast<uint32_t>(text.size());
            texts_.append(text);
        }
        cells_.push_back(cell);
    }
    ++row_count_;
}

void ResultTable::Clear() {
    columns_.clear();
    cells_.clear();
    texts_.clear();
    row_count_ = 0;
    row_ = 0;
}

void ResultTable::Next() {
    if (!AtEnd()) {
        ++row_;
    }
}

int64_t ResultTable::GetInt(std::string_view column) const {
    const Cell* cell = Find(column);
    if (!cell || cell->kind == Cell::Kind::kNull) {
        return 0;
    }
    return cell->kind == Cell::Kind::kText ? WholeNumber(TextOf(*cell)) : cell->value;
}

std::string ResultTable::GetString(std::string_view column) const {
    const Cell* cell = Find(column);
    if (!cell || cell->kind == Cell::Kind::kNull) {
        return std::string();
    }
    return cell->kind == Cell::Kind::kInt ? std::to_string(cell->value) : std::string(TextOf(*cell));
}

const ResultTable::Cell* ResultTable::Find(std::string_view column) const {
    if (AtEnd()) {
        return nullptr;
    }
    const auto found =
        std::find_if(columns_.begin(), columns_.end(), [&](const std::string& name) { return SameName(name, column); });
    return found == columns_.end()
               ? nullptr
               : &cells_[row_ * columns_.size() + static_cast<std::size_t>(found - columns_.begin())];
}

std::string_view ResultTable::TextOf(const Cell& cell) const {
    return std::string_view(texts_).substr(cell.text_begin, cell.text_size);
}

}  // namespace qarplatform
