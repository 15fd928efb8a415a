#include "zelplatformadaptor/MessageBusChangeMsg.h"

#include <cstdint>
#include <new>
#include <tuple>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "Mox/Base/StringUtil.h"
#include "internal/LeakSanitizer.h"
#include "internal/Log.h"
#include "internal/PerformceTiming.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"
#include "zelplatformadaptor/PluginMsgBusChange.h"

namespace qar {

using internal::kLogDebug;
using internal::kLogError;
using internal::kLogInformation;
using internal::kLogWarning;
using internal::kModuleCommon;
using internal::kModuleMsg;
using Mox::Base::Error;

namespace {

using Param = CMessageBusChangeMsg::ChangeMsgCBFuncExParam;

constexpr int kErrorAddFailed = 1;
constexpr int kErrorNullFunction = 2;
constexpr int kErrorOtherFunction = 40945;

std::string TypeKey(const std::string& observer, int type) {
    return Mox::Base::StringUtil::str_fmt("%s:%d", observer.c_str(), type);
}

std::string CallbackKey(const std::string& plugin, const std::string& observer) { return plugin + "+" + observer; }

std::string TypesText(const std::set<int>& types) {
    std::string text;
    for (const int type : types) {
        if (!text.empty()) text += ',';
        text += std::to_string(type);
    }
    return text;
}

/// The platform may call with a parameter's address while its subscription ends, so a parameter is never freed: one is
/// kept for each callback key, function and user data.
std::shared_ptr<Param> InternParam(const std::string& key, ChangeFuncEx fn, void* user_data) {
    using Identity = std::tuple<std::string, std::uintptr_t, std::uintptr_t>;
    static std::mutex& mutex = *new std::mutex;
    static auto& params = *new std::map<Identity, std::shared_ptr<Param>>;

    const std::lock_guard<std::mutex> lock(mutex);
    auto& param =
        params[Identity(key, reinterpret_cast<std::uintptr_t>(fn), reinterpret_cast<std::uintptr_t>(user_data))];
    if (param == nullptr) param = std::make_shared<Param>(Param{fn, user_data});
    return param;
}

}  // namespace

std::string CMessageBusChangeMsg::ChangeMsgCBFuncExParam::ToText() const {
    return Mox::Base::StringUtil::str_fmt("func[%p], user-data[%p]", reinterpret_cast<void*>(fn), user_data);
}

bool CMessageBusChangeMsg::PublishChangeMsgType(const std::string& observer, const std::set<int>& task0_types,
                                                const std::set<int>& task2_types) {
    AddToMsgTypeSet(observer, task0_types, set_task0_types);
    AddToMsgTypeSet(observer, task2_types, set_task2_types);
    const bool registered = ZELPlatform::MsgBus::RegistObserver(observer);
    if (registered) {
        QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] PublishChangeMsgType OK, observer[%s]\n[%s(%d)]",
                observer.c_str());
    } else {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s][MessageBus] PublishChangeMsgType failed, observer[%s].\n[%s(%d)]",
                observer.c_str());
    }
    return registered;
}

bool CMessageBusChangeMsg::SubscribeChangeMsg(const std::string& observer, const std::set<int>&, ChangeFunc fn,
                                              const std::string& plugin) {
    if (!fn) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] plugin[%s] subscribes[%s] change-msg failed for function is null.\n[%s(%d)]",
                plugin.c_str(), observer.c_str());
        return false;
    }
    const ChangeMsgNotifyFunc bound = ZELPlatform::MsgBus::CObserverFunction(
        [self = shared_from_this(), fn = std::move(fn), plugin](
            const std::string& topic, const std::shared_ptr<ZELPlatform::CBaseContent>& content) {
            self->ChangeMsgNotifyCB(topic, content, fn, plugin);
        });
    QAR_LOG(kLogInformation, kModuleCommon, "[%s][MessageBus] plugin[%s] subscribes [%s] change-msg\n[%s(%d)]",
            plugin.c_str(), observer.c_str());
    if (!ZELPlatform::MsgBus::SubscribeObserver(observer, plugin, bound)) return false;
    const std::lock_guard<std::mutex> lock(mutex_cb);
    map_cb_proc[CallbackKey(plugin, observer)].push_back(bound);
    internal::LeftToProcessEnd(this);  // the function holds this object until it is unsubscribed
    return true;
}

