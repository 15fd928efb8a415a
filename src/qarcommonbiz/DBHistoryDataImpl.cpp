#include "qarcommonbiz/DBHistoryDataImpl.h"

#include <map>
#include <memory>
#include <mutex>

#include "Mox/Base/StringUtil.h"
#include "ZELPlatform/Resources.h"
#include "internal/Log.h"
#include "qar/IDBManager.h"
#include "qarcommonbiz/HistoryTime.h"
#include "qarcommonbiz/TimelineRules.h"

namespace qar {

using namespace internal;
using Mox::Base::StringUtil::str_fmt;

namespace {

constexpr uint32_t kConnType = 1;
constexpr int kCameraType = 1001;

using CameraSet = std::map<unsigned int, std::shared_ptr<ZELPlatform::Resources::CElementInterface>>;

// Read once per process and never again: a camera that comes to this node later is not in it.
const CameraSet& CamerasOfThisNode() {
    static CameraSet& cameras = *new CameraSet;
    static std::once_flag filled;
    std::call_once(filled, [] {
        CameraSet elements;
        ZELPlatform::Resources::GetCurrentNodeAllElementsByType(elements, kCameraType);
        for (const auto& entry : elements) {
            if (entry.second) cameras[entry.second->GetPhysicalID()] = entry.second;
        }
    });
    return cameras;
}

using PointMap = StateRowMap::mapped_type::mapped_type;

void ReadStateRow(PointMap& points, db_layer::CConnect* connect) {
    const int differ = static_cast<int>(connect->GetInt("differ"));
    const SHistoryTime time = PlainToTime(connect->GetString("state_time"), differ);
    // rows mostly come in the order of their times
    points.insert_or_assign(points.end(), TimeToISO(time), static_cast<int>(connect->GetInt("camera_state")));
}

}  // namespace

CDBHistoryData::~CDBHistoryData() = default;

bool CDBHistoryData::Execute(const std::string& plugin, const std::string& sql) {
    if (sql.empty()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]param failed[%s(%d)]");
        return false;
    }
    if (!IDBManager::Instance()->Execute(plugin, kConnType, sql)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]in CDBBaseSession::Execute is fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::QueryDBInfoList(const std::string& plugin, const std::string& sql,
                                     std::function<QueryResult(db_layer::CConnect*)> row_fn) {
    if (!row_fn) return false;
    bool success = true;
    // a null connection goes to the row function, which tells of it
    const auto read_rows = [&success, &row_fn](db_layer::CConnect* connect) {
        while (connect == nullptr || !connect->IsEnd()) {
            const QueryResult result = row_fn(connect);
            if (result == kStop) return;
            if (result != kNext || connect == nullptr) {
                success = false;
                return;
            }
            connect->MoveNext();
        }
    };
    if (!IDBManager::Instance()->ExecuteQuery(plugin, kConnType, sql, read_rows)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]in CDBBaseSession::QueryDBInfoList execute is fail sql = %s[%s(%d)]",
                sql.c_str());
        return false;
    }
    return success;
}

bool CDBHistoryData::InitDBHistoryStateInfo(StateRowMap& out, const std::string& plugin, const std::string& table) {
    const CameraSet& cameras = CamerasOfThisNode();
    if (cameras.empty()) {
        QAR_LOG(kLogInformation, kModuleCommon,
                "[%s]Current node don't need load history data, plugin %s table name %s.[%s(%d)]", plugin.c_str(),
                table.c_str());
        return true;
    }
    const std::string sql = str_fmt("SELECT * FROM %s ORDER BY  business_type, camera_id, state_time", table.c_str());
    // of the last row: most rows are of the same camera
    int last_camera = 0;
    int last_busi = 0;
    PointMap* last_points = nullptr;
    return QueryDBInfoList(plugin, sql, [&](db_layer::CConnect* connect) {
        if (connect == nullptr) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]CCameraStateDBSession::GetCameraStateList pRs = nullptr \n[%s(%d)]");
            return kFail;
        }
        const int camera = static_cast<int>(connect->GetInt("camera_id"));
        const int busi = static_cast<int>(connect->GetInt("business_type"));
        if (last_points != nullptr && camera == last_camera && busi == last_busi) {
            ReadStateRow(*last_points, connect);
            return kNext;
        }
        if (cameras.find(static_cast<unsigned int>(camera)) == cameras.end()) {
            QAR_LOG(kLogDebug, kModuleCommon, "[%s]Camera not exits current node %d, plugin %s table name %s.[%s(%d)]",
                    camera, plugin.c_str(), table.c_str());
            return kNext;
        }
        last_camera = camera;
        last_busi = busi;
        last_points = &out[busi][camera];
        ReadStateRow(*last_points, connect);
        return kNext;
    });
}

