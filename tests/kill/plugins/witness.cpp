// Registers with the state history and writes down the exception ranges that it then has, before its own changes
// begin: lines "BUSI CAMERA BEGIN END" in <data_dir>/<plug-in id>.ranges, a file that is there whole or not at all.
// Then it executes "SELECT 'ranges are written'", a mark in the record of the statements. From then on it changes its
// timelines as fast as it can, and tables of its own besides.
// Configuration: "cameras" and "busi_types", lists; "threads", how many of them change; "seed".
#include <qarhost/plugin_entry.h>
#include <rapidjson/document.h>

#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qar/IDBManager.h"
#include "qar/IDeviceTimeZoneAPI.h"
#include "qar/IHistoryStateMgr.h"
#include "qar/IPlatformAdapterInterface.h"

namespace {

using Ranges = std::map<int, std::vector<qar::SStateRange>>;
using Random = std::mt19937;

constexpr const char* kNoClock = "2026-03-01 00:00:00";
constexpr unsigned kLookBackS = 7 * 86400 - 3600;  // what is older expires

struct Config {
    std::vector<int> cameras;
    std::vector<int> busi_types;
    int threads = 1;
    unsigned seed = 1;
};

std::vector<int> ReadList(const rapidjson::Value& list) {
    std::vector<int> numbers;
    for (const auto& value : list.GetArray()) numbers.push_back(value.GetInt());
    return numbers;
}

Config ReadConfig(const char* json) {
    rapidjson::Document document;
    document.Parse(json);
    return {ReadList(document["cameras"]), ReadList(document["busi_types"]), document["threads"].GetInt(),
            document["seed"].GetUint()};
}

int Pick(const std::vector<int>& numbers, Random& random) { return numbers[random() % numbers.size()]; }

std::string OffsetText(int seconds) {
    const int minutes = (seconds < 0 ? -seconds : seconds) / 60;
    return (seconds < 0 ? '-' : '+') + std::to_string(minutes / 600) + std::to_string(minutes / 60 % 10) + ":" +
           std::to_string(minutes % 60 / 10) + std::to_string(minutes % 10);
}

class Witness {
public:
    Witness(const std::string& id, const std::string& data_dir, Config config)
        : id_(id), table_(id + ".camera_history"), file_(data_dir + "/" + id + ".ranges"), config_(std::move(config)) {}

    // @return "" or what failed
    std::string Start() {
        // a connection for each thread, and some for the history
        if (!Database().Initialize(id_, static_cast<uint32_t>(config_.threads), 3)) return "cannot open the database";
        if (!MakeTables()) return "cannot make the tables";
        if (!History().Init()) return "cannot start the state history";
        const std::set<int> busi_types(config_.busi_types.begin(), config_.busi_types.end());
        const auto told = [](Ranges&, int) {};  // the threads ask by themselves
        if (!History().Register(told, busi_types, id_, table_, "id")) {
            History().UnRegister(id_);
            return "cannot register";
        }
        WriteRanges();
        if (!Database().Execute(id_, 1, "SELECT 'ranges are written'")) return "cannot set the mark";
        const std::set<int> cameras(config_.cameras.begin(), config_.cameras.end());
        for (const int busi : busi_types) History().SetCareCameraStateInfo(id_, busi, cameras);
        for (int i = 0; i < config_.threads; ++i) threads_.emplace_back([this, i] { Work(i); });
        return "";
    }

    void Stop() {
        ended_ = true;
        for (std::thread& thread : threads_) thread.join();
        History().UnRegister(id_);
        Database().Finalize(id_);
    }

private:
    static qar::IDBManager& Database() { return *qar::IDBManager::Instance(); }
    static qar::IHistoryStateMgr& History() { return *qar::IHistoryStateMgr::Instance(); }

    std::string TallyOf(int thread) const { return id_ + ".tally_" + std::to_string(thread); }

