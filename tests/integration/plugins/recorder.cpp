// Registers with the state history and writes down, into <data_dir>/<plug-in id>.journal, what it is told and what it
// deletes. Configuration: "cameras", a list; "busi_types", a list, [1] where it is missing; "delete", whether ranges
// that were told are deleted at once; "look", whether it then looks what is left over each, true where it is missing;
// "throw", whether the callback throws after it has written down what it was told.
// Its table is <plug-in id>.camera_history.
#include <qarhost/plugin_entry.h>
#include <rapidjson/document.h>

#include <condition_variable>
#include <deque>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qar/IDBManager.h"
#include "qar/IHistoryStateMgr.h"

namespace {

using Ranges = std::map<int, std::vector<qar::SStateRange>>;

struct Config {
    std::set<int> cameras;
    std::set<int> busi_types{1};
    bool delete_told = false;
    bool look = true;
    bool throw_told = false;
};

std::set<int> ReadSet(const rapidjson::Value& list) {
    std::set<int> numbers;
    for (const auto& value : list.GetArray()) numbers.insert(value.GetInt());
    return numbers;
}

Config ReadConfig(const char* json) {
    rapidjson::Document document;
    document.Parse(json);
    Config config;
    if (document.HasMember("cameras")) config.cameras = ReadSet(document["cameras"]);
    if (document.HasMember("busi_types")) config.busi_types = ReadSet(document["busi_types"]);
    if (document.HasMember("delete")) config.delete_told = document["delete"].GetBool();
    if (document.HasMember("look")) config.look = document["look"].GetBool();
    if (document.HasMember("throw")) config.throw_told = document["throw"].GetBool();
    return config;
}

class Recorder {
public:
    Recorder(const std::string& id, const std::string& data_dir, Config config)
        : id_(id),
          table_(id + ".camera_history"),
          file_(data_dir + "/" + id + ".journal"),
          config_(std::move(config)) {}

    // @return "" or what failed
    std::string Start() {
        if (!qar::IDBManager::Instance()->Initialize(id_, 3, 0)) return "cannot open the database";
        if (!MakeTable()) return "cannot make the table " + table_;
        auto* history = qar::IHistoryStateMgr::Instance();
        if (!history->Init()) return "cannot start the state history";
        const auto told = [this](Ranges& ranges, int busi) { Told(ranges, busi); };
        if (!history->Register(told, config_.busi_types, id_, table_, "id")) {
            history->UnRegister(id_);
            return "cannot register";
        }
        for (const int busi : config_.busi_types) history->SetCareCameraStateInfo(id_, busi, config_.cameras);
        worker_ = std::thread([this] { Work(); });
        return "";
    }

    void Stop() {
        qar::IHistoryStateMgr::Instance()->UnRegister(id_);
        {
            const std::lock_guard<std::mutex> guard(lock_);
            ended_ = true;
        }
        changed_.notify_all();
        worker_.join();
        qar::IDBManager::Instance()->Finalize(id_);
    }

private:
    struct Job {
        int camera;
        int busi;
        qar::SStateRange range;
    };

    bool MakeTable() {
        return qar::IDBManager::Instance()->Execute(
            id_, 1,
            "CREATE TABLE IF NOT EXISTS " + table_ +
                "(id INTEGER PRIMARY KEY, camera_id INTEGER, camera_state INTEGER, state_time TEXT, state_utc_time TEXT, "
                "business_type INTEGER, bi_type INTEGER, differ INTEGER); CREATE INDEX IF NOT EXISTS " +
                id_ + ".camera_history_index ON camera_history(camera_id, business_type, state_time)");
    }

    void Told(const Ranges& ranges, int busi) {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            for (const auto& [camera, list] : ranges) {
                for (const auto& range : list) {
                    Write("told", camera, busi, range, "");
                    if (config_.delete_told) jobs_.push_back({camera, busi, range});
                }
            }
        }
        changed_.notify_all();
        if (config_.throw_told) throw std::runtime_error("the recorder throws");
    }

    void Work() {
        std::unique_lock<std::mutex> lock(lock_);
        while (true) {
            changed_.wait(lock, [this] { return ended_ || !jobs_.empty(); });
            if (ended_) return;
            const Job job = jobs_.front();
            jobs_.pop_front();
            lock.unlock();
            const bool deleted =
                qar::IHistoryStateMgr::Instance()->DelHistoryStateInRange(id_, job.busi, job.camera, job.range);
            const std::string left = config_.look ? " left=" + std::to_string(Overlapping(job)) : "";
            lock.lock();
            Write(deleted ? "deleted" : "refused", job.camera, job.busi, job.range, left);
        }
    }

    // How many exception ranges lie over a range that was deleted.
    std::size_t Overlapping(const Job& job) const {
        Ranges open;
        qar::IHistoryStateMgr::Instance()->GetExceptionRange(open, id_, job.busi);
        std::size_t count = 0;
        for (const auto& range : open[job.camera]) {
            const bool apart =
                range.str_end_time_ <= job.range.str_begin_time_ || range.str_begin_time_ >= job.range.str_end_time_;
            count += apart ? 0 : 1;
        }
        return count;
    }

    void Write(const char* kind, int camera, int busi, const qar::SStateRange& range, const std::string& rest) const {
        std::ofstream(file_, std::ios::app) << std::string(kind) + " camera=" + std::to_string(camera) +
                                                   " busi=" + std::to_string(busi) + " begin=" + range.str_begin_time_ +
                                                   " end=" + range.str_end_time_ + rest + "\n";
    }

    const std::string id_;
    const std::string table_;
    const std::string file_;
    const Config config_;

    std::mutex lock_;
    std::condition_variable changed_;
    // guarded by lock_
    std::deque<Job> jobs_;
    bool ended_ = false;

    std::thread worker_;
};

// Never destroyed: a callback may be on its way while the process ends.
Recorder* recorder = nullptr;

int Start(const qarhost_context_t* context) {
    recorder = new Recorder(context->plugin_id, context->data_dir, ReadConfig(context->config_json));
    const std::string error = recorder->Start();
    if (error.empty()) return 0;
    context->report(error.c_str());
    return 1;
}

void Stop() { recorder->Stop(); }

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "recorder", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
