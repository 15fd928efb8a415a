#pragma once

#include <string>
#include <vector>

#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// Statements of one connection that stay prepared, those used last. Ends before its Database.
class StatementCache {
public:
    explicit StatementCache(sqlite::Database& database) : database_(database) {}

    /// @return the statement of a text, to be reset after its use; valid until the next call. Null when the text cannot
    ///     be prepared
    sqlite::Statement* Find(const std::string& text);

private:
    struct Entry {
        std::string text;
        sqlite::Statement statement;
    };

    sqlite::Database& database_;
    std::vector<Entry> entries_;  // the one used last is the first
};

}  // namespace qarplatform