    bool MakeTables() {
        std::string sql =
            "CREATE TABLE IF NOT EXISTS " + table_ +
            "(id INTEGER PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time TEXT, state_utc_time TEXT, "
            "business_type INTEGER, bi_type INTEGER, differ INTEGER); CREATE INDEX IF NOT EXISTS " +
            id_ + ".camera_history_index ON camera_history(camera_id, business_type, state_time)";
        for (int i = 0; i < config_.threads; ++i) {
            sql += "; CREATE TABLE IF NOT EXISTS " + TallyOf(i) + "(id INTEGER PRIMARY KEY, age INTEGER)";
        }
        return Database().Execute(id_, 1, sql);
    }

    void WriteRanges() const {
        const std::string unfinished = file_ + ".new";
        std::ofstream out(unfinished);
        for (const int busi : config_.busi_types) {
            Ranges open;
            History().GetExceptionRange(open, id_, busi);
            for (const auto& [camera, ranges] : open) {
                for (const auto& range : ranges) {
                    out << busi << ' ' << camera << ' ' << range.str_begin_time_ << ' ' << range.str_end_time_ << '\n';
                }
            }
        }
        out.close();
        if (out) std::filesystem::rename(unfinished, file_);
    }

    void Work(int thread) {
        Random random(config_.seed + static_cast<unsigned>(thread));
        while (!ended_) Change(thread, random);
    }

    void Change(int thread, Random& random) {
        const int busi = Pick(config_.busi_types, random);
        const int camera = Pick(config_.cameras, random);
        const int choice = static_cast<int>(random() % 64);
        if (choice < 2) {
            CountUp(thread);
        } else if (choice == 2) {
            History().DelCareCameraStateInfo(id_, busi, {camera});
            History().SetCareCameraStateInfo(id_, busi, {camera});
        } else if (choice < 15) {
            DeleteOneRange(busi, camera, random);
        } else {
            // 1 and 2 are the states of a timeline; 3 stands for any other
            const int state = choice == 63 ? 3 : choice % 2 + 1;
            History().AddCameraState(id_, state, Moment(camera, random), busi, camera);
        }
    }

    // Several statements that belong together.
    void CountUp(int thread) const {
        const std::string table = TallyOf(thread);
        Database().Execute(id_, 1,
                           "INSERT INTO " + table + " SELECT coalesce(max(id), 0) + 1, 0 FROM " + table + "; UPDATE " +
                               table + " SET age = age + 1; DELETE FROM " + table + " WHERE age > 50");
    }

    void DeleteOneRange(int busi, int camera, Random& random) const {
        Ranges open;
        History().GetExceptionRange(open, id_, busi);
        const auto& ranges = open[camera];
        if (ranges.empty()) return;
        History().DelHistoryStateInRange(id_, busi, camera, ranges[random() % ranges.size()]);
    }

    // One of the seconds of the last days on the camera's own clock.
    static std::string Moment(int camera, Random& random) {
        std::string text;
        int offset = 0;
        const auto clocks = qar::IPlatformAdapterInterface::Instance()->GetDeviceTimeZoneAPI();
        if (!clocks->GetCameraTimeEx(text, offset, camera, -1)) text = kNoClock;
        std::tm wall{};
        strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &wall);
        const std::time_t moment = timegm(&wall) - static_cast<std::time_t>(random() % kLookBackS);
        gmtime_r(&moment, &wall);
        char iso[32];
        std::strftime(iso, sizeof iso, "%Y-%m-%dT%H:%M:%S", &wall);
        return iso + OffsetText(offset);
    }

    const std::string id_;
    const std::string table_;
    const std::string file_;
    const Config config_;
    std::atomic<bool> ended_{false};
    std::vector<std::thread> threads_;
};

// Never destroyed: a callback may be on its way while the process ends.
Witness* witness = nullptr;

int Start(const qarhost_context_t* context) {
    witness = new Witness(context->plugin_id, context->data_dir, ReadConfig(context->config_json));
    const std::string error = witness->Start();
    if (error.empty()) return 0;
    context->report(error.c_str());
    return 1;
}

void Stop() { witness->Stop(); }

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "witness", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
