#pragma once

#include <boost/thread/shared_mutex.hpp>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "qar/IBusMsg.h"
#include "qar/IDBHistoryData.h"
#include "qar/IHistoryStateMgr.h"
#include "qarcommonbiz/HistoryTime.h"

namespace qar {

/// One plug-in's registration.
struct SPluginNotifyInfo {
    NotifyFunc notify_func_;
    std::set<int> busi_types_;  ///< business types allowed to the plug-in
    std::string table_name_;
    std::string key_column_;
    std::map<int, std::set<int>> care_cameras_;  ///< business type to cared cameras
};

/// The state history. Its sources: HistoryDataMgrImpl.cpp (start, stop, registration), HistoryCare.cpp (which cameras
/// are cared for), HistoryTimeline.cpp (points), HistoryRanges.cpp (exception ranges, expiry), HistoryEvents.cpp
/// (device events), HistorySweeps.cpp (periodic jobs).
///
/// care_cameras_ says what a plug-in wants, map_camera_state_ what has been recorded; a camera can be in one and not in
/// the other. Memory is changed before the row, and stays changed when the statement fails: after a restart the table
/// wins. Expiry alone runs its statement first and leaves memory as it is when that fails.
///
/// Order of locks: plugin_lock_ before state_lock_. state_lock_ is innermost: neither plugin_lock_ nor delay_lock_ is
/// taken under it. delay_lock_ and plugin_lock_ are never held together.
class CHistoryStateMgr : public IHistoryStateMgr {
public:
    CHistoryStateMgr();
    ~CHistoryStateMgr() override;

    bool Init() override;
    bool Uninit() override;
    bool Register(NotifyFunc notify_func, const std::set<int>& busi_types, const std::string& plugin,
                  const std::string& table_name, const std::string& key_column) override;
    void UnRegister(const std::string& plugin) override;
    bool SetCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) override;
    bool SetCareCameraStateInfoEx(const std::string& plugin, int busi, const std::set<int>& cameras) override;
    void DelCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) override;
    void DelCareCameraStateInfoByCameraID(const std::string& plugin, int camera) override;
    void GetCareCameraList(std::set<int>& out, const std::string& plugin, int busi) override;
    bool AddCameraState(const std::string& plugin, int state, const std::string& iso_time, int busi,
                        int camera) override;
    bool GetExceptionRange(std::map<int, std::vector<SStateRange>>& out, const std::string& plugin, int busi) override;
    bool DelHistoryStateInRange(const std::string& plugin, int busi, int camera, const SStateRange& range) override;
    bool DelCareCameraStateInfoAtMoveOutByCameraIDs(const std::string& plugin, const std::set<int>& cameras) override;

    // periodic jobs and events, on the pool's workers

    /// Tells every plug-in its exception ranges.
    void NotifyExceptionRange();
    /// Removes points older than seven days.
    void CheckExpireState();
    /// Adds a point for each camera that is guarded and online now.
    void CheckCameraState();
    /// Tries the put-off cameras again.
    void DoDelaySetCareCamera();
    /// Adds a point for each cared camera of a device that made contact.
    void HandleDeviceState(std::shared_ptr<IBusMsg> msg);
    /// Adds a point for a cared camera whose channel came online.
    void HandleChannelState(std::shared_ptr<IBusMsg> msg);

    // on the timer's and the bus's threads: these only post tasks

    void OnTimer(unsigned long long n_tick);
    static void ProcChangeMsgCBFunc(const std::string& observer, std::shared_ptr<IBusMsg> msg, void* user_data);
    void UpdateDeviceState(const std::string& observer, std::shared_ptr<IBusMsg> msg);

private:
    friend struct CHistoryStateMgrPeer;  // gives unit tests a manager without a store

    /// Business type to camera to timeline.
    using BusiTimelines = std::map<int, std::map<int, StateTimeline>>;

    enum class ECareResult { kAdded, kNoPlugin, kNoBusiType };

    bool GetPluginNotifyInfo(SPluginNotifyInfo& out, const std::string& plugin);
    /// Enters cameras into the care set of a plug-in that may care under that business type.
    /// @param out  gets the registration without its two sets
    ECareResult AddCareCameras(SPluginNotifyInfo& out, const std::string& plugin, int busi,
                               const std::set<int>& cameras);
    bool HandleFirstAdd(const std::string& plugin, int busi, int camera, const SHistoryTime& time,
                        const std::string& table, const std::string& key_column);
    bool IsGuard(bool& b_guard, int camera);
    bool IsCameraOnline(int camera);
    void RemoveDelayCamera(const std::string& plugin, const std::set<int>& cameras, int busi);

    bool AddHistoryStateInfo(const std::string& plugin, int busi, int camera, const SHistoryState& rec,
                             const std::string& table, const std::string& key_column);
    bool IsExistCameraState(const std::string& plugin, int busi, int camera);
    bool UpdateTriggerTime(const std::string& plugin, int busi, int camera, const std::map<std::string, int>& times);
    /// @return the camera's timeline, null when there is none; state_lock_ must be held
    StateTimeline* FindTimeline(const std::string& plugin, int busi, int camera);

    bool DelExpireStateByTime(const std::string& plugin, int busi, int camera, const SHistoryTime& expire,
                              const std::string& table, const std::string& key_column);

    void RecordContact(const std::string& plugin, const SPluginNotifyInfo& info, int busi, int device_id, int camera,
                       const std::string& time_text, int offset);
    /// Calls a plug-in's function; what it throws is logged and goes no further.
    void CallNotifyFunc(const std::string& plugin, const NotifyFunc& notify_func,
                        std::map<int, std::vector<SStateRange>>& ranges, int busi);

    /// Plug-in to business type to cameras that have a timeline.
    std::map<std::string, std::map<int, std::vector<int>>> CopyTimelineKeys();

    using SweepStep = std::function<void(const std::string& plugin, const SPluginNotifyInfo& info, int busi, int camera,
                                         const SHistoryTime& now)>;
    /// Takes a step for each timeline that stands at the call, with the camera's present time. No lock is held in it.
    /// @param sweep  the sweep's qualified name, for the log
    void SweepTimelines(const char* sweep, const SweepStep& step);

    std::shared_ptr<IDBHistoryData> ptr_db_history_data_;  // set once, in the constructor

    // guarded by plugin_lock_
    std::map<std::string, SPluginNotifyInfo> map_plugin_id_;
    boost::shared_mutex plugin_lock_;

    // guarded by delay_lock_: plug-in to business type to cameras put off because their device's clock is not known
    std::map<std::string, std::map<int, std::set<int>>> map_delay_camera_;
    boost::shared_mutex delay_lock_;

    // guarded by state_lock_
    std::map<std::string, BusiTimelines> map_camera_state_;
    std::mutex state_lock_;  // not recursive; held across each row's SQL so that rows and memory keep one order

    // guarded by init_lock_; goes from false to true once and never back
    bool b_init_ = false;
    std::mutex init_lock_;
};

}  // namespace qar