bool CDBHistoryData::UpdateDBHistoryStateTime(const std::string& plugin, int busi, int camera,
                                              const std::string& old_time, int state, const std::string& new_iso_time,
                                              const std::string& table) {
    SHistoryTime time;
    if (!ISOToTime(new_iso_time, time)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]UpdateDBHistoryStateTime state_time is error plugin_id = %s, busi_type = %d, camera_id = %d, state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, state, new_iso_time.c_str());
        return false;
    }
    const std::string sql = str_fmt(
        "UPDATE %s SET state_time = '%s' WHERE camera_id = %d AND business_type = %d and state_time = '%s' and camera_state = %d",
        table.c_str(), TimeToPlain(time).c_str(), camera, busi, old_time.c_str(), state);
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]UpdateDBHistoryStateTime::UpdateCameraState dbExecute fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::UpdateDBHistorySateType(const std::string& plugin, int busi, int camera, int state,
                                             const std::string& iso_time, const std::string& table) {
    SHistoryTime time;
    if (!ISOToTime(iso_time, time)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]UpdateDBHistorySateType state_time is error plugin_id = %s, busi_type = %d, camera_id = %d, state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, state, iso_time.c_str());
        return false;
    }
    const std::string sql =
        str_fmt("UPDATE %s SET camera_state = %d WHERE camera_id = %d AND business_type = %d AND state_time = '%s'",
                table.c_str(), state, camera, busi, TimeToPlain(time).c_str());
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]UpdateDBHistorySateType::UpdateCameraStateType dbExecute fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::AddDBHistoryStateInfo(const std::string& plugin, int busi, int camera, int state,
                                           const std::string& iso_time, const std::string& table,
                                           const std::string& key_column) {
    SHistoryTime time;
    if (!ISOToTime(iso_time, time)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]AddDBHistoryStateInfo state_time is error plugin_id = %s, busi_type = %d, camera_id = %d, state = %d, time = %s[%s(%d)]",
            plugin.c_str(), busi, camera, state, iso_time.c_str());
        return false;
    }
    const long long id = IDBManager::Instance()->GetNextID("");
    const std::string sql = str_fmt(
        "INSERT INTO %s(%s, camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, differ) values(%lld, %d, %d, '%s', '%s', %d, %d, %d)",
        table.c_str(), key_column.c_str(), id, camera, state, TimeToPlain(time).c_str(), TimeToUTC(time).c_str(), busi,
        busi, time.differ);
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = %s[%s(%d)]",
                sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::DelDBHistorySateInfo(const std::string& plugin, int busi, int camera, const SStateRange& range,
                                          const std::string& table) {
    SHistoryTime begin;
    if (!ISOToTime(range.str_begin_time_, begin)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]Parse begin time error. plugin_id = %s, busi_type = %d, camera_id = %d, str_begin_time_ = %s,str_end_time_ = %s[%s(%d)]",
            plugin.c_str(), busi, camera, range.str_begin_time_.c_str(), range.str_end_time_.c_str());
        return false;
    }
    SHistoryTime end;
    if (!ISOToTime(range.str_end_time_, end)) {
        QAR_LOG(
            kLogError, kModuleCommon,
            "[%s]Parse end time error. plugin_id = %s, busi_type = %d, camera_id = %d, str_begin_time_ = %s,str_end_time_ = %s[%s(%d)]",
            plugin.c_str(), busi, camera, range.str_begin_time_.c_str(), range.str_end_time_.c_str());
        return false;
    }
    const std::string sql = str_fmt(
        "DELETE FROM %s WHERE camera_id = %d AND business_type = %d AND state_time >= '%s' AND state_time < '%s';",
        table.c_str(), camera, busi, TimeToPlain(begin).c_str(), TimeToPlain(end).c_str());
    QAR_LOG(kLogDebug, kModuleCommon, "[%s]SQL = %s[%s(%d)]", sql.c_str());
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]CDBHistoryData::DelDBHistorySateInfo dbExecute fail sql = %s[%s(%d)]",
                sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::DelDBHistorySateByExpireTime(const std::string& plugin, int busi, int camera,
                                                  const std::string& expire_time, const std::string& table) {
    const std::string sql = str_fmt("DELETE FROM %s WHERE camera_id = %d AND business_type = %d AND state_time < '%s'",
                                    table.c_str(), camera, busi, expire_time.c_str());
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]CDBHistoryData::DelDBHistorySateByExpireTime dbExecute fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType(const std::string& plugin, int busi, int camera,
                                                            const std::string& table) {
    const std::string sql =
        str_fmt("DELETE FROM %s WHERE camera_id = %d AND business_type = %d", table.c_str(), camera, busi);
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]CDBHistoryData::DelDBHistoryStateByCameraIDAndBusiType dbExecute fail sql = %s[%s(%d)]",
                sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::DelDBHistoryStateByCameraID(const std::string& plugin, int camera, const std::string& table) {
    const std::string sql = str_fmt("DELETE FROM %s WHERE camera_id = %d", table.c_str(), camera);
    if (!Execute(plugin, sql)) {
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

bool CDBHistoryData::QueryCameraStateByCameraID(StateRowMap& out, const std::string& plugin, const std::string& table,
                                                const std::set<int>& cameras) {
    if (cameras.empty()) {
        QAR_LOG(kLogError, kModuleCommon, "[%s]Param error. camere id empty.[%s(%d)]");
        return false;
    }
    const std::string sql =
        str_fmt("SELECT * FROM %s WHERE camera_id IN (%s)", table.c_str(), JoinIds(cameras).c_str());
    const bool success = QueryDBInfoList(plugin, sql, [&](db_layer::CConnect* connect) {
        if (connect == nullptr) {
            QAR_LOG(kLogError, kModuleCommon, "[%s]pRs = nullptr[%s(%d)]");
            return kFail;
        }
        const int camera = static_cast<int>(connect->GetInt("camera_id"));
        ReadStateRow(out[static_cast<int>(connect->GetInt("business_type"))][camera], connect);
        return kNext;
    });
    if (!success) {
        // the name in the text is another operation's; those who watch the log know it so
        QAR_LOG(kLogError, kModuleCommon,
                "[%s]CDBHistoryData::DelDBHistoryStateByCameraID dbExecute fail sql = %s[%s(%d)]", sql.c_str());
        return false;
    }
    return true;
}

}  // namespace qar
