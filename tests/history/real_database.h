#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "standalone/database/DatabaseManager.h"
#include "tests/standalone/database/temp_folder.h"

struct sqlite3;

namespace qar {

/// Reaches what the manager hides.
struct CHistoryStateMgrPeer {
    static const std::map<std::string, std::map<int, std::map<int, StateTimeline>>>& Timelines(
        const CHistoryStateMgr& manager) {
        return manager.map_camera_state_;
    }
};

}  // namespace qar

namespace history_test {

using Lines = std::vector<std::string>;

inline constexpr int kBusi = 1;
inline constexpr int kFirstCamera = 101;
inline constexpr int kCameras = 8;  ///< each on a device of its own with the same id
/// What all devices' clocks show first.
inline const std::string kNow = "2026-03-05T00:00:00+00:00";

/// The lines of the library and of the platform, in place of the platform's log.
class LoggedLines {
public:
    static LoggedLines& Get();

    /// @return "<level> <module> <body>" of the lines of a level and above
    Lines From(int level) const;
    void Clear();
    void Add(int level, const char* module, std::string body);

private:
    struct Line {
        int level;
        std::string text;
    };

    mutable std::mutex mutex_;
    std::vector<Line> lines_;
};

/// The platform's database, whose statements are kept.
class RecordingDatabase final : public qar::IDBManagerPure {
public:
    struct Statement {
        std::string sql;
        bool ok;
    };

    static RecordingDatabase& Get();

    /// Begins with no plug-in open.
    void Restart(std::chrono::milliseconds lock_wait);
    std::vector<Statement> Statements() const;
    /// @return false when that many re-pointings have not come in time
    bool WaitForResets(std::size_t count);
    /// Waits until that many further statements have run. @return false when they have not come in time
    bool WaitForMore(std::size_t count);

    bool Open(const std::string& plugin, uint32_t count, const qar::SDBParam& param) override;
    bool Finalize(const std::string& plugin) override;
    bool ResetDBParam(const std::string& plugin, const qar::SDBParam& param) override;
    bool ForwardedCallA(qar::SDBForwardArg& first, qar::SDBForwardArg& second, uint32_t conn_type) override;
    bool ExecuteQuery(const std::string& plugin, uint32_t conn_type, const std::string& sql, ResultFunc fn) override;
    bool Execute(const std::string& plugin, uint32_t conn_type, const std::string& sql) override;
    bool ForwardedCallB(qar::SDBForwardArg& first, uint32_t conn_type, qar::SDBForwardArg& second) override;
    qar::SDBForwardResult ForwardedCallC(qar::SDBForwardArg& first, uint32_t conn_type, bool flag) override;
    bool ExecuteQueryUDT(const std::string& plugin, uint32_t conn_type, const std::string& sql, ResultFunc fn,
                         int timeout) override;
    bool ExecuteSortByCollate(const std::string& plugin, uint32_t conn_type, const std::string& sql, ResultFunc fn,
                              const std::string& collate) override;
    int64_t GetNextID(const std::string& name) override;
    bool ForwardedCallD(qar::SDBForwardArg& first, qar::SDBForwardArg& second, qar::SDBForwardArg& third,
                        uint32_t conn_type) override;
    bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t conn_type, const std::string& sql, ResultFunc fn,
                                 const std::string& collate, const unsigned int* timeout) override;

private:
    std::unique_ptr<qarplatform::DatabaseManager> manager_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Statement> statements_;
    std::size_t resets_ = 0;
};

/// Another program's connection to a plug-in's file.
class OtherConnection {
public:
    explicit OtherConnection(const std::string& folder);
    ~OtherConnection();
    OtherConnection(const OtherConnection&) = delete;
    OtherConnection& operator=(const OtherConnection&) = delete;

    /// @return the rows, values joined by blanks
    Lines Run(const std::string& sql);
    /// @return "<camera>/<busi> <iso> <state>" of each row, in order
    Lines Points();

private:
    sqlite3* handle_ = nullptr;
};

/// The library over the standalone platform: plug-in "gap" with the table gap.history, cameras that are online and
/// guarded, their clocks known.
class RealDatabaseTest : public ::testing::Test {
protected:
    static constexpr const char* kPlugin = "gap";
    static constexpr const char* kTable = "gap.history";
    static constexpr double kStandingClock = 1e-9;

    /// @param clock_scale  how fast the devices' clocks go; the first test of a process decides
    explicit RealDatabaseTest(double clock_scale = kStandingClock);
    ~RealDatabaseTest() override;

    static void PointTo(const std::string& folder);
    /// Opens the plug-in's database there and makes its table.
    void Open(const std::string& folder, unsigned int connections = 1,
              std::chrono::milliseconds lock_wait = std::chrono::seconds(20));
    void Register();
    static void MakeTable();

    bool Add(int state, const std::string& iso, int camera) {
        return manager.AddCameraState(kPlugin, state, iso, kBusi, camera);
    }
    /// @return "<camera>/<busi> <iso> <state>" of each point, in order
    Lines Points() const;

    const database_test::TempFolder folder;
    qar::CHistoryStateMgr manager;
    Lines told;  ///< "<camera>: <begin> <end>"
};

}  // namespace history_test
