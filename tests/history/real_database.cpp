#include "tests/history/real_database.h"

#include <sqlite3.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "LogSink.h"
#include "ZELPlatform/LocalConfigManager.h"
#include "qar/IDBManager.h"
#include "standalone/base/Clock.h"
#include "standalone/base/ThreadPoolControl.h"
#include "standalone/bus/BusControl.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/device/DeviceTable.h"

namespace history_test {

namespace {

constexpr std::chrono::seconds kPatience(60);
constexpr int64_t kNowMs = 1772668800000;  // kNow

/// Ends the platform's threads as a host does, before the process goes.
class StopAtTheEnd : public ::testing::Environment {
public:
    void TearDown() override {
        qarplatform::StopBus();
        qarplatform::JoinThreadPools();
    }
};

const auto* const g_stop_at_the_end = ::testing::AddGlobalTestEnvironment(new StopAtTheEnd);

// Nothing is probed.
void LoadSite(double clock_scale) {
    qarplatform::Site site;
    site.areas.push_back({1, "Yard", 0});
    for (int camera = kFirstCamera; camera < kFirstCamera + kCameras; ++camera) {
        qarplatform::DeviceRecord device;
        device.id = camera;
        device.guid = "device-" + std::to_string(camera);
        device.probe = "tcp://127.0.0.1:1/";
        site.devices.push_back(device);
        qarplatform::ChannelRecord channel;
        channel.id = camera;
        channel.guid = "channel-" + std::to_string(camera);
        channel.device = camera;
        site.channels.push_back(channel);
        qarplatform::ElementRecord element;
        element.id = camera;
        element.guid = "element-" + std::to_string(camera);
        element.channel = camera;
        element.area = 1;
        site.elements.push_back(element);
    }
    qarplatform::DeviceLayer::Get().Load(site);
    const auto now_ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    qarplatform::Clock::Get().Configure(clock_scale, now_ms, kNowMs);
    for (const auto& [id, device] : qarplatform::DeviceTable::Current().Devices()) {
        device->GetClock().RunOnHostClock();
        device->SetOnline(true);
    }
}

int AddRow(void* rows, int columns, char** values, char**) {
    std::string row;
    for (int i = 0; i < columns; ++i) row += (i > 0 ? " " : "") + std::string(values[i] != nullptr ? values[i] : "");
    static_cast<Lines*>(rows)->push_back(row);
    return 0;
}

}  // namespace

// --- the log ---------------------------------------------------------------------------------------------------------

LoggedLines& LoggedLines::Get() {
    static LoggedLines& lines = *new LoggedLines;
    return lines;
}

Lines LoggedLines::From(int level) const {
    Lines texts;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Line& line : lines_) {
        if (line.level >= level) texts.push_back(line.text);
    }
    return texts;
}

void LoggedLines::Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

void LoggedLines::Add(int level, const char* module, std::string body) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back({level, std::to_string(level) + " " + module + " " + std::move(body)});
}

// --- the database ----------------------------------------------------------------------------------------------------

RecordingDatabase& RecordingDatabase::Get() {
    static RecordingDatabase& database = *new RecordingDatabase;
    return database;
}

void RecordingDatabase::Restart(std::chrono::milliseconds lock_wait) {
    qarplatform::DatabaseWaits waits;
    waits.lock = lock_wait;
    waits.connection = lock_wait;
    manager_ = std::make_unique<qarplatform::DatabaseManager>(waits);
    const std::lock_guard<std::mutex> lock(mutex_);
    statements_.clear();
    resets_ = 0;
}

std::vector<RecordingDatabase::Statement> RecordingDatabase::Statements() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return statements_;
}

bool RecordingDatabase::WaitForResets(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return resets_ >= count; });
}

bool RecordingDatabase::WaitForMore(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t wanted = statements_.size() + count;
    return changed_.wait_for(lock, kPatience, [&] { return statements_.size() >= wanted; });
}

bool RecordingDatabase::Open(const std::string& plugin, uint32_t count, const qar::SDBParam& param) {
    return manager_->Open(plugin, count, param);
}

bool RecordingDatabase::Finalize(const std::string& plugin) { return manager_->Finalize(plugin); }

bool RecordingDatabase::ResetDBParam(const std::string& plugin, const qar::SDBParam& param) {
    const bool done = manager_->ResetDBParam(plugin, param);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++resets_;
    }
    changed_.notify_all();
    return done;
}

bool RecordingDatabase::ExecuteQuery(const std::string& plugin, uint32_t conn_type, const std::string& sql,
                                     ResultFunc fn) {
    return manager_->ExecuteQuery(plugin, conn_type, sql, std::move(fn));
}

bool RecordingDatabase::Execute(const std::string& plugin, uint32_t conn_type, const std::string& sql) {
    const bool done = manager_->Execute(plugin, conn_type, sql);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        statements_.push_back({sql, done});
    }
    changed_.notify_all();
    return done;
}

int64_t RecordingDatabase::GetNextID(const std::string& name) { return manager_->GetNextID(name); }

// The library makes none of these calls here.

bool RecordingDatabase::ForwardedCallA(qar::SDBForwardArg&, qar::SDBForwardArg&, uint32_t) { return false; }