void CMessageBusChangeMsg::UnsubscribeChangeMsg(const std::string& observer, const std::string& plugin) {
    const std::string key = CallbackKey(plugin, observer);
    std::list<ChangeMsgNotifyFunc> functions;
    {
        const std::lock_guard<std::mutex> lock(mutex_cb);
        const auto found = map_cb_proc.find(key);
        if (found != map_cb_proc.end()) functions = found->second;
    }
    if (functions.empty()) {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s][MessageBus] CBProcList is empty when UnSubscribeObserver, plugin[%s], observer[%s]\n[%s(%d)]",
                plugin.c_str(), observer.c_str());
    }
    for (const auto& function : functions) {
        if (ZELPlatform::MsgBus::UnSubscribeObserver(observer, function)) {
            QAR_LOG(kLogInformation, kModuleCommon,
                    "[%s][MessageBus] UnSubscribeObserver OK, plugin[%s], observer[%s]\n[%s(%d)]", plugin.c_str(),
                    observer.c_str());
        } else {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s][MessageBus] UnSubscribeObserver failed, plugin[%s], observer[%s]\n[%s(%d)]", plugin.c_str(),
                    observer.c_str());
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_cb);
    map_cb_proc.erase(key);
}

bool CMessageBusChangeMsg::SubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                                ChangeFuncEx fn, void* user_data, const std::string& plugin) {
    if (fn == nullptr) {
        Error::SetLastError(Error::ErrorCode(0, kErrorNullFunction));
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] plugin[%s] subscribes[%s] change-msg failed for function is null.\n[%s(%d)]",
                plugin.c_str(), observer.c_str());
        return false;
    }
    const std::string types_text = TypesText(types);
    const std::string key = CallbackKey(plugin, observer);
    const Param wanted{fn, user_data};
    std::shared_ptr<Param> param = FindCB(key);
    if (param == nullptr) {
        param = InternParam(key, fn, user_data);
    } else if (*param == wanted) {
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s][MessageBus] Reuse one callback function, plugin[%s], observer[%s], msg-type[%s], cb[%s].\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str(), param->ToText().c_str());
    } else {
        Error::SetLastError(Error::ErrorCode(0, kErrorOtherFunction));
        QAR_LOG(
            kLogInformation, kModuleCommon,
            "[%s][MessageBus] One plugin and one observer correspond to multiple functions not support, plugin[%s], observer[%s], msg-type[%s], cb[%s], cb-new[%s].\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str(), param->ToText().c_str(), wanted.ToText().c_str());
        return false;
    }
    QAR_LOG(kLogInformation, kModuleCommon,
            "[%s][MessageBus] plugin[%s] subscribes[%s] msg-type[%s] change-msg.\n[%s(%d)]", plugin.c_str(),
            observer.c_str(), types_text.c_str());
    // A callback that is there already goes to the platform again: that is how a plug-in widens its types.
    if (!ZELPlatform::MsgBus::SubscribeObserverEx(plugin, observer, types, &CMessageBusChangeMsg::ChangeMsgNotifyCBEx,
                                                  param.get())) {
        const Error::ErrorCode error = Error::GetLastError();
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s][MessageBus] plugin[%s] subscribes[%s] msg-type[%s] cb[%s] change-msg failed, err[%d,%d].\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str(), param->ToText().c_str(), error.GetModule(),
            error.GetCode());
        return false;
    }
    if (!AddCBToMap(key, param)) {
        Error::SetLastError(Error::ErrorCode(0, kErrorAddFailed));
        QAR_LOG(kLogError, kModuleCommon,
                "[%s][MessageBus] plugin[%s] subscribes[%s] msg-type[%s] Add cb to map failed.\n[%s(%d)]",
                plugin.c_str(), observer.c_str(), types_text.c_str());
        return false;
    }
    QAR_LOG(kLogInformation, kModuleCommon,
            "[%s][MessageBus] plugin[%s] subscribes[%s] msg-type[%s] cb[%s] change-msg success.\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str(), param->ToText().c_str());
    return true;
}

void CMessageBusChangeMsg::UnsubscribeChangeMsgEx(const std::string& observer, const std::set<int>& types,
                                                  const std::string& plugin) {
    const std::string types_text = TypesText(types);
    const std::string key = CallbackKey(plugin, observer);
    const std::shared_ptr<Param> param = FindCB(key);
    if (param == nullptr) {
        QAR_LOG(
            kLogWarning, kModuleCommon,
            "[%s][MessageBus] CBExTypeTuple is empty when UnSubscribeObserver, plugin[%s], observer[%s], msg-type[%s]\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str());
    }
    // The whole subscription ends, whatever the types say.
    if (ZELPlatform::MsgBus::UnSubscribeObserverEx(plugin, observer, {})) {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s][MessageBus] UnSubscribeObserver OK, plugin[%s], observer[%s], msg-type[%s].\n[%s(%d)]",
                plugin.c_str(), observer.c_str(), types_text.c_str());
    } else {
        const Error::ErrorCode error = Error::GetLastError();
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s][MessageBus] UnSubscribeObserver failed, plugin[%s], observer[%s], msg-type[%s], err[%d,%d].\n[%s(%d)]",
            plugin.c_str(), observer.c_str(), types_text.c_str(), error.GetModule(), error.GetCode());
    }
    const std::lock_guard<std::mutex> lock(mutex_cb);
    map_cb_ex.erase(key);
}

