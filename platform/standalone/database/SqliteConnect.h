#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "db_layer/Connect.h"
#include "standalone/database/ResultTable.h"
#include "standalone/database/SchemaFiles.h"
#include "standalone/database/StatementCache.h"
#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// A connection to a folder of SQLite files, one for each schema. Schemas that appear later are attached when a
/// statement names them; CREATE makes the file of a new one.
/// Time-outs are real seconds and cover waiting for locks. A text with a NUL, ATTACH and DETACH are refused.
class SqliteConnect final : public db_layer::CConnect {
public:
    /// @param folder        absolute path, must exist
    /// @param busy_timeout  how long a statement waits for another connection's lock
    /// @return null on failure
    static std::unique_ptr<SqliteConnect> Open(const std::string& folder, std::chrono::milliseconds busy_timeout,
                                               std::string& error);

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

    /// Rolls back what a caller left open. @return whether a transaction was open
    bool RollbackOpenTransaction();
    /// Forgets result and error.
    void Clear();
    /// @return whether the last failure was one of the file rather than of the statement
    bool IsBroken() const { return broken_; }

private:
    explicit SqliteConnect(const std::string& folder) : schemas_(database_, folder), statements_(database_) {}

    bool Run(std::string_view sql, bool keep_rows, const unsigned int* timeout);
    bool RunText(std::string_view sql, bool keep_rows);

    sqlite::Database database_;
    SchemaFiles schemas_;
    StatementCache statements_;
    ResultTable result_;
    std::string error_;
    bool broken_ = false;
};

}  // namespace qarplatform
