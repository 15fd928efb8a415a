#include <sqlite3.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/benches.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "standalone/base/Clock.h"
#include "standalone/device/DeviceLayer.h"
#include "standalone/device/DeviceTable.h"

namespace bench {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::system_clock;

// Runs so fast that every camera's clock has moved on by the next sweep, from a day behind all points.
void StartClock() {
    constexpr double kScale = 2000;
    constexpr int64_t kStart = 1772668800000;  // 2026-03-05 UTC
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    qarplatform::Clock::Get().Configure(kScale, now, kStart);
}

// A device for each camera, guarded, online, its clock known. Nothing is probed.
void LoadSite(int cameras) {
    qarplatform::Site site;
    site.areas.push_back({1, "Yard", 0});
    for (int camera = kFirstCamera; camera < kFirstCamera + cameras; ++camera) {
        qarplatform::DeviceRecord device;
        device.id = camera;
        device.guid = "device-" + std::to_string(camera);
        device.name = device.guid;
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
        element.name = element.guid;
        element.channel = camera;
        element.area = 1;
        site.elements.push_back(element);
    }
    qarplatform::DeviceLayer::Get().Load(site);
    for (const auto& [id, device] : qarplatform::DeviceTable::Current().Devices()) {
        device->GetClock().RunOnHostClock();
        device->SetOnline(true);
    }
}

// What a registration reads, taken from the engine into the same kind of map.
std::size_t ReadRaw(RawConnection& raw) {
    std::map<int, std::map<int, std::map<std::string, int>>> points;
    sqlite3_stmt* statement = nullptr;
    const std::string sql = std::string("SELECT * FROM ") + kTable + " ORDER BY  business_type, camera_id, state_time";
    Require(sqlite3_prepare_v2(raw.Handle(), sql.c_str(), -1, &statement, nullptr) == SQLITE_OK, sql);
    std::size_t rows = 0;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        points[sqlite3_column_int(statement, 5)][sqlite3_column_int(statement, 1)]
              [reinterpret_cast<const char*>(sqlite3_column_text(statement, 3))] = sqlite3_column_int(statement, 2);
        ++rows;
    }
    sqlite3_finalize(statement);
    return rows;
}

std::string MoveAllText(int camera, const std::string& from, const std::string& to) {
    return std::string("UPDATE ") + kTable + " SET state_time = '" + to +
           "' WHERE camera_id = " + std::to_string(camera) + " AND business_type = " + std::to_string(kBusiType) +
           " and state_time = '" + from + "' and camera_state = 2";
}

}  // namespace

std::vector<Comparison> Sweep(const Options& options, HistoryTables& tables) {
    std::vector<Comparison> comparisons;
    LoadSite(options.cameras);
    StartClock();
    // the newest points are state 2, as after a night in order
    const std::string tidy = std::string("DELETE FROM ") + kTable + " WHERE camera_state = 1";
    tables.Raw().Execute(tidy);
    tables.Ours().Execute(tidy);
    const auto rows = static_cast<int>(tables.Raw().Number(std::string("SELECT count(*) FROM ") + kTable));

    const std::set<int> busi_types = {kBusiType};
    const auto ignore = [](std::map<int, std::vector<qar::SStateRange>>&, int) {};
    std::vector<std::unique_ptr<qar::CHistoryStateMgr>> managers;
    comparisons.push_back(Compare(
        "registration: a row of the table read", "sqlite3_step into a nested map", options.rounds, rows,
        [&] { Require(ReadRaw(tables.Raw()) == static_cast<std::size_t>(rows), "read all rows"); },
        [&] {
            managers.push_back(std::make_unique<qar::CHistoryStateMgr>());
            Require(managers.back()->Register(ignore, busi_types, kPlugin, kTable, kKeyColumn), "register");
        }));

    qar::CHistoryStateMgr& manager = *managers.back();
    std::map<int, std::string> newest;
    for (int camera = kFirstCamera; camera < kFirstCamera + options.cameras; ++camera) {
        newest[camera] = "";
    }
    sqlite3_stmt* statement = nullptr;
    const std::string newest_text =
        std::string("SELECT camera_id, max(state_time) FROM ") + kTable + " GROUP BY camera_id";
    Require(sqlite3_prepare_v2(tables.Raw().Handle(), newest_text.c_str(), -1, &statement, nullptr) == SQLITE_OK,
            newest_text);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        newest[sqlite3_column_int(statement, 0)] = reinterpret_cast<const char*>(sqlite3_column_text(statement, 1));
    }
    sqlite3_finalize(statement);

    constexpr int kFirstSweepMoment = 4 * 86400;
    int sweeps = 0;
    const std::string moved = std::string("SELECT count(*) FROM ") + kTable + " WHERE state_time >= '2026-03-05'";
    comparisons.push_back(Compare(
        "sweep: a camera checked, its point moved", "sqlite3_exec of the same UPDATE", options.rounds, options.cameras,
        [&] {
            const std::string to = PlainTime(kFirstSweepMoment + sweeps++);
            for (auto& [camera, time] : newest) {
                tables.Raw().Execute(MoveAllText(camera, time, to));
                time = to;
            }
        },
        [&] { manager.CheckCameraState(); }));
    Require(tables.Raw().Number(moved) == options.cameras, "every camera's point was moved, raw");
    Require(tables.Ours().Number(moved) == options.cameras, "every camera's point was moved");
    return comparisons;
}

}  // namespace bench
