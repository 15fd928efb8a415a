#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "qar/IBusMsg.h"
#include "qar/IDBManager.h"
#include "qarutil/DBManagerPure.h"

namespace qar {

/// Front of the platform's database connections: opens plug-ins' connections with the node's parameters and, while any
/// plug-in is open, re-points them when these change.
class CDBManagerImpl : public IDBManager {
public:
    bool Initialize(const std::string& plugin, uint32_t count_a, uint32_t count_b) override;
    bool Finalize(const std::string& plugin) override;
    bool ForwardedCallA(SDBForwardArg& first, SDBForwardArg& second, uint32_t connType) override;
    bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) override;
    bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) override;
    bool ForwardedCallB(SDBForwardArg& first, uint32_t connType, SDBForwardArg& second) override;
    SDBForwardResult ForwardedCallC(SDBForwardArg& first, uint32_t connType, bool flag) override;
    bool ResetDBParam(const std::string& plugin) override;
    bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                         int timeout) override;
    bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                              const std::string& collate) override;
    int64_t GetNextID(const std::string& name) override;
    bool ForwardedCallD(SDBForwardArg& first, SDBForwardArg& second, SDBForwardArg& third, uint32_t connType) override;
    bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 const std::string& collate, const unsigned int* timeout) override;

    /// Given to the bus; `user_data` is the manager. Runs on a thread of the bus.
    static void ProcChangeMsgCBFunc(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data);
    /// Re-points every open plug-in when the message tells of a change of the database information.
    void ObserverMsgCB(const std::string& observer, std::shared_ptr<IBusMsg> msg);

private:
    static bool GetDBParam(SDBParam& param);

    std::set<std::string> plugins;  // initialised and not finalised; guarded by mutex_plugins
    std::mutex mutex_plugins;       // held across subscribe, unsubscribe and the whole loop of a re-pointing
};

}  // namespace qar
