#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "db_layer/Connect.h"

namespace qar {

/// Where a plug-in's database lies.
struct SDBParam {
    uint32_t dbType = 0;   ///< kind of database, as the platform numbers them
    std::string dbIp;      ///< address of the server; "" for an embedded database
    int32_t dbPort = 0;    ///< port, 0 to 65535
    std::string dbUser;    ///< user name
    std::string dbPasswd;  ///< password
    std::string dbName;    ///< name of the database; for an embedded database the folder of its files
};

/// Opaque argument of the forwarded calls: what it holds is the platform's matter, the library passes the reference on.
struct SDBForwardArg;

/// Opaque answer of ForwardedCallC.
struct SDBForwardResult {
    long long n_value = 0;
    std::string str_value;
};

/// The plug-ins' database connections, a pool for each plug-in. One object per process.
/// Connection types: 1 and 2; an embedded database treats both alike.
/// Threads: any. A statement waits for a free connection of the plug-in and fails when none comes free in time; a
/// result function runs on the caller's thread before the call returns and may itself call any operation here.
class IDBManagerPure {
public:
    using ResultFunc = std::function<void(db_layer::CConnect*)>;

    static IDBManagerPure* Instance();

    virtual ~IDBManagerPure() {}

    /// Creates a plug-in's connections; a plug-in that is open keeps its connections and gets the new parameters.
    /// @param count  most connections at a time, at least 1 is made
    /// @return false when the database cannot be reached; nothing is open then
    virtual bool Open(const std::string& plugin, uint32_t count, const SDBParam& param) = 0;

    /// Closes a plug-in's connections; those in use close when they come back. @return false when it was not open
    virtual bool Finalize(const std::string& plugin) = 0;

    /// Points a plug-in's connections to other parameters. Statements that run finish where they began; nobody is
    /// waited for. @return false when the plug-in is not open
    virtual bool ResetDBParam(const std::string& plugin, const SDBParam& param) = 0;

    virtual bool ForwardedCallA(SDBForwardArg& first, SDBForwardArg& second, uint32_t connType) = 0;

    /// Runs a query on one of the plug-in's connections and, on success, calls `fn` once with that connection.
    /// @return false on failure, `fn` is not called then
    virtual bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) = 0;

    /// Runs statements without rows. @return false on failure: nothing of the text has taken effect
    virtual bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) = 0;

    virtual bool ForwardedCallB(SDBForwardArg& first, uint32_t connType, SDBForwardArg& second) = 0;

    virtual SDBForwardResult ForwardedCallC(SDBForwardArg& first, uint32_t connType, bool flag) = 0;

    /// ExecuteQuery with a time-out in real seconds; 0 or below: none.
    virtual bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 int timeout) = 0;

    /// ExecuteQuery whose last ORDER BY sorts texts by a collation.
    virtual bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql,
                                      ResultFunc fn, const std::string& collate) = 0;

    /// @param name  name of the sequence; "" is the common one
    /// @return a number that is unique in the database and above 0; 0 when none can be had
    virtual int64_t GetNextID(const std::string& name) = 0;

    virtual bool ForwardedCallD(SDBForwardArg& first, SDBForwardArg& second, SDBForwardArg& third,
                                uint32_t connType) = 0;

    /// ExecuteSortByCollate with a time-out in real seconds; null or 0: none.
    virtual bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql,
                                         ResultFunc fn, const std::string& collate, const unsigned int* timeout) = 0;
};

}  // namespace qar
