#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "qarutil/DBManagerPure.h"
#include "standalone/database/ConnectionPool.h"
#include "standalone/database/IdSource.h"

namespace qarplatform {

/// The plug-ins' databases on SQLite: a folder that holds one file for each schema. A failed operation leaves one line
/// with the reason in the log, module "QARPlatform"; the statement's text is the caller's to log.
class DatabaseManager final : public qar::IDBManagerPure {
public:
    using ResultFunc = qar::IDBManagerPure::ResultFunc;

    explicit DatabaseManager(DatabaseWaits waits = DatabaseWaits());

    bool Open(const std::string& plugin, uint32_t count, const qar::SDBParam& param) override;
    bool Finalize(const std::string& plugin) override;
    bool ResetDBParam(const std::string& plugin, const qar::SDBParam& param) override;
    bool ForwardedCallA(qar::SDBForwardArg& first, qar::SDBForwardArg& second, uint32_t connType) override;
    bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) override;
    bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) override;
    bool ForwardedCallB(qar::SDBForwardArg& first, uint32_t connType, qar::SDBForwardArg& second) override;
    qar::SDBForwardResult ForwardedCallC(qar::SDBForwardArg& first, uint32_t connType, bool flag) override;
    bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                         int timeout) override;
    bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                              const std::string& collate) override;
    /// One sequence serves all names, so that a number is unique in the whole database.
    int64_t GetNextID(const std::string& name) override;
    bool ForwardedCallD(qar::SDBForwardArg& first, qar::SDBForwardArg& second, qar::SDBForwardArg& third,
                        uint32_t connType) override;
    bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 const std::string& collate, const unsigned int* timeout) override;

    /// Closes every plug-in's connections.
    void Stop();

private:
    using Statement = std::function<bool(SqliteConnect&)>;

    std::shared_ptr<ConnectionPool> Find(const std::string& plugin);
    bool RunOn(const std::string& plugin, const Statement& statement, const ResultFunc& fn);

    const DatabaseWaits waits_;
    IdSource ids_;

    // guarded by mutex_
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<ConnectionPool>> pools_;
};

}  // namespace qarplatform
