#pragma once

#include <memory>

#include "Mox/Base/Singleton.h"
#include "Mox/Base/ThreadPool.h"
#include "qar/IBusMsg.h"

namespace qar {

class CHistoryStateMgr;

/// The workers of the state history.
class CMessageLoopForHistoryState : public Mox::Base::CMessageLoopDyThreadPool,
                                    public Mox::Base::CSingleton<CMessageLoopForHistoryState> {};

// The pieces of work. Each class's PushTask queues one and gives false, with a line in the log, when more than 5000 are
// queued already: the piece is dropped then and nothing remembers it. p_callback_mgr_ is a plain pointer as the manager
// lives to the end of the process.

/// Tells every plug-in its exception ranges.
class CNotifyExceptionRangeTask : public Mox::Base::CTask {
public:
    static bool PushTask(CHistoryStateMgr* p_callback_mgr);
    explicit CNotifyExceptionRangeTask(CHistoryStateMgr* p_callback_mgr) : p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    CHistoryStateMgr* p_callback_mgr_;
};

/// Removes expired points.
class CDelExpireStateTask : public Mox::Base::CTask {
public:
    static bool PushTask(CHistoryStateMgr* p_callback_mgr);
    explicit CDelExpireStateTask(CHistoryStateMgr* p_callback_mgr) : p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    CHistoryStateMgr* p_callback_mgr_;
};

/// Checks every camera.
class CCheckStateTask : public Mox::Base::CTask {
public:
    static bool PushTask(CHistoryStateMgr* p_callback_mgr);
    explicit CCheckStateTask(CHistoryStateMgr* p_callback_mgr) : p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    CHistoryStateMgr* p_callback_mgr_;
};

/// Tries the put-off cameras again.
class CSetCareCameraDelayTask : public Mox::Base::CTask {
public:
    static bool PushTask(CHistoryStateMgr* p_callback_mgr);
    explicit CSetCareCameraDelayTask(CHistoryStateMgr* p_callback_mgr) : p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    CHistoryStateMgr* p_callback_mgr_;
};

/// Handles an event of a device.
class CHandleDeviceStateTask : public Mox::Base::CTask {
public:
    static bool PushTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr);
    CHandleDeviceStateTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr)
        : ptr_bus_msg_(std::move(ptr_bus_msg)), p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    std::shared_ptr<IBusMsg> ptr_bus_msg_;
    CHistoryStateMgr* p_callback_mgr_;
};

/// Handles an event of a channel.
class CHandleChannelStateTask : public Mox::Base::CTask {
public:
    static bool PushTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr);
    CHandleChannelStateTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr)
        : ptr_bus_msg_(std::move(ptr_bus_msg)), p_callback_mgr_(p_callback_mgr) {}
    void Exec() override;

private:
    std::shared_ptr<IBusMsg> ptr_bus_msg_;
    CHistoryStateMgr* p_callback_mgr_;
};

}  // namespace qar
