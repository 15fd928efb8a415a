#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3_stmt;
struct sqlite3_value;

namespace qarplatform::sqlite {

/// One prepared statement; empty when preparing failed or the text held no statement. Ends with its object, which must
/// not outlive its Database. Threads: those of its Database, one at a time.
/// A failure's text stands in Database::Error() after Database::NoteError().
class Statement {
public:
    enum class Result { kRow, kDone, kError };

    Statement() = default;
    explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement& operator=(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    explicit operator bool() const { return statement_ != nullptr; }

    /// Parameters count from 1. Texts are copied. @return false on failure (no such parameter, text too long)
    bool BindInt(int parameter, int64_t value);
    bool BindText(int parameter, std::string_view value);
    bool BindNull(int parameter);

    /// Goes to the next row. kError also for an empty statement.
    Result Step();
    /// Steps to the end, passing over rows. @return false on failure
    bool Run();
    /// Makes the statement ready to be run again; parameters keep their values.
    void Reset();

    /// Columns count from 0. Values are those of the current row.
    int ColumnCount() const;
    std::string_view ColumnName(int column) const;
    /// @return SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT, SQLITE_BLOB or SQLITE_NULL; ask before reading the value
    int ColumnType(int column) const;
    bool IsNull(int column) const;
    int64_t Int(int column) const;
    double Real(int column) const;
    /// @return the value as text, "" for NULL; a view that ends with the next call on this column or statement
    std::string_view TextView(int column) const;
    /// The value itself, for one who reads much of it; ends with the next call on this statement.
    sqlite3_value* Value(int column) const;
    std::string Text(int column) const { return std::string(TextView(column)); }

private:
    sqlite3_stmt* statement_ = nullptr;
};

}  // namespace qarplatform::sqlite
