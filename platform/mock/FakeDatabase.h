#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mock/FakeConnect.h"
#include "qarutil/DBManagerPure.h"

namespace qar {

/// The mock platform's forwarded calls hand on a number.
struct SDBForwardArg {
    long long n_value = 0;
};

}  // namespace qar

namespace qarmock {

/// A database that keeps the statements and answers as the test tells: a statement succeeds unless told otherwise, a
/// query gives no rows unless told otherwise. Threads: any; no lock is held while a result function runs.
class FakeDatabase {
public:
    struct Statement {
        std::string plugin;
        unsigned int conn_type;
        std::string operation;  ///< the operation of IDBManagerPure or CConnect by which it came
        std::string sql;
        bool ok;
    };
    struct OpenCall {
        std::string plugin;
        unsigned int count;
        qar::SDBParam param;
    };

    /// Queries whose text holds `fragment` give these rows; of several fragments that fit, the one told last counts.
    void Answer(const std::string& fragment, FakeRows rows);
    /// The next statement whose text holds `fragment` fails. Told n times, the next n do.
    void FailNext(const std::string& fragment);
    /// All statements whose text holds `fragment` fail until ClearFailures.
    void FailAll(const std::string& fragment);
    void ClearFailures();
    /// The database of this name cannot be reached: Open fails.
    void FailOpen(const std::string& db_name);
    /// The number that GetNextID gives next; 1 at the start, each further one is one more. 0: it gives 0 always.
    void SetNextId(int64_t id);

    /// @return what was run, in order, also what failed
    std::vector<Statement> Statements() const;
    /// @return the texts of Statements
    std::vector<std::string> Sqls() const;
    /// Forgets the statements, not the answers and failures.
    void Clear();

    /// @return the plug-ins that are open now with their present parameters
    std::map<std::string, qar::SDBParam> Opened() const;
    std::vector<OpenCall> Opens() const;
    std::vector<std::pair<std::string, qar::SDBParam>> Resets() const;
    /// @return the names that GetNextID was asked for
    std::vector<std::string> NextIdNames() const;

    // What the operations of IDBManagerPure come to. A plug-in that was never opened may run statements, one that was
    // finalised may not.
    bool Open(const std::string& plugin, unsigned int count, const qar::SDBParam& param);
    bool Finalize(const std::string& plugin);
    bool ResetDBParam(const std::string& plugin, const qar::SDBParam& param);
    bool Execute(const std::string& plugin, unsigned int conn_type, const std::string& sql);
    bool Query(const char* operation, const std::string& plugin, unsigned int conn_type, const std::string& sql,
               const qar::IDBManagerPure::ResultFunc& fn);
    int64_t GetNextID(const std::string& name);

    /// Keeps a statement and decides on it. For FakeConnect.
    /// @param error  gets the reason of a failure; one that it holds already lets the statement fail
    bool Run(Statement statement, FakeRows* rows, std::string& error);

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::string, FakeRows>> answers_;
    std::vector<std::string> fail_next_;
    std::vector<std::string> fail_all_;
    std::set<std::string> unreachable_;
    std::vector<Statement> statements_;
    std::map<std::string, qar::SDBParam> opened_;
    std::set<std::string> finalized_;
    std::vector<OpenCall> opens_;
    std::vector<std::pair<std::string, qar::SDBParam>> resets_;
    int64_t next_id_ = 1;
    std::vector<std::string> next_id_names_;
};

}  // namespace qarmock
