#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "db_layer/Connect.h"

namespace qarmock {

class FakeDatabase;

/// One value of a result: a number, a text, or nullptr for NULL.
struct FakeValue {
    FakeValue(int value) : text(std::to_string(value)) {}
    FakeValue(long value) : text(std::to_string(value)) {}
    FakeValue(long long value) : text(std::to_string(value)) {}
    FakeValue(const char* value) : text(value) {}
    FakeValue(const std::string& value) : text(value) {}
    FakeValue(std::nullptr_t) {}

    std::optional<std::string> text;
};

/// A result:
///     FakeRows{{"camera_id", "state_time"}, {{101, "2024-03-01 08:00:00"}, {102, nullptr}}}
struct FakeRows {
    std::vector<std::string> columns;
    std::vector<std::vector<FakeValue>> rows;
};

/// A connection of a FakeDatabase: statements are recorded there and answered from there.
class FakeConnect : public db_layer::CConnect {
public:
    /// A connection that stands before the first of these rows, for code that only reads.
    explicit FakeConnect(FakeRows rows);
    FakeConnect(FakeDatabase& database, std::string plugin, unsigned int conn_type);

    /// Puts a result in place of the present one.
    void Take(FakeRows rows);

    bool Execute(const std::string& sql) override;
    bool Query(const std::string& sql) override;
    void GetLastErrorText(std::string& text) override;
    bool QueryUDT(const std::string& sql, const unsigned int* timeout) override;
    bool QuerySortByCollate(const std::string& sql, const std::string& collate) override;
    bool ExecuteReturning(const std::string& sql) override;
    bool QuerySortByCollateUDT(const std::string& sql, const std::string& collate,
                               const unsigned int* timeout) override;
    bool IsEnd() override;
    void MoveNext() override;
    long long GetInt(const std::string& column) override;
    std::string GetString(const std::string& column) override;

private:
    bool AtEnd() const { return row_ >= rows_.rows.size(); }
    bool RunQuery(const char* operation, const std::string& sql);
    const std::optional<std::string>* Find(const std::string& column) const;

    FakeDatabase* database_ = nullptr;
    std::string plugin_;
    unsigned int conn_type_ = 0;
    FakeRows rows_;
    std::size_t row_ = 0;
    std::string error_;
};

}  // namespace qarmock
