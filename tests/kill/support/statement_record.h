#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qartest {

/// A text that a plug-in or the library gave the database to execute.
struct RecordedStatement {
    int thread = 0;
    std::string plugin;
    std::string sql;
};

/// What statement_record.so wrote down of one run of a host, also of one that was killed.
struct StatementRecord {
    std::vector<RecordedStatement> done;     ///< answered true, in the order of the answers
    std::vector<RecordedStatement> refused;  ///< answered false
    std::vector<RecordedStatement> open;     ///< not answered; at most one of each thread

    /// A missing file is an empty record; a last entry that is not whole counts as not written.
    /// @throws std::runtime_error  for anything else that is no such record
    static StatementRecord Read(const std::filesystem::path& file);
};

}  // namespace qartest