bool RecordingDatabase::ForwardedCallB(qar::SDBForwardArg&, uint32_t, qar::SDBForwardArg&) { return false; }

qar::SDBForwardResult RecordingDatabase::ForwardedCallC(qar::SDBForwardArg&, uint32_t, bool) { return {}; }

bool RecordingDatabase::ExecuteQueryUDT(const std::string&, uint32_t, const std::string&, ResultFunc, int) {
    return false;
}

bool RecordingDatabase::ExecuteSortByCollate(const std::string&, uint32_t, const std::string&, ResultFunc,
                                             const std::string&) {
    return false;
}

bool RecordingDatabase::ForwardedCallD(qar::SDBForwardArg&, qar::SDBForwardArg&, qar::SDBForwardArg&, uint32_t) {
    return false;
}

bool RecordingDatabase::ExecuteSortByCollateUDT(const std::string&, uint32_t, const std::string&, ResultFunc,
                                                const std::string&, const unsigned int*) {
    return false;
}

OtherConnection::OtherConnection(const std::string& folder) {
    const std::string file = folder + "/gap.db";
    if (sqlite3_open_v2(file.c_str(), &handle_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        sqlite3_close(handle_);
        throw std::runtime_error("cannot open " + file);
    }
    sqlite3_busy_timeout(handle_, 20000);
}

OtherConnection::~OtherConnection() { sqlite3_close(handle_); }

Lines OtherConnection::Run(const std::string& sql) {
    Lines rows;
    if (sqlite3_exec(handle_, sql.c_str(), &AddRow, &rows, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(handle_));
    }
    return rows;
}

Lines OtherConnection::Points() {
    return Run(
        "SELECT camera_id || '/' || business_type, replace(state_time, ' ', 'T') || '+00:00', camera_state FROM history "
        "ORDER BY business_type, camera_id, state_time");
}

// --- the fixture -----------------------------------------------------------------------------------------------------

RealDatabaseTest::RealDatabaseTest(double clock_scale) {
    static std::once_flag loaded;
    std::call_once(loaded, [clock_scale] {
        setenv("TZ", "UTC0", 1);
        tzset();
        LoadSite(clock_scale);
    });
    LoggedLines::Get().Clear();
}

RealDatabaseTest::~RealDatabaseTest() {
    manager.UnRegister(kPlugin);
    qar::IDBManager::Instance()->Finalize(kPlugin);
}

void RealDatabaseTest::PointTo(const std::string& folder) {
    ZELPlatform::CLocalDBInfo info;
    info.SetValdbType(qarplatform::kDatabaseSqlite);
    info.SetValdbName(folder);
    qarplatform::SetLocationDBInfo(info);
}

void RealDatabaseTest::Open(const std::string& folder, unsigned int connections, std::chrono::milliseconds lock_wait) {
    RecordingDatabase::Get().Restart(lock_wait);
    PointTo(folder);
    ASSERT_TRUE(qar::IDBManager::Instance()->Initialize(kPlugin, connections, 0));
    MakeTable();
}

void RealDatabaseTest::MakeTable() {
    ASSERT_TRUE(qar::IDBManager::Instance()->Execute(
        kPlugin, 1,
        "CREATE TABLE gap.history(id BIGINT PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time "
        "VARCHAR(32), state_utc_time VARCHAR(32), business_type INTEGER, bi_type INTEGER, differ INTEGER);"
        "CREATE INDEX gap.by_camera ON history(camera_id, business_type, state_time)"));
}

void RealDatabaseTest::Register() {
    const auto keep = [this](std::map<int, std::vector<qar::SStateRange>>& ranges, int) {
        for (const auto& [camera, camera_ranges] : ranges) {
            for (const qar::SStateRange& range : camera_ranges) {
                told.push_back(std::to_string(camera) + ": " + range.str_begin_time_ + " " + range.str_end_time_);
            }
        }
    };
    ASSERT_TRUE(manager.Register(keep, {kBusi}, kPlugin, kTable, "id"));
}

Lines RealDatabaseTest::Points() const {
    Lines points;
    for (const auto& [plugin, busi_timelines] : qar::CHistoryStateMgrPeer::Timelines(manager)) {
        for (const auto& [busi, cameras] : busi_timelines) {
            for (const auto& [camera, timeline] : cameras) {
                for (const auto& [time, state] : timeline) {
                    points.push_back(std::to_string(camera) + "/" + std::to_string(busi) + " " + qar::TimeToISO(state) +
                                     " " + std::to_string(state.state));
                }
            }
        }
    }
    return points;
}

}  // namespace history_test

namespace qar {

// Stands before the platform's own.
IDBManagerPure* IDBManagerPure::Instance() { return &history_test::RecordingDatabase::Get(); }

}  // namespace qar

// Stands before the platform's own. A line of the library is kept without its function and place.
void LogSinkWrite(int level, const char* module, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    text.pop_back();
    if (std::string(format).rfind("[%s]", 0) == 0) {
        text.erase(text.rfind('['));
        text.erase(0, text.find(']') + 1);
    }
    history_test::LoggedLines::Get().Add(level, module, std::move(text));
}
