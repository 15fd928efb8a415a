#include "qarcommonbiz/TaskDefine.h"

#include <new>

#include "internal/Log.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"

namespace qar {

using namespace internal;

namespace {

constexpr int kMostQueuedTasks = 5000;

}  // namespace

bool CNotifyExceptionRangeTask::PushTask(CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow) CNotifyExceptionRangeTask(p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CNotifyExceptionRangeTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CNotifyExceptionRangeTask::PushTask more task  count = %d[%s(%d)]",
                count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CNotifyExceptionRangeTask::Exec() {
    if (p_callback_mgr_ == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->NotifyExceptionRange();
}

bool CDelExpireStateTask::PushTask(CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow) CDelExpireStateTask(p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CDelExpireStateTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CDelExpireStateTask::PushTask more task  count = %d[%s(%d)]", count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CDelExpireStateTask::Exec() {
    if (p_callback_mgr_ == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->CheckExpireState();
}

bool CCheckStateTask::PushTask(CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow) CCheckStateTask(p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CCheckStateTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CCheckStateTask::PushTask more task  count = %d[%s(%d)]", count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CCheckStateTask::Exec() {
    if (p_callback_mgr_ == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->CheckCameraState();
}

bool CSetCareCameraDelayTask::PushTask(CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow) CSetCareCameraDelayTask(p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CSetCareCameraDelayTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CSetCareCameraDelayTask::PushTask more task  count = %d[%s(%d)]", count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CSetCareCameraDelayTask::Exec() {
    if (p_callback_mgr_ == nullptr) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->DoDelaySetCareCamera();
}

bool CHandleDeviceStateTask::PushTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow)
                                                     CHandleDeviceStateTask(std::move(ptr_bus_msg), p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHandleDeviceStateTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHandleDeviceStateTask::PushTask more task  count = %d[%s(%d)]", count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CHandleDeviceStateTask::Exec() {
    if (p_callback_mgr_ == nullptr || !ptr_bus_msg_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is or ptr_bus_msg_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->HandleDeviceState(ptr_bus_msg_);
}

bool CHandleChannelStateTask::PushTask(std::shared_ptr<IBusMsg> ptr_bus_msg, CHistoryStateMgr* p_callback_mgr) {
    const std::shared_ptr<Mox::Base::CTask> task(new (std::nothrow)
                                                     CHandleChannelStateTask(std::move(ptr_bus_msg), p_callback_mgr));
    if (!task) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHandleChannelStateTask::PushTask new task is fail[%s(%d)]");
        return false;
    }
    const int count = CMessageLoopForHistoryState::Instance()->GetWorkTaskCount();
    if (count > kMostQueuedTasks) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CHandleChannelStateTask::PushTask more task  count = %d[%s(%d)]", count);
        return false;
    }
    CMessageLoopForHistoryState::Instance()->PostTask(task);
    return true;
}

void CHandleChannelStateTask::Exec() {
    if (p_callback_mgr_ == nullptr || !ptr_bus_msg_) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]p_callback_mgr_ is or ptr_bus_msg_ is null[%s(%d)]");
        return;
    }
    p_callback_mgr_->HandleChannelState(ptr_bus_msg_);
}

}  // namespace qar
