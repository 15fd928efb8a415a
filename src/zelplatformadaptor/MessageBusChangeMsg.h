#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "ZELPlatform/MsgBus.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"

namespace qar {

/// The change messages of the bus: publishes topics, sends on them and subscribes plug-ins to them. What is registered
/// with the platform holds a pointer to this object, so it is made with std::make_shared.
/// Threads: any, also from inside a callback; no lock is held across a call to the platform or a plug-in.
class CMessageBusChangeMsg : public std::enable_shared_from_this<CMessageBusChangeMsg> {
public:
    /// What an Ex subscription calls, and what is handed to the platform as its user data.
    struct ChangeMsgCBFuncExParam {
        ChangeFuncEx fn;
        void* user_data;

        std::string ToText() const;

        friend bool operator==(const ChangeMsgCBFuncExParam&, const ChangeMsgCBFuncExParam&) = default;
    };

    bool PublishChangeMsgType(const std::string& observer, const std::set<int>& task0_types,
                              const std::set<int>& task2_types);
    bool SubscribeChangeMsg(const std::string& observer, const std::set<int>& types, ChangeFunc fn,
                            const std::string& plugin);
    void UnsubscribeChangeMsg(const std::string& observer, const std::string& plugin);
    bool SubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types, ChangeFuncEx fn, void* user_data,
                              const std::string& plugin);
    void UnsubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types, const std::string& plugin);
    bool PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer);

private:
    using ChangeMsgNotifyFunc = ZELPlatform::MsgBus::ChangeMsgNotifyFunc;

    void AddToMsgTypeSet(const std::string& observer, const std::set<int>& types, std::set<std::string>& type_set);
    bool AddCBToMap(const std::string& key, const std::shared_ptr<ChangeMsgCBFuncExParam>& param);
    std::shared_ptr<ChangeMsgCBFuncExParam> FindCB(const std::string& key);

    void ChangeMsgNotifyCB(const std::string& observer, const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                           const ChangeFunc& fn, const std::string& plugin);
    static void ChangeMsgNotifyCBEx(const std::string& observer, int type,
                                    const std::shared_ptr<ZELPlatform::CBaseContent>& content, void* user_data);

    // guarded by mutex_types
    std::set<std::string> set_task0_types;
    std::set<std::string> set_task2_types;
    std::mutex mutex_types;

    // guarded by mutex_cb
    std::map<std::string, std::list<ChangeMsgNotifyFunc>> map_cb_proc;
    std::map<std::string, std::shared_ptr<ChangeMsgCBFuncExParam>> map_cb_ex;
    std::mutex mutex_cb;
};

}  // namespace qar
