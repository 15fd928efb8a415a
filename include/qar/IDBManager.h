#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "db_layer/Connect.h"
#include "qar/Export.h"

namespace qar {

struct SDBForwardArg;
struct SDBForwardResult;

/// Plug-ins' database connections. A plug-in's connections follow a change of the node's database parameters by
/// themselves.
/// `connType` 2 is 2, every other value counts as 1. A result function runs on the caller's thread before the call
/// returns, and not at all when the query fails; the connection it is given holds the whole result and is valid during
/// that call only. It may call any operation here, but must call none of IHistoryStateMgr's: those can wait for a
/// thread that waits for this very connection, and that thread's statement then fails. What it throws reaches the
/// caller of the query.
/// The forwarded calls hand their arguments to the platform as they are, which alone knows what they mean.
/// Failures: false, also for a plug-in whose connections are not open, with the reason in the log.
/// Threads: any; every operation blocks on the database. Initialize and Finalize of one plug-in must not overlap, or
/// it can end up open without following changes.
class QARCOMMON_API IDBManager {
public:
    using ResultFunc = std::function<void(db_layer::CConnect*)>;

    /// @return the one object, never null, alive to the end of the process
    static IDBManager* Instance();

    virtual ~IDBManager();

    /// Opens a plug-in's connections, the sum of the two counts. One that is open keeps them and takes the node's
    /// present database parameters.
    /// @return false when the node has no database parameters or the database cannot be reached; nothing is open then
    virtual bool Initialize(const std::string& plugin, uint32_t count_a, uint32_t count_b) = 0;
    /// Closes a plug-in's connections; those in use close when they come back. @return false when they were not open
    virtual bool Finalize(const std::string& plugin) = 0;
    virtual bool ForwardedCallA(SDBForwardArg& first, SDBForwardArg& second, uint32_t connType) = 0;
    /// Runs a query and, when it succeeds, calls `fn` once.
    virtual bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) = 0;
    /// Runs statements without rows; several in one text, separated by ";", take effect together or not at all, so on
    /// false nothing has changed.
    virtual bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) = 0;
    virtual bool ForwardedCallB(SDBForwardArg& first, uint32_t connType, SDBForwardArg& second) = 0;
    virtual SDBForwardResult ForwardedCallC(SDBForwardArg& first, uint32_t connType, bool flag) = 0;
    /// Points a plug-in's connections to the node's present database parameters. Statements that run finish where they
    /// began, and nobody waits for them.
    /// @return false when the node has no database parameters or the plug-in's connections are not open
    virtual bool ResetDBParam(const std::string& plugin) = 0;
    /// ExecuteQuery with a time-out in seconds; 0 or below: none.
    virtual bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 int timeout) = 0;
    /// ExecuteQuery whose last ORDER BY sorts texts by a collation.
    /// @param collate  name of the collation; "" sorts as the database does by itself
    virtual bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql,
                                      ResultFunc fn, const std::string& collate) = 0;
    /// @param name  name of the sequence; "" is the common one
    /// @return a number that is unique in the database, above 0; 0 when none can be had
    virtual int64_t GetNextID(const std::string& name) = 0;
    virtual bool ForwardedCallD(SDBForwardArg& first, SDBForwardArg& second, SDBForwardArg& third,
                                uint32_t connType) = 0;
    /// ExecuteSortByCollate with a time-out. @param timeout  seconds, 0: none; must not be null, is read at once
    virtual bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql,
                                         ResultFunc fn, const std::string& collate, const unsigned int* timeout) = 0;
};

}  // namespace qar
