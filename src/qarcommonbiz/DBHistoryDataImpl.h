#pragma once

#include <functional>
#include <set>
#include <string>

#include "db_layer/Connect.h"
#include "qar/IDBHistoryData.h"

namespace qar {

/// The rows of history tables, reached through IDBManager. Has no state but the cameras of this node, which are read
/// once per process.
class CDBHistoryData : public IDBHistoryData {
public:
    /// How a row function lets the reading go on.
    enum QueryResult {
        kStop = 1,  ///< stop here, successfully
        kNext = 2,  ///< go to the next row
        kFail = 3,  ///< stop with failure
    };

    bool InitDBHistoryStateInfo(StateRowMap& out, const std::string& plugin, const std::string& table) override;
    bool UpdateDBHistoryStateTime(const std::string& plugin, int busi, int camera, const std::string& old_time,
                                  int state, const std::string& new_iso_time, const std::string& table) override;
    bool UpdateDBHistorySateType(const std::string& plugin, int busi, int camera, int state,
                                 const std::string& iso_time, const std::string& table) override;
    bool AddDBHistoryStateInfo(const std::string& plugin, int busi, int camera, int state, const std::string& iso_time,
                               const std::string& table, const std::string& key_column) override;
    bool DelDBHistorySateInfo(const std::string& plugin, int busi, int camera, const SStateRange& range,
                              const std::string& table) override;
    bool DelDBHistorySateByExpireTime(const std::string& plugin, int busi, int camera, const std::string& expire_time,
                                      const std::string& table) override;
    bool DelDBHistoryStateByCameraIDAndBusiType(const std::string& plugin, int busi, int camera,
                                                const std::string& table) override;
    bool DelDBHistoryStateByCameraID(const std::string& plugin, int camera, const std::string& table) override;
    bool QueryCameraStateByCameraID(StateRowMap& out, const std::string& plugin, const std::string& table,
                                    const std::set<int>& cameras) override;

    // behind the nine operations, as the order of the virtual operations has it
    virtual ~CDBHistoryData();

    /// Runs a statement without rows. @return false for an empty text and when the statement fails
    bool Execute(const std::string& plugin, const std::string& sql);

    /// Runs a query and calls `row_fn` for each row until it says otherwise.
    /// @return false for an empty function, when the query fails, and when `row_fn` says so
    bool QueryDBInfoList(const std::string& plugin, const std::string& sql,
                         std::function<QueryResult(db_layer::CConnect*)> row_fn);
};

}  // namespace qar
