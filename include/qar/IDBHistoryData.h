#pragma once

#include <map>
#include <set>
#include <string>

#include "qar/Export.h"
#include "qar/StateRange.h"

namespace qar {

/// Business type to camera id to moment (ISO text with offset) to state.
using StateRowMap = std::map<int, std::map<int, std::map<std::string, int>>>;

/// The rows of plug-ins' history tables: each operation is one statement on the plug-in's connections.
/// `plugin` selects the connections, which IDBManager::Initialize opens; `busi` is a business type and `camera` a
/// channel id. `table`, `key_column` and the plain texts are put into the SQL as they stand, so they must never come
/// from input. Moments are ISO texts with offset, but for old_time and expire_time, which are plain "YYYY-MM-DD
/// HH:MM:SS" on the device's clock. Every operation gives false on failure and says the reason in the log; nothing is
/// retried, and a change that failed has changed nothing. To change or delete a row that is not there is no failure.
/// Threads: any; every operation blocks on the database.
/// Has no virtual destructor: objects are held only by a std::shared_ptr made from their implementation.
class QARCOMMON_API IDBHistoryData {
public:
    /// Reads the rows of this node's cameras. On failure `out` holds what was read so far. On a node without cameras:
    /// true, and nothing is asked of the database.
    virtual bool InitDBHistoryStateInfo(StateRowMap& out, const std::string& plugin, const std::string& table) = 0;
    /// Moves a row to another moment; its UTC text and offset stay those of its insertion.
    virtual bool UpdateDBHistoryStateTime(const std::string& plugin, int busi, int camera, const std::string& old_time,
                                          int state, const std::string& new_iso_time, const std::string& table) = 0;
    /// Sets the state of the row of a moment.
    virtual bool UpdateDBHistorySateType(const std::string& plugin, int busi, int camera, int state,
                                         const std::string& iso_time, const std::string& table) = 0;
    /// Adds a row; its key is a new number of the database, 0 when that gives none.
    virtual bool AddDBHistoryStateInfo(const std::string& plugin, int busi, int camera, int state,
                                       const std::string& iso_time, const std::string& table,
                                       const std::string& key_column) = 0;
    /// Deletes the rows from the range's begin up to, not including, its end.
    virtual bool DelDBHistorySateInfo(const std::string& plugin, int busi, int camera, const SStateRange& range,
                                      const std::string& table) = 0;
    /// Deletes the rows before a moment.
    virtual bool DelDBHistorySateByExpireTime(const std::string& plugin, int busi, int camera,
                                              const std::string& expire_time, const std::string& table) = 0;
    /// Deletes a camera's rows of one business type.
    virtual bool DelDBHistoryStateByCameraIDAndBusiType(const std::string& plugin, int busi, int camera,
                                                        const std::string& table) = 0;
    /// Deletes a camera's rows of every business type.
    virtual bool DelDBHistoryStateByCameraID(const std::string& plugin, int camera, const std::string& table) = 0;
    /// Reads the rows of the given cameras, whatever node they stand on. On failure `out` holds what was read so far.
    /// @return false for an empty set, too
    virtual bool QueryCameraStateByCameraID(StateRowMap& out, const std::string& plugin, const std::string& table,
                                            const std::set<int>& cameras) = 0;

protected:
    ~IDBHistoryData() = default;
};

}  // namespace qar
