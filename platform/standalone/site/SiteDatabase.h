#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// The site store's file: one connection, its tables of the version that this program works on. All but Open needs
/// the lock. Operations that fail leave their text in Fail().
class SiteDatabase {
public:
    enum class Upgrade { kYes, kNo };

    SiteDatabase() = default;
    SiteDatabase(const SiteDatabase&) = delete;
    SiteDatabase& operator=(const SiteDatabase&) = delete;

    /// Opens the file, made if absent (mode 0600).
    /// @param upgrade  kNo leaves the tables as they are: none, or those of an older version
    bool Open(const std::string& path, Upgrade upgrade, std::string& error);

    std::unique_lock<std::mutex> Lock() { return std::unique_lock<std::mutex>(mutex_); }

    bool IsOpen() const { return database_.IsOpen(); }
    /// @return version of the tables; 0 where there are none
    int Version() const { return version_; }

    /// Runs a statement that gives no rows; its parameters are numbers and texts.
    template <class... Values>
    bool Run(std::string_view sql, const Values&... values) {
        return Rows(
            sql, [](const sqlite::Statement&) {}, values...);
    }

    /// Calls `row_fn` for each row.
    template <class RowFn, class... Values>
    bool Rows(std::string_view sql, RowFn row_fn, const Values&... values);

    /// Reads one number.
    template <class... Values>
    bool Number(std::string_view sql, int64_t& number, const Values&... values) {
        return Rows(
            sql, [&number](const sqlite::Statement& row) { number = row.Int(0); }, values...);
    }

    /// Runs an INSERT, UPDATE or DELETE. @param changed  gets the number of rows that it changed
    template <class... Values>
    bool Change(int64_t& changed, std::string_view sql, const Values&... values) {
        return Run(sql, values...) && Number("SELECT changes()", changed);
    }

    /// Runs statements in one transaction; rolled back when `body` gives false.
    template <class Body>
    bool InTransaction(Body&& body) {
        return database_.InTransaction(std::forward<Body>(body));
    }

    /// Reads as of one moment.
    template <class Body>
    bool InSnapshot(Body&& body, std::string& error) {
        const bool read = (database_.Exec("BEGIN") && body()) || Fail(error);
        database_.Rollback();
        return read;
    }

    /// Gives what failed last, with the file's name. @return false
    bool Fail(std::string& error) const { return Fail(error, database_.Error()); }
    bool Fail(std::string& error, const std::string& text) const;

private:
    bool ReadHead(int64_t& application, int64_t& version, int64_t& tables);
    bool Raise(int64_t version);
    bool BringUpToDate(Upgrade upgrade, std::string& error);

    std::mutex mutex_;
    // guarded by mutex_
    sqlite::Database database_;
    std::string path_;
    int version_ = 0;
};

namespace site_database {

template <class Value>
bool Bind(sqlite::Statement& statement, int parameter, const Value& value) {
    if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value>) {
        return statement.BindInt(parameter, static_cast<int64_t>(value));
    } else {
        return statement.BindText(parameter, value);
    }
}

}  // namespace site_database

template <class RowFn, class... Values>
bool SiteDatabase::Rows(std::string_view sql, RowFn row_fn, const Values&... values) {
    sqlite::Statement statement = database_.Prepare(sql);
    if (!statement) {
        return false;
    }
    int parameter = 0;
    sqlite::Statement::Result result = sqlite::Statement::Result::kError;
    if ((site_database::Bind(statement, ++parameter, values) && ...)) {
        result = statement.Step();
    }
    for (; result == sqlite::Statement::Result::kRow; result = statement.Step()) {
        row_fn(statement);
    }
    if (result == sqlite::Statement::Result::kError) {
        database_.NoteError();
        return false;
    }
    return true;
}

}  // namespace qarplatform
