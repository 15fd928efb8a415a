#include "qarcommonbiz/DBManagerImpl.h"

#include "ZELPlatform/LocalConfigManager.h"
#include "internal/Log.h"
#include "internal/Topics.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace qar {

using namespace internal;

namespace {

constexpr int kDbInfoChanged = 1;

uint32_t NormaliseConnType(uint32_t connType) { return connType == 2 ? 2 : 1; }

}  // namespace

IDBManager* IDBManager::Instance() {
    static CDBManagerImpl manager;
    return &manager;
}

IDBManager::~IDBManager() = default;

bool CDBManagerImpl::GetDBParam(SDBParam& param) {
    const std::shared_ptr<ZELPlatform::CLocalDBInfo> info = ZELPlatform::LocalConfigManager::GetLocationDBInfo();
    if (!info) return false;
    param.dbType = info->GetValdbType();
    param.dbIp = info->GetValdbIp();
    param.dbPort = info->GetValdbPort();
    param.dbUser = info->GetValdbUser();
    param.dbPasswd = info->GetValdbPasswd();
    param.dbName = info->GetValdbName();
    return true;
}

bool CDBManagerImpl::Initialize(const std::string& plugin, uint32_t count_a, uint32_t count_b) {
    SDBParam param;
    if (!GetDBParam(param)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]GetDBParam failed, get platform DB info failed, plugin[%s]\n[%s(%d)]",
                plugin.c_str());
        return false;
    }
    if (!IDBManagerPure::Instance()->Open(plugin, count_a + count_b, param)) return false;
    std::lock_guard<std::mutex> lock(mutex_plugins);
    if (plugins.empty()) {
        const auto ptr_bus_mgr = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
        const bool subscribed = ptr_bus_mgr->SubscribeChangeMsgEx(kTopicLocalConfig, {kDbInfoChanged},
                                                                  ProcChangeMsgCBFunc, this, kSubscriberDbManager);
        QAR_LOG(kLogInformation, kModuleCommon, "[%s]CDBManager SubscribeChangeMsg %s.\n[%s(%d)]",
                subscribed ? "OK" : "failed");
    }
    plugins.insert(plugin);
    return true;
}

bool CDBManagerImpl::Finalize(const std::string& plugin) {
    if (!IDBManagerPure::Instance()->Finalize(plugin)) return false;
    std::lock_guard<std::mutex> lock(mutex_plugins);
    plugins.erase(plugin);
    if (plugins.empty()) {
        const auto ptr_bus_mgr = IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
        ptr_bus_mgr->UnsubscribeChangeMsgEx(kTopicLocalConfig, {}, kSubscriberDbManager);
        QAR_LOG(kLogInformation, kModuleCommon, "[%s]CDBManager UnsubscribeChangeMsg OK.\n[%s(%d)]");
    }
    return true;
}

bool CDBManagerImpl::ResetDBParam(const std::string& plugin) {
    SDBParam param;
    if (!GetDBParam(param)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]GetDBParam failed when ResetDBParam, plugin[%s].\n[%s(%d)]",
                plugin.c_str());
        return false;
    }
    return IDBManagerPure::Instance()->ResetDBParam(plugin, param);
}

void CDBManagerImpl::ProcChangeMsgCBFunc(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data) {
    if (!msg || user_data == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Recv Observer[%s], ptr_bus_msg[%d] or user_data[%p] is null.[%s(%d)]",
                observer.c_str(), msg ? 1 : 0, user_data);
        return;
    }
    if (observer != kTopicLocalConfig) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Recv Observer[%s], user_data[%p], no handler function matched.[%s(%d)]",
                observer.c_str(), user_data);
        return;
    }
    static_cast<CDBManagerImpl*>(user_data)->ObserverMsgCB(observer, msg);
}

void CDBManagerImpl::ObserverMsgCB(const std::string& observer, std::shared_ptr<IBusMsg> msg) {
    if (!msg) {
        QAR_LOG(kLogCritical, kModuleCommon, "[%s]ObserverMsgCB msg is null, observer[%s]\n[%s(%d)]", observer.c_str());
        return;
    }
    if (observer != kTopicLocalConfig || msg->Type() != kDbInfoChanged) return;
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Process DBInfo change begin.\n[%s(%d)]");
    SDBParam param;
    if (!GetDBParam(param)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]GetDBParam failed when ObserverMsgCB of DBInfo.\n[%s(%d)]");
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_plugins);
        for (const std::string& plugin : plugins) IDBManagerPure::Instance()->ResetDBParam(plugin, param);
    }
    QAR_LOG(kLogInformation, kModuleCommon, "[%s]Process DBInfo change end.\n[%s(%d)]");
}

// Pass-through: nothing is tested here, not even that the plug-in was initialised.

bool CDBManagerImpl::ForwardedCallA(SDBForwardArg& first, SDBForwardArg& second, uint32_t connType) {
    return IDBManagerPure::Instance()->ForwardedCallA(first, second, NormaliseConnType(connType));
}

bool CDBManagerImpl::ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) {
    return IDBManagerPure::Instance()->ExecuteQuery(plugin, NormaliseConnType(connType), sql, std::move(fn));
}

bool CDBManagerImpl::Execute(const std::string& plugin, uint32_t connType, const std::string& sql) {
    return IDBManagerPure::Instance()->Execute(plugin, NormaliseConnType(connType), sql);
}

bool CDBManagerImpl::ForwardedCallB(SDBForwardArg& first, uint32_t connType, SDBForwardArg& second) {
    return IDBManagerPure::Instance()->ForwardedCallB(first, NormaliseConnType(connType), second);
}

SDBForwardResult CDBManagerImpl::ForwardedCallC(SDBForwardArg& first, uint32_t connType, bool flag) {
    return IDBManagerPure::Instance()->ForwardedCallC(first, NormaliseConnType(connType), flag);
}

bool CDBManagerImpl::ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql,
                                     ResultFunc fn, int timeout) {
    return IDBManagerPure::Instance()->ExecuteQueryUDT(plugin, NormaliseConnType(connType), sql, std::move(fn),
                                                       timeout);
}

bool CDBManagerImpl::ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql,
                                          ResultFunc fn, const std::string& collate) {
    return IDBManagerPure::Instance()->ExecuteSortByCollate(plugin, NormaliseConnType(connType), sql, std::move(fn),
                                                            collate);
}

int64_t CDBManagerImpl::GetNextID(const std::string& name) { return IDBManagerPure::Instance()->GetNextID(name); }

bool CDBManagerImpl::ForwardedCallD(SDBForwardArg& first, SDBForwardArg& second, SDBForwardArg& third,
                                    uint32_t connType) {
    return IDBManagerPure::Instance()->ForwardedCallD(first, second, third, NormaliseConnType(connType));
}

bool CDBManagerImpl::ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql,
                                             ResultFunc fn, const std::string& collate, const unsigned int* timeout) {
    const unsigned int timeout_copy = *timeout;
    return IDBManagerPure::Instance()->ExecuteSortByCollateUDT(plugin, NormaliseConnType(connType), sql, std::move(fn),
                                                               collate, &timeout_copy);
}

}  // namespace qar
