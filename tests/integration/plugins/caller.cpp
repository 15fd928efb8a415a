// Calls the library all the time, as a plug-in at work does: a device's record and state, its clock, the exception
// ranges of another plug-in, the database. Configuration: "devices", how many there are, numbered from 1, device n with
// camera n + 100; "of", the plug-in whose ranges are read; "slow_ms", how long a round of calls lasts that counts as
// slow. At its stop it writes into <data_dir>/<plug-in id>.calls how many rounds it made and how many were slow.
#include <qarhost/plugin_entry.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qar/IDBManager.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IHistoryStateMgr.h"
#include "qar/IPlatformAdapterInterface.h"
#include "tuk/Device.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPause(5);
constexpr int kDeviceType = 2001;

struct Caller {
    std::string id;
    std::string file;
    std::string of;
    int devices = 1;
    milliseconds slow{0};

    std::mutex mutex;
    std::condition_variable changed;
    bool ended = false;  // guarded by mutex
    std::thread thread;
};

// Never destroyed, as the library's singletons.
Caller* caller = nullptr;

void CallOnce(int device) {
    const auto platform = qar::IPlatformAdapterInterface::Instance();
    const auto found = platform->GetDeviceManagerAPI()->GetDevicePtr(device, kDeviceType);
    const bool online = found && found->IsOnline();
    std::string text;
    int offset = 0;
    platform->GetDeviceTimeZoneAPI()->GetCameraTimeEx(text, offset, device + 100, -1);
    std::map<int, std::vector<qar::SStateRange>> ranges;
    qar::IHistoryStateMgr::Instance()->GetExceptionRange(ranges, caller->of, 1);
    qar::IDBManager::Instance()->Execute(
        caller->id, 1,
        "INSERT OR REPLACE INTO caller.calls(id, online) VALUES(1, " + std::to_string(online ? 1 : 0) + ")");
}

void Work() {
    long long rounds = 0;
    long long slow = 0;
    steady_clock::duration longest{};
    std::unique_lock<std::mutex> lock(caller->mutex);
    while (!caller->changed.wait_for(lock, kPause, [] { return caller->ended; })) {
        lock.unlock();
        const auto begin = steady_clock::now();
        CallOnce(1 + static_cast<int>(rounds % caller->devices));
        const auto lasted = steady_clock::now() - begin;
        lock.lock();
        ++rounds;
        slow += lasted >= caller->slow ? 1 : 0;
        longest = std::max(longest, lasted);
    }
    std::ofstream(caller->file) << rounds << " " << slow << " "
                                << std::chrono::duration_cast<milliseconds>(longest).count() << "\n";
}

int Start(const qarhost_context_t* context) {
    rapidjson::Document config;
    config.Parse(context->config_json);
    caller = new Caller;
    caller->id = context->plugin_id;
    caller->file = std::string(context->data_dir) + "/" + caller->id + ".calls";
    caller->of = config["of"].GetString();
    caller->devices = config["devices"].GetInt();
    caller->slow = milliseconds(config["slow_ms"].GetInt());
    if (!qar::IDBManager::Instance()->Initialize(caller->id, 1, 0)) return 1;
    if (!qar::IDBManager::Instance()->Execute(
            caller->id, 1, "CREATE TABLE IF NOT EXISTS caller.calls(id INTEGER PRIMARY KEY, online INTEGER)")) {
        return 2;
    }
    caller->thread = std::thread(&Work);
    return 0;
}

void Stop() {
    {
        const std::lock_guard<std::mutex> guard(caller->mutex);
        caller->ended = true;
    }
    caller->changed.notify_all();
    caller->thread.join();
    qar::IDBManager::Instance()->Finalize(caller->id);
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "caller", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
