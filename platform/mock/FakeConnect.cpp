#include "mock/FakeConnect.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

#include "mock/FakeDatabase.h"
#include "mock/PlatformCalls.h"

namespace qarmock {

namespace {

bool SameName(const std::string& left, const std::string& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

}  // namespace

FakeConnect::FakeConnect(FakeRows rows) : rows_(std::move(rows)) {}

FakeConnect::FakeConnect(FakeDatabase& database, std::string plugin, unsigned int conn_type)
    : database_(&database), plugin_(std::move(plugin)), conn_type_(conn_type) {}

void FakeConnect::Take(FakeRows rows) {
    rows_ = std::move(rows);
    row_ = 0;
}

bool FakeConnect::Execute(const std::string& sql) {
    Take(FakeRows());
    error_.clear();
    return database_ == nullptr || database_->Run({plugin_, conn_type_, "Execute", sql, true}, nullptr, error_);
}

bool FakeConnect::Query(const std::string& sql) { return RunQuery("Query", sql); }

void FakeConnect::GetLastErrorText(std::string& text) { text = error_; }

bool FakeConnect::QueryUDT(const std::string& sql, const unsigned int*) { return RunQuery("QueryUDT", sql); }

bool FakeConnect::QuerySortByCollate(const std::string& sql, const std::string&) {
    return RunQuery("QuerySortByCollate", sql);
}

bool FakeConnect::ExecuteReturning(const std::string& sql) { return RunQuery("ExecuteReturning", sql); }

bool FakeConnect::QuerySortByCollateUDT(const std::string& sql, const std::string&, const unsigned int*) {
    return RunQuery("QuerySortByCollateUDT", sql);
}

bool FakeConnect::IsEnd() { return CallFails("CConnect::IsEnd") || AtEnd(); }

void FakeConnect::MoveNext() {
    if (!CallFails("CConnect::MoveNext") && !AtEnd()) ++row_;
}

long long FakeConnect::GetInt(const std::string& column) {
    if (CallFails("CConnect::GetInt " + column)) return 0;
    const auto* value = Find(column);
    return value != nullptr && *value ? std::atoll((*value)->c_str()) : 0;
}

std::string FakeConnect::GetString(const std::string& column) {
    if (CallFails("CConnect::GetString " + column)) return std::string();
    const auto* value = Find(column);
    return value != nullptr && *value ? **value : std::string();
}

bool FakeConnect::RunQuery(const char* operation, const std::string& sql) {
    error_.clear();
    FakeRows rows;
    const bool ok = database_ == nullptr || database_->Run({plugin_, conn_type_, operation, sql, true}, &rows, error_);
    Take(ok ? std::move(rows) : FakeRows());
    return ok;
}

const std::optional<std::string>* FakeConnect::Find(const std::string& column) const {
    if (row_ >= rows_.rows.size()) return nullptr;
    for (std::size_t i = 0; i < rows_.columns.size() && i < rows_.rows[row_].size(); ++i) {
        if (SameName(rows_.columns[i], column)) return &rows_.rows[row_][i].text;
    }
    return nullptr;
}

}  // namespace qarmock
