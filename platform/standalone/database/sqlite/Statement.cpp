#include "standalone/database/sqlite/Statement.h"

#include <sqlite3.h>

#include <cerrno>
#include <utility>

namespace qarplatform::sqlite {

Statement::~Statement() { sqlite3_finalize(statement_); }

Statement::Statement(Statement&& other) noexcept : statement_(std::exchange(other.statement_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    std::swap(statement_, other.statement_);
    return *this;
}

bool Statement::BindInt(int parameter, int64_t value) {
    return sqlite3_bind_int64(statement_, parameter, value) == SQLITE_OK;
}

bool Statement::BindText(int parameter, std::string_view value) {
    const char* text = value.data() ? value.data() : "";
    return sqlite3_bind_text64(statement_, parameter, text, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) == SQLITE_OK;
}

bool Statement::BindNull(int parameter) { return sqlite3_bind_null(statement_, parameter) == SQLITE_OK; }

Statement::Result Statement::Step() {
    errno = 0;  // what a failing file operation leaves here is the only word on its cause
    switch (sqlite3_step(statement_)) {
        case SQLITE_ROW:
            return Result::kRow;
        case SQLITE_DONE:
            return Result::kDone;
        default:
            return Result::kError;
    }
}

bool Statement::Run() {
    Result result = Result::kRow;
    while (result == Result::kRow) {
        result = Step();
    }
    return result == Result::kDone;
}

void Statement::Reset() { sqlite3_reset(statement_); }

int Statement::ColumnCount() const { return sqlite3_column_count(statement_); }

std::string_view Statement::ColumnName(int column) const {
    const char* name = sqlite3_column_name(statement_, column);
    return name ? name : "";
}

int Statement::ColumnType(int column) const { return sqlite3_column_type(statement_, column); }

bool Statement::IsNull(int column) const { return ColumnType(column) == SQLITE_NULL; }

int64_t Statement::Int(int column) const { return sqlite3_column_int64(statement_, column); }

double Statement::Real(int column) const { return sqlite3_column_double(statement_, column); }

std::string_view Statement::TextView(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text ? std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
                : std::string_view();
}

sqlite3_value* Statement::Value(int column) const { return sqlite3_column_value(statement_, column); }

}  // namespace qarplatform::sqlite
