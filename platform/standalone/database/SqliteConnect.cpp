#include "standalone/database/SqliteConnect.h"

#include <sqlite3.h>

#include <new>

#include "standalone/database/Collation.h"
#include "standalone/database/SqlText.h"
#include "standalone/database/TextRun.h"

namespace qarplatform {

namespace {

bool IsFaultOfFile(int code) {
    const int primary = code & 0xFF;
    return primary == SQLITE_IOERR || primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB ||
           primary == SQLITE_CANTOPEN;
}

}  // namespace

std::unique_ptr<SqliteConnect> SqliteConnect::Open(const std::string& folder, std::chrono::milliseconds busy_timeout,
                                                   std::string& error) {
    std::unique_ptr<SqliteConnect> connect(new SqliteConnect(folder));
    if (!connect->database_.Open(MainFileOf(folder), busy_timeout)) {
        error = connect->database_.Error();
        return nullptr;
    }
    OfferCollations(connect->database_.Handle());
    connect->schemas_.AttachAll();
    return connect;
}

bool SqliteConnect::Execute(const std::string& sql) { return Run(sql, false, nullptr); }

bool SqliteConnect::Query(const std::string& sql) { return Run(sql, true, nullptr); }

void SqliteConnect::GetLastErrorText(std::string& text) { text = error_; }

bool SqliteConnect::QueryUDT(const std::string& sql, const unsigned int* timeout) { return Run(sql, true, timeout); }

bool SqliteConnect::QuerySortByCollate(const std::string& sql, const std::string& collate) {
    return QuerySortByCollateUDT(sql, collate, nullptr);
}

bool SqliteConnect::ExecuteReturning(const std::string& sql) { return Run(sql, true, nullptr); }

bool SqliteConnect::QuerySortByCollateUDT(const std::string& sql, const std::string& collate,
                                          const unsigned int* timeout) {
    return Run(collate.empty() ? sql : WithCollation(sql, collate), true, timeout);
}

bool SqliteConnect::IsEnd() { return result_.AtEnd(); }

void SqliteConnect::MoveNext() { result_.Next(); }

long long SqliteConnect::GetInt(const std::string& column) { return result_.GetInt(column); }

std::string SqliteConnect::GetString(const std::string& column) { return result_.GetString(column); }

bool SqliteConnect::RollbackOpenTransaction() {
    const bool open = database_.InOpenTransaction();
    database_.Rollback();
    return open;
}

void SqliteConnect::Clear() {
    result_ = ResultTable();
    error_.clear();
}

bool SqliteConnect::Run(std::string_view sql, bool keep_rows, const unsigned int* timeout) {
    Clear();
    if (timeout && *timeout > 0) {
        database_.SetDeadline(std::chrono::steady_clock::now() + std::chrono::seconds(*timeout));
    }
    const bool callers_transaction = database_.InOpenTransaction();
    const bool done = RunText(sql, keep_rows);
    if (timeout) {
        database_.SetDeadline(std::nullopt);
    }
    if (!done) {
        result_.Clear();
        if (!callers_transaction) {
            database_.Rollback();
        }
        broken_ = broken_ || IsFaultOfFile(database_.ErrorCode());
    }
    return done;
}

bool SqliteConnect::RunText(std::string_view sql, bool keep_rows) {
    try {
        return TextRun(database_, schemas_, statements_, keep_rows ? &result_ : nullptr).Run(sql, error_);
    } catch (const std::bad_alloc&) {
        error_ = "out of memory";
        return false;
    }
}

}  // namespace qarplatform