bool CMessageBusChangeMsg::PostChangeMsg(std::shared_ptr<IBusMsg> msg, const std::string& observer) {
    if (msg == nullptr) return false;
    const int type = msg->Type();
    auto task_type = ZELPlatform::kObserverTask2;
    {
        const std::string key = TypeKey(observer, type);
        const std::lock_guard<std::mutex> lock(mutex_types);
        if (set_task0_types.count(key) != 0) task_type = ZELPlatform::kObserverTask0;
    }
    const auto content = std::make_shared<CPlatformMsgObserverContent>(std::move(msg));
    return ZELPlatform::MsgBus::NotifyObserverEventEx(observer, type, content, task_type);
}

void CMessageBusChangeMsg::AddToMsgTypeSet(const std::string& observer, const std::set<int>& types,
                                           std::set<std::string>& type_set) {
    std::vector<std::string> duplicates;
    {
        const std::lock_guard<std::mutex> lock(mutex_types);
        for (const int type : types) {
            std::string key = TypeKey(observer, type);
            if (!type_set.insert(key).second) duplicates.push_back(std::move(key));
        }
    }
    for (const auto& key : duplicates) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s][MessageBus] add change-msg-type[%s] failed, it duplicate.\n[%s(%d)]",
                key.c_str());
    }
}

bool CMessageBusChangeMsg::AddCBToMap(const std::string& key, const std::shared_ptr<Param>& param) {
    try {
        const std::lock_guard<std::mutex> lock(mutex_cb);
        map_cb_ex[key] = param;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::shared_ptr<CMessageBusChangeMsg::ChangeMsgCBFuncExParam> CMessageBusChangeMsg::FindCB(const std::string& key) {
    const std::lock_guard<std::mutex> lock(mutex_cb);
    const auto found = map_cb_ex.find(key);
    return found != map_cb_ex.end() ? found->second : nullptr;
}

void CMessageBusChangeMsg::ChangeMsgNotifyCB(const std::string& observer,
                                             const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                                             const ChangeFunc& fn, const std::string& plugin) {
    const auto msg = std::make_shared<CPluginMsgBusChange>(observer, -1, content);
    const CPerformceTiming timing("", false);
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Recv Observer-msg[%d] from [%s], msg: \n%s\n[%s(%d)]", msg->Type(),
            observer.c_str(), msg->GetJsonTxt().c_str());
    fn(observer, msg);
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Recv Observer-msg[%d] from [%s], [%s] proc-cost: %lld ms\n[%s(%d)]",
            msg->Type(), observer.c_str(), plugin.c_str(), timing.Elapsed());
}

void CMessageBusChangeMsg::ChangeMsgNotifyCBEx(const std::string& observer, int type,
                                               const std::shared_ptr<ZELPlatform::CBaseContent>& content,
                                               void* user_data) {
    const auto* registered = static_cast<const Param*>(user_data);
    if (registered == nullptr || registered->fn == nullptr) {
        QAR_LOG(kLogError, kModuleMsg, "[%s]User data is null, recv Observer-msg[%d] from [%s], [%p].[%s(%d)]", type,
                observer.c_str(), user_data);
        return;
    }
    const Param param = *registered;  // the function may end its own subscription
    const auto msg = std::make_shared<CPluginMsgBusChange>(observer, -1, content);
    const CPerformceTiming timing("", false);
    QAR_LOG(kLogDebug, kModuleMsg, "[%s]Recv Observer-msg[%d] from [%s], msg: \n%s\n[%s(%d)]", msg->Type(),
            observer.c_str(), msg->GetJsonTxt().c_str());
    param.fn(observer, msg, param.user_data);
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Recv Observer-msg[%d] from [%s], [%s] proc-cost: %lld ms\n[%s(%d)]",
            msg->Type(), observer.c_str(), param.ToText().c_str(), timing.Elapsed());
}

}  // namespace qar
