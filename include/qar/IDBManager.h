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
/// returns; the connection it is given holds the whole result and is valid during that call only.
/// Failures: false, with the reason in the log. Threads: any; every operation blocks on the database.
class QARCOMMON_API IDBManager {
public:
    using ResultFunc = std::function<void(db_layer::CConnect*)>;

    /// @return the one object, never null, alive to the end of the process
    static IDBManager* Instance();

    virtual ~IDBManager();

    /// Opens a plug-in's connections, the sum of the two counts.
    virtual bool Initialize(const std::string& plugin, uint32_t count_a, uint32_t count_b) = 0;
    /// Closes a plug-in's connections. @return false when they were not open
    virtual bool Finalize(const std::string& plugin) = 0;
    virtual bool ForwardedCallA(SDBForwardArg& first, SDBForwardArg& second, uint32_t connType) = 0;
    /// Runs a query and, when it succeeds, calls `fn` once.
    virtual bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) = 0;
    /// Runs statements without rows; several in one text, separated by ";", take effect together or not at all.
    virtual bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) = 0;
    virtual bool ForwardedCallB(SDBForwardArg& first, uint32_t connType, SDBForwardArg& second) = 0;
    virtual SDBForwardResult ForwardedCallC(SDBForwardArg& first, uint32_t connType, bool flag) = 0;
    /// Points a plug-in's connections to the node's present database parameters.
    virtual bool ResetDBParam(const std::string& plugin) = 0;
    /// ExecuteQuery with a time-out in seconds; 0 or below: none.
    virtual bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 int timeout) = 0;
    /// ExecuteQuery whose last ORDER BY sorts texts by a collation.
    virtual bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql,
                                      ResultFunc fn, const std::string& collate) = 0;
    /// @param name  name of the sequence; "" is the common one
    /// @return a number that is unique in the database, above 0; 0 when none can be had
    virtual int64_t GetNextID(const std::string& name) = 0;
    virtual bool ForwardedCallD(SDBForwardArg& first, SDBForwardArg& second, SDBForwardArg& third,
                                uint32_t connType) = 0;
    /// ExecuteSortByCollate with a time-out. @param timeout  seconds; must not be null
    virtual bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql,
                                         ResultFunc fn, const std::string& collate, const unsigned int* timeout) = 0;
};

}  // namespace qar
