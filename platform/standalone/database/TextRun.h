#pragma once

#include <string>
#include <string_view>

#include "standalone/database/ResultTable.h"
#include "standalone/database/SchemaFiles.h"
#include "standalone/database/SqlText.h"
#include "standalone/database/StatementCache.h"
#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// One run of a text of one or more statements on a connection. Several statements are one transaction, unless the
/// caller has one open or the text opens its own. Schemas that a statement names are attached; as no transaction allows
/// that, what was begun is rolled back then and run again.
/// After a failure the owner of the connection rolls back.
class TextRun {
public:
    /// @param rows  gets the result of the last statement that has columns; null: rows are passed over
    TextRun(sqlite::Database& database, SchemaFiles& schemas, StatementCache& statements, ResultTable* rows);

    /// @return false on failure, with a text
    bool Run(std::string_view sql, std::string& error);

private:
    bool RunPrepared(std::string_view sql, bool& done);
    bool RunNext(StatementKind kind);
    bool IsFirstOfSeveral(StatementKind kind, std::string_view rest) const;
    bool Begin();
    bool Step(sqlite::Statement& statement);
    bool AttachWaiting(std::string_view sql, bool& some);
    bool AttachForFailure();
    bool Attach(const std::string& name);
    bool Fail(const std::string& error);
    bool FailInDatabase();

    sqlite::Database& database_;
    SchemaFiles& schemas_;
    StatementCache& statements_;
    ResultTable* const rows_;
    const bool callers_transaction_;
    bool own_transaction_ = false;
    std::string_view text_;
    std::string_view left_;
    std::string_view restart_;  // nothing from here on has been committed
    std::string error_;
};

}  // namespace qarplatform
