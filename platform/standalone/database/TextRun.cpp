#include "standalone/database/TextRun.h"

#include <optional>
#include <variant>

#include "standalone/base/LowerCase.h"

namespace qarplatform {

using sqlite::Statement;

TextRun::TextRun(sqlite::Database& database, SchemaFiles& schemas, StatementCache& statements, ResultTable* rows)
    : database_(database),
      schemas_(schemas),
      statements_(statements),
      rows_(rows),
      callers_transaction_(database.InOpenTransaction()) {}

bool TextRun::Run(std::string_view sql, std::string& error) {
    text_ = left_ = restart_ = sql;
    bool done = sql.find('\0') == std::string_view::npos || Fail("the statement holds a NUL");
    if (done && RunPrepared(sql, done)) {
        error = error_;
        return done;
    }
    for (StatementKind kind{}; done && (kind = KindOfStatement(left_)) != StatementKind::kNone;) {
        done = RunNext(kind);
    }
    done = done && (!own_transaction_ || database_.Exec("COMMIT") || FailInDatabase());
    error = error_;
    return done;
}

// Preparing takes a third of a short statement's time. Whatever cannot be prepared so, for want of a schema that is not
// attached yet for example, runs as it is.
// @return whether the text was run
bool TextRun::RunPrepared(std::string_view sql, bool& done) {
    const auto statement_template = rows_ ? std::nullopt : TakeValuesOut(sql);
    Statement* statement = statement_template ? statements_.Find(statement_template->text) : nullptr;
    if (!statement) {
        return false;
    }
    int parameter = 0;
    for (const SqlValue& value : statement_template->values) {
        ++parameter;
        const auto* text = std::get_if<std::string>(&value);
        if (!(text ? statement->BindText(parameter, *text) : statement->BindInt(parameter, std::get<int64_t>(value)))) {
            return false;
        }
    }
    done = statement->Run();
    if (!done) {
        database_.NoteError();
        FailInDatabase();
    }
    statement->Reset();
    return true;
}

bool TextRun::RunNext(StatementKind kind) {
    if (kind == StatementKind::kAttach) {
        return Fail("ATTACH and DETACH are refused: a schema is attached when a statement names it");
    }
    if (kind == StatementKind::kDrop) {  // with IF EXISTS a table of a schema not yet attached would pass for absent
        bool some = false;
        if (!AttachWaiting(left_, some) || some) {
            return error_.empty();
        }
    }
    std::string_view rest;
    Statement statement = database_.Prepare(left_, &rest);
    if (!statement && database_.ErrorCode() != 0) {
        FailInDatabase();
        return AttachForFailure();
    }
    if (IsFirstOfSeveral(kind, rest)) {
        return Begin();
    }
    if (statement && !Step(statement)) {
        database_.NoteError();
        return FailInDatabase();
    }
    left_ = rest;
    if (!database_.InOpenTransaction()) {
        restart_ = left_;
        own_transaction_ = false;
    }
    return true;
}

bool TextRun::IsFirstOfSeveral(StatementKind kind, std::string_view rest) const {
    return !own_transaction_ && !callers_transaction_ && left_.data() == text_.data() &&
           kind != StatementKind::kTransaction && KindOfStatement(rest) != StatementKind::kNone;
}

bool TextRun::Begin() {
    bool some = false;
    if (!AttachWaiting(text_, some)) {
        return false;
    }
    own_transaction_ = database_.Exec("BEGIN IMMEDIATE");
    return own_transaction_ || FailInDatabase();
}

bool TextRun::Step(Statement& statement) {
    if (!rows_ || statement.ColumnCount() == 0) {
        return statement.Run();
    }
    rows_->Begin(statement);
    Statement::Result result = statement.Step();
    while (result == Statement::Result::kRow) {
        rows_->AddRow(statement);
        result = statement.Step();
    }
    return result == Statement::Result::kDone;
}

bool TextRun::AttachWaiting(std::string_view sql, bool& some) {
    for (const std::string& name : QualifyingNames(sql)) {
        if (schemas_.IsWaiting(name)) {
            if (!Attach(name)) {
                return false;
            }
            some = true;
        }
    }
    return true;
}

bool TextRun::AttachForFailure() {
    constexpr std::string_view kUnknown = "unknown database ";
    if (KindOfStatement(left_) == StatementKind::kCreate && error_.rfind(kUnknown, 0) == 0) {
        return Attach(LowerCase(UnquotedName(std::string_view(error_).substr(kUnknown.size()))));
    }
    bool some = false;
    return AttachWaiting(left_, some) && some;
}

bool TextRun::Attach(const std::string& name) {
    if (callers_transaction_) {
        return Fail("schema " + name + " is not attached yet, and cannot be while a transaction is open");
    }
    database_.Rollback();
    own_transaction_ = false;
    left_ = restart_;
    if (rows_) {
        rows_->Clear();
    }
    std::string error;
    if (!schemas_.Attach(name, error)) {
        return Fail(error);
    }
    error_.clear();
    return true;
}

bool TextRun::Fail(const std::string& error) {
    error_ = error;
    return false;
}

bool TextRun::FailInDatabase() { return Fail(database_.Error()); }

}  // namespace qarplatform
