#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "qar/Export.h"
#include "qar/StateRange.h"

namespace qar {

/// Tells a plug-in the stretches it must fetch: camera id to ranges, for one business type. The same ranges are told
/// again each hour until the plug-in deletes them with DelHistoryStateInRange.
/// `ranges` is the call's own: the callback may keep it or change it.
/// Threads: called on the thread of SetCareCameraStateInfo(Ex), or on a worker of the library. Calls may overlap on
/// several threads, may come before Register or SetCareCameraStateInfo(Ex) has returned, and one that is on its way may
/// still come after UnRegister has returned, so what the function uses must live on: let the function own it. The
/// library destroys the function on any thread, with no lock held.
/// A callback must not work the ranges off: it queues them for a thread of the plug-in's own. Of this interface it may
/// call GetExceptionRange only; every other operation can wait for a lock that is held while the callback runs, and the
/// process then stands still. For the same reason a plug-in must not hold a lock that its callback takes while it calls
/// any operation but GetExceptionRange. IDBManager and the message bus may be called freely.
/// What it throws on a worker is caught and logged, and other plug-ins lose nothing by it, but for the retry of put-off
/// cameras, which goes on a minute later; what it throws inside SetCareCameraStateInfo(Ex) reaches that call's caller.
using NotifyFunc = std::function<void(std::map<int, std::vector<SStateRange>>& ranges, int busi_type)>;

/// The state history of cameras: for each plug-in, business type and camera a timeline of contact points, in memory and
/// in a table of the plug-in's, and from it the stretches for which contact was lost (exception ranges).
///
/// Order of calls: IDBManager::Initialize, Init, Register, then SetCareCameraStateInfo or SetCareCameraStateInfoEx.
/// The table is the plug-in's: it must exist before Register, with the key column, camera_id, camera_state, state_time,
/// state_utc_time, business_type, bi_type, differ, and should have an index on (camera_id, business_type, state_time).
/// Table and column names go into SQL as they stand, so they must come from the plug-in's own code, never from input.
///
/// Camera ids are channel ids of the type 1001. Moments are texts on the device's own clock with its offset from UTC.
/// Threads: all operations from any thread. All that change a timeline block on the database, and wait for one another.
class QARCOMMON_API IHistoryStateMgr {
public:
    /// @return the one object, never null, alive to the end of the process
    static IHistoryStateMgr* Instance();

    virtual ~IHistoryStateMgr();

    /// Starts the workers, the one-minute timer and the subscription to device events. The first caller does the work,
    /// later calls give true.
    /// @return false when one of them could not be started, with the reason in the log; a later call tries again
    virtual bool Init() = 0;
    /// Ends the subscription to device events, nothing else; a later Init does not restart it. @return true
    virtual bool Uninit() = 0;
    /// Registers a plug-in and loads its table: the cameras that have rows are cared for from then on.
    /// @param notify_func  must not be empty
    /// @param busi_types   the business types that the plug-in may care for, at least one
    /// @param table_name   the history table
    /// @param key_column   its primary key column, a 64-bit integer
    /// @return false for bad arguments, for a plug-in that is registered already, or when the table cannot be read; in
    ///         the last case the plug-in stays registered and must UnRegister before it tries again
    virtual bool Register(NotifyFunc notify_func, const std::set<int>& busi_types, const std::string& plugin,
                          const std::string& table_name, const std::string& key_column) = 0;
    /// Forgets the plug-in; its rows stay. Callbacks that are on their way may still run when this has returned, or
    /// begin then, but for those of device events, which it waits for. The last plug-in's call ends the timer and the
    /// workers for good: no periodic job runs any more in this process, so a plug-in must not unregister in order to
    /// recover.
    virtual void UnRegister(const std::string& plugin) = 0;
    /// Cares for cameras that stand on this node with their history in memory. A camera whose device is guarded and
    /// answers gets a point at once; one without a timeline is told as a range of seven days.
    /// @return false for an unknown plug-in or business type; what happens to single cameras is only logged
    virtual bool SetCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) = 0;
    /// SetCareCameraStateInfo for cameras that may have come from another node: their rows are read from the table.
    /// It must not overlap a deletion of the same cameras, or rows that were read before and deleted meanwhile come
    /// back into memory.
    /// @return false also when any single camera failed. A camera whose device's clock is not known yet is put off and
    ///         tried again each minute until it succeeds or leaves by UnRegister, by
    ///         DelCareCameraStateInfoAtMoveOutByCameraIDs or, once any of the plug-in's cameras has had a timeline
    ///         under that business type, by DelCareCameraStateInfo
    virtual bool SetCareCameraStateInfoEx(const std::string& plugin, int busi, const std::set<int>& cameras) = 0;
    /// Ends the care for cameras under one business type and deletes their timelines and rows. A failed statement is
    /// only logged: the rows that it left come back with the next Register. An unknown plug-in is only logged, too.
    virtual void DelCareCameraStateInfo(const std::string& plugin, int busi, const std::set<int>& cameras) = 0;
    /// Ends the care for a camera under every business type and deletes its timelines and rows. Does nothing for a
    /// camera that the plug-in does not care for, also when it is put off. Failures are only logged, as above.
    virtual void DelCareCameraStateInfoByCameraID(const std::string& plugin, int camera) = 0;
    /// @param out  becomes the cared cameras; stays as it is for an unknown plug-in
    virtual void GetCareCameraList(std::set<int>& out, const std::string& plugin, int busi) = 0;
    /// Enters a point in a timeline, whether or not the camera is cared for.
    /// @param state     1 contact was made, 2 found in order; any other value makes exception ranges on both sides
    /// @param iso_time  the moment
    /// @return false for a moment that cannot be read or an unknown plug-in; a failed statement is only logged
    virtual bool AddCameraState(const std::string& plugin, int state, const std::string& iso_time, int busi,
                                int camera) = 0;
    /// @param out  gets each camera's exception ranges, in order of time; a range that begins where the camera's last
    ///             one in `out` ends is joined to it
    /// @return true, also for an unknown plug-in or business type, `out` untouched then
    virtual bool GetExceptionRange(std::map<int, std::vector<SStateRange>>& out, const std::string& plugin,
                                   int busi) = 0;
    /// The plug-in's word that it has dealt with a range: the points from its begin up to its end go, and the end
    /// becomes a moment in order.
    /// @return false for a moment that cannot be read, nothing is changed then; true otherwise, also when there is
    ///         nothing to delete and after a failed statement
    virtual bool DelHistoryStateInRange(const std::string& plugin, int busi, int camera, const SStateRange& range) = 0;
    /// Forgets cameras that move to another node; their rows stay for the node that takes over. @return true
    virtual bool DelCareCameraStateInfoAtMoveOutByCameraIDs(const std::string& plugin,
                                                            const std::set<int>& cameras) = 0;
};

}  // namespace qar
