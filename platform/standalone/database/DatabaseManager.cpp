#include "standalone/database/DatabaseManager.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseControl.h"
#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace fs = std::filesystem;

namespace {

DatabaseManager& TheManager() {
    static auto* manager = new DatabaseManager;  // never destroyed: plug-ins may call until the process ends
    return *manager;
}

bool LogFailure(const std::string& plugin, const std::string& error) {
    LogSinkWrite(kLogError, kModulePlatform, "[database] plug-in %s: %s", plugin.c_str(), error.c_str());
    return false;
}

bool LogNotOffered(const char* operation) {
    LogSinkWrite(kLogWarning, kModulePlatform, "[database] %s is not offered by the embedded database", operation);
    return false;
}

bool FolderOf(const qar::SDBParam& param, std::string& folder, std::string& error) {
    if (param.dbType != kDatabaseSqlite) {
        error = "database kind " + std::to_string(param.dbType) + " is not offered, only " +
                std::to_string(kDatabaseSqlite) + ", SQLite";
        return false;
    }
    if (param.dbName.empty() || param.dbName.find('\0') != std::string::npos) {
        error = "the database's name is no folder";
        return false;
    }
    std::error_code failure;
    folder = fs::absolute(param.dbName, failure).lexically_normal().string();
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    if (failure) {
        error = param.dbName + ": " + failure.message();
    }
    return !failure;
}

bool MakeFolder(const std::string& folder, std::string& error) {
    std::error_code failure;
    fs::create_directories(fs::path(folder).parent_path(), failure);
    const int mkdir_error = mkdir(folder.c_str(), S_IRWXU) == 0 ? 0 : errno;
    if (mkdir_error != 0 && mkdir_error != EEXIST) {
        error = folder + ": cannot be made: " + std::generic_category().message(mkdir_error);
        return false;
    }
    if (!fs::is_directory(folder, failure)) {
        error = folder + ": is no folder";
        return false;
    }
    return true;
}

}  // namespace

DatabaseManager::DatabaseManager(DatabaseWaits waits) : waits_(waits), ids_(waits) {}

bool DatabaseManager::Open(const std::string& plugin, uint32_t count, const qar::SDBParam& param) {
    std::string folder;
    std::string error;
    if (!FolderOf(param, folder, error) || !MakeFolder(folder, error)) {
        return LogFailure(plugin, error);
    }
    const auto pool = std::make_shared<ConnectionPool>(folder, count, waits_);
    if (!pool->CheckOut(error)) {
        return LogFailure(plugin, error);
    }
    ids_.Update(folder);
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [entry, is_new] = pools_.emplace(plugin, pool);
    if (!is_new) {
        entry->second->Update(folder, count);
    }
    return true;
}

bool DatabaseManager::Finalize(const std::string& plugin) {
    std::shared_ptr<ConnectionPool> pool;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = pools_.find(plugin);
        if (found != pools_.end()) {
            pool = std::move(found->second);
            pools_.erase(found);
        }
    }
    if (!pool) {
        return LogFailure(plugin, "has no open database");
    }
    pool->Close();
    return true;
}

bool DatabaseManager::ResetDBParam(const std::string& plugin, const qar::SDBParam& param) {
    std::string folder;
    std::string error;
    const auto pool = Find(plugin);
    if (!pool) {
        return LogFailure(plugin, "has no open database");
    }
    if (!FolderOf(param, folder, error)) {
        return LogFailure(plugin, error);
    }
    if (!MakeFolder(folder, error)) {  // the folder may still come; statements fail until then
        LogFailure(plugin, error);
    }
    pool->Repoint(folder);
    ids_.Repoint(folder);
    return true;
}

bool DatabaseManager::ForwardedCallA(qar::SDBForwardArg&, qar::SDBForwardArg&, uint32_t) {
    return LogNotOffered("ForwardedCallA");
}

bool DatabaseManager::ExecuteQuery(const std::string& plugin, uint32_t, const std::string& sql, ResultFunc fn) {
    return RunOn(
        plugin, [&](SqliteConnect& connect) { return connect.Query(sql); }, fn);
}

bool DatabaseManager::Execute(const std::string& plugin, uint32_t, const std::string& sql) {
    return RunOn(
        plugin, [&](SqliteConnect& connect) { return connect.Execute(sql); }, nullptr);
}

bool DatabaseManager::ForwardedCallB(qar::SDBForwardArg&, uint32_t, qar::SDBForwardArg&) {
    return LogNotOffered("ForwardedCallB");
}

qar::SDBForwardResult DatabaseManager::ForwardedCallC(qar::SDBForwardArg&, uint32_t, bool) {
    LogNotOffered("ForwardedCallC");
    return qar::SDBForwardResult();
}

bool DatabaseManager::ExecuteQueryUDT(const std::string& plugin, uint32_t, const std::string& sql, ResultFunc fn,
                                      int timeout) {
    const unsigned int seconds = timeout > 0 ? static_cast<unsigned int>(timeout) : 0;
    return RunOn(
        plugin, [&](SqliteConnect& connect) { return connect.QueryUDT(sql, &seconds); }, fn);
}

bool DatabaseManager::ExecuteSortByCollate(const std::string& plugin, uint32_t, const std::string& sql, ResultFunc fn,
                                           const std::string& collate) {
    return RunOn(
        plugin, [&](SqliteConnect& connect) { return connect.QuerySortByCollate(sql, collate); }, fn);
}

int64_t DatabaseManager::GetNextID(const std::string& name) {
    std::string error;
    const int64_t id = ids_.Next(error);
    if (id == 0) {
        LogSinkWrite(kLogError, kModulePlatform, "[database] no number for \"%s\": %s", name.c_str(), error.c_str());
    }
    return id;
}

bool DatabaseManager::ForwardedCallD(qar::SDBForwardArg&, qar::SDBForwardArg&, qar::SDBForwardArg&, uint32_t) {
    return LogNotOffered("ForwardedCallD");
}

bool DatabaseManager::ExecuteSortByCollateUDT(const std::string& plugin, uint32_t, const std::string& sql,
                                              ResultFunc fn, const std::string& collate, const unsigned int* timeout) {
    return RunOn(
        plugin, [&](SqliteConnect& connect) { return connect.QuerySortByCollateUDT(sql, collate, timeout); }, fn);
}

void DatabaseManager::Stop() {
    std::map<std::string, std::shared_ptr<ConnectionPool>> pools;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        pools.swap(pools_);
    }
    for (const auto& [plugin, pool] : pools) {
        pool->Close();
    }
    ids_.Repoint("");
}

std::shared_ptr<ConnectionPool> DatabaseManager::Find(const std::string& plugin) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = pools_.find(plugin);
    return found == pools_.end() ? nullptr : found->second;
}

bool DatabaseManager::RunOn(const std::string& plugin, const Statement& statement, const ResultFunc& fn) {
    const auto pool = Find(plugin);
    if (!pool) {
        return LogFailure(plugin, "has no open database");
    }
    std::string error;
    const auto lease = pool->CheckOut(error);
    if (!lease) {
        return LogFailure(plugin, error);
    }
    SqliteConnect& connect = **lease;
    if (!statement(connect)) {
        connect.GetLastErrorText(error);
        return LogFailure(plugin, error);
    }
    if (fn) {
        fn(&connect);
    }
    return !connect.RollbackOpenTransaction() || LogFailure(plugin, kOpenTransactionText);
}

void StopDatabase() { TheManager().Stop(); }

}  // namespace qarplatform

namespace qar {

IDBManagerPure* IDBManagerPure::Instance() { return &qarplatform::TheManager(); }

}  // namespace qar
