#include "side_by_side.h"

#include <cstdlib>
#include <ctime>
#include <utility>

#include "dice.h"
#include "qarcommonbiz/TaskDefine.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace qartest {
namespace {

constexpr const char* kTables[kPlugins] = {"gap.history", "road.camera_history"};
constexpr const char* kKeyColumns[kPlugins] = {"id", "row_id"};
constexpr const char* kTopic = "TUK_DeviceAccess";
constexpr const char* kTimer = "HistoryStateMgr.timer";
constexpr int kDeviceType = qarmock::kDeviceType;
constexpr int kCameraType = qarmock::kCameraType;

const std::map<int, int> kDeviceOfCamera = {{11, 1}, {12, 1}, {21, 2}, {31, 3}, {41, 3}};

/// The cameras of this node as the library has read them: the first of a process decide for all of it.
const std::set<int>& NodeOfThisProcess(const std::set<int>& wanted) {
    static const std::set<int> node = wanted;
    return node;
}

std::string Text(const std::vector<Row>& rows) {
    std::string text;
    for (const Row& row : rows) {
        text +=
            "\n      " + row.at.Iso() + ", state " + std::to_string(row.state) + ", utc " + Moment{row.utc, 0}.Plain();
    }
    return text.empty() ? " none" : text;
}

}  // namespace

std::string List(const std::set<int>& numbers) {
    std::string text;
    for (const int number : numbers) text += (text.empty() ? "" : ", ") + std::to_string(number);
    return "{" + text + "}";
}

SideBySide::SideBySide(const Setting& setting) : node_(NodeOfThisProcess(setting.node)) {
    setenv("TZ", setting.time_zone.c_str(), 1);
    tzset();
    platform_.time_util.fake.SetServerOffset(setting.server_offset);
    platform_.log.SetLevel(7);  // no line is kept
    for (const auto& [id, device_id] : kDeviceOfCamera) {
        auto& device = devices_[device_id];
        if (!device) device = std::make_shared<qarmock::FakeDevice>();
        device->id = device_id;
        auto& camera = cameras_[id] = std::make_shared<qarmock::FakeCamera>();
        camera->id = id;
        camera->device_id = device_id;
    }
    AnswerForThePlatform();
}

SideBySide::~SideBySide() { EndProcess(); }

void SideBySide::AnswerForThePlatform() {
    ON_CALL(platform_.devices, FindDeviceByID).WillByDefault([this](int id, int type) {
        const auto device = world.devices.find(id);
        const bool known = type == kDeviceType && device != world.devices.end() && device->second.known;
        return known ? devices_.at(id) : nullptr;
    });
    ON_CALL(platform_.devices, FindChannelByID).WillByDefault([this](int id, int type) {
        const auto camera = world.cameras.find(id);
        const bool known = type == kCameraType && camera != world.cameras.end() && camera->second.known;
        return known ? cameras_.at(id) : nullptr;
    });
    const auto clock = [this](std::string& local, std::string& utc, int& offset,
                              const ZELPlatform::TimeZone::CTimeZoneDeviceKey& key, long long time) {
        const Device& device = world.devices.at(key.GetDeviceId());
        if (time != -1) Complain("a device was asked for a moment that is not the present");
        local = world.ClockOf(device).Plain();
        utc = Moment{world.utc, 0}.Plain();
        offset = static_cast<int>(device.offset);
        return device.clock_learned;
    };
    ON_CALL(platform_.time_zone, GetDeviceTimeEx).WillByDefault(clock);
    ON_CALL(platform_.time_zone, GetDeviceTime)
        .WillByDefault([clock](auto& local, auto& utc, int& offset, auto& key, long long time) {
            clock(local, utc, offset, key, time);
        });
    ON_CALL(platform_.resources, GetCurrentNodeAllElementsByType)
        .WillByDefault([this](qarmock::MockResources::Elements& elements, int type) {
            if (type != kCameraType || std::exchange(node_read_, true)) {
                Complain("the cameras of this node were read a second time, or with another type");
            }
            for (const int camera : node_) {
                auto element = std::make_shared<qarmock::FakeElement>();
                element->id = static_cast<unsigned int>(camera) + 10000;
                element->physical_id = static_cast<unsigned int>(camera);
                elements[element->id] = element;
            }
        });
    ON_CALL(platform_.database, GetNextID).WillByDefault([this](const std::string& name) {
        if (!name.empty()) Complain("an id was taken under the name \"" + name + "\"");
        return ++last_id_;
    });
    ON_CALL(platform_.database, Execute)
        .WillByDefault([this](const std::string& plugin, uint32_t conn_type, const std::string& sql) {
            return Run(plugin, conn_type, sql, nullptr);
        });
    ON_CALL(platform_.database, ExecuteQuery)
        .WillByDefault([this](const std::string& plugin, uint32_t conn_type, const std::string& sql,
                              const qar::IDBManagerPure::ResultFunc& fn) {
            qarmock::FakeRows rows;
            if (!Run(plugin, conn_type, sql, &rows)) return false;
            qarmock::FakeConnect connect(std::move(rows));
            fn(&connect);
            return true;
        });
}

bool SideBySide::Outcome(size_t statement) const { return one_in_ == 0 || Scramble(luck_ + statement) % one_in_ != 0; }

bool SideBySide::Run(const std::string& plugin, uint32_t conn_type, const std::string& sql, qarmock::FakeRows* rows) {
    const bool ok = Outcome(statements_.size());
    statements_.push_back({sql, ok});
    HistoryTable& table = tables_[plugin == kNames[0] ? 0 : 1];
    bool known = conn_type == 1;
    if (rows != nullptr) {
        auto found = table.Query(sql);
        known = known && found;
        if (found) *rows = std::move(*found);
    } else {
        known = known && table.Execute(sql, last_id_, ok);
    }
    if (!known) Complain("a statement that is none of the nine, or not as it should be: " + sql);
    return ok && known;
}

void SideBySide::ShowWorld() {
    for (const auto& [id, device] : world.devices) {
        devices_[id]->online = device.online;
        devices_[id]->guard = device.guard;
        devices_[id]->channels.clear();
    }
    for (const auto& [id, camera] : world.cameras) {
        const auto& device = devices_[camera.device];
        cameras_[id]->online = camera.online;
        cameras_[id]->device.reset();
        if (world.devices[camera.device].known) cameras_[id]->device = device;
        if (camera.known) device->channels.push_back(cameras_[id]);
    }
}

void SideBySide::StartProcess() {
    manager_.emplace();
    CompareResult(true, manager_->Init());
    running_ = true;
}

void SideBySide::EndProcess() {
    if (!manager_) return;
    manager_->Uninit();
    platform_.timers.DelTimer(kTimer);
    qar::CMessageLoopForHistoryState::Instance()->Stop(false);
    manager_.reset();
}

void SideBySide::StartSequence() {
    EndProcess();
    world = World();
    world.node = node_;
    world.sql_ok = [this] { return Outcome(expected_statements_++); };
    tables_.clear();
    models.clear();
    for (int plugin = 0; plugin < kPlugins; ++plugin) {
        tables_.emplace_back(kTables[plugin], kKeyColumns[plugin]);
        models.push_back(TimelineModel{world, [this, plugin](int busi, const Ranges& ranges) {
                                           if (!ranges.empty()) expected_told_.push_back({plugin, busi, ranges});
                                       }});
    }
    for (const auto& [camera, device] : kDeviceOfCamera) {
        world.devices[device] = Device();
        world.cameras[camera] = Camera{device};
    }
    last_id_ = 0;
    difference_.clear();
    StartProcess();
}

void SideBySide::StartStep(uint64_t luck, unsigned int one_in) {
    luck_ = luck;
    one_in_ = one_in;
    statements_.clear();
    expected_statements_ = 0;
    told_.clear();
    expected_told_.clear();
}

std::string SideBySide::Difference() {
    Compare("number of statements", std::to_string(expected_statements_), std::to_string(statements_.size()));
    CompareTold();
    for (int plugin = 0; plugin < kPlugins; ++plugin) {
        CompareCaredAndRanges(plugin);
        CompareRows(plugin);
    }
    return std::exchange(difference_, std::string());
}

std::string SideBySide::Statements() const {
    std::string text;
    for (const Statement& statement : statements_) {
        text += (statement.ok ? "  ok     " : "  failed ") + statement.sql + "\n";
    }
    return text;
}

void SideBySide::Compare(const std::string& what, const std::string& expected, const std::string& got) {
    if (expected != got) Complain(what + "\n    expected: " + expected + "\n    got:      " + got);
}

void SideBySide::CompareResult(bool expected, bool got) {
    if (expected != got) Complain(std::string("result: expected ") + (expected ? "true" : "false"));
}

void SideBySide::CompareTold() {
    if (told_ == expected_told_) return;
    const auto text = [](const std::vector<Call>& calls) {
        std::string all;
        for (const Call& call : calls) {
            all += "\n      " + std::string(kNames[call.plugin]) + " under " + std::to_string(call.busi) + ":" +
                   qartest::Text(call.ranges);
        }
        return all.empty() ? std::string("nothing") : all;
    };
    Compare("calls of the callbacks", text(expected_told_), text(told_));
}

void SideBySide::CompareCaredAndRanges(int plugin) {
    for (const int busi : kBusiTypes) {
        const std::string of = std::string(" of ") + kNames[plugin] + " under " + std::to_string(busi);
        std::map<int, std::vector<qar::SStateRange>> found;
        CompareResult(true, manager_->GetExceptionRange(found, kNames[plugin], busi));
        const Ranges ranges = Read(found);
        const Ranges expected = Model(plugin).GetRanges(busi);
        if (ranges != expected) Compare("ranges" + of, qartest::Text(expected), qartest::Text(ranges));

        std::set<int> cared;
        std::set<int> expected_cared;
        manager_->GetCareCameraList(cared, kNames[plugin], busi);
        for (const auto& [key, line] : Model(plugin).lines) {
            if (line.cared && key.first == busi) expected_cared.insert(key.second);
        }
        if (cared != expected_cared) Compare("cared cameras" + of, List(expected_cared), List(cared));
    }
}

void SideBySide::CompareRows(int plugin) {
    std::map<Key, std::vector<Row>> found;
    for (const auto& entry : tables_[static_cast<size_t>(plugin)].entries) found[entry.key].push_back(entry.row);
    for (const auto& [key, line] : Model(plugin).lines) found[key];
    for (const auto& [key, rows] : found) {
        const auto line = Model(plugin).lines.find(key);
        const std::vector<Row> expected = line == Model(plugin).lines.end() ? std::vector<Row>() : line->second.rows;
        if (rows == expected) continue;
        Compare(std::string("rows of ") + kNames[plugin] + " under " + std::to_string(key.first) + ", camera " +
                    std::to_string(key.second),
                Text(expected), Text(rows));
    }
}

Ranges SideBySide::Read(const std::map<int, std::vector<qar::SStateRange>>& ranges) {
    Ranges read;
    for (const auto& [camera, list] : ranges) {
        for (const auto& range : list) {
            const auto begin = ReadIso(range.str_begin_time_);
            const auto end = ReadIso(range.str_end_time_);
            if (!begin || !end) Complain("no range: " + range.str_begin_time_ + " to " + range.str_end_time_);
            read[camera].emplace_back(begin.value_or(Moment()), end.value_or(Moment()));
        }
    }
    return read;
}

void SideBySide::Register(int plugin, const std::set<int>& busi_types) {
    const auto callback = [this, plugin](std::map<int, std::vector<qar::SStateRange>>& ranges, int busi) {
        told_.push_back({plugin, busi, Read(ranges)});
    };
    CompareResult(true, manager_->Init());  // as every plug-in does; it starts nothing a second time
    const bool got = manager_->Register(callback, busi_types, kNames[plugin], kTables[plugin], kKeyColumns[plugin]);
    CompareResult(Model(plugin).Register(busi_types), got);
}

void SideBySide::UnRegister(int plugin) {
    manager_->UnRegister(kNames[plugin]);
    Model(plugin).UnRegister();
    bool any = false;
    for (const TimelineModel& model : models) any = any || !model.busi_types.empty();
    running_ = running_ && any;
}

void SideBySide::SetCare(int plugin, int busi, const std::set<int>& cameras, bool ex) {
    ShowWorld();
    const bool got = ex ? manager_->SetCareCameraStateInfoEx(kNames[plugin], busi, cameras)
                        : manager_->SetCareCameraStateInfo(kNames[plugin], busi, cameras);
    CompareResult(Model(plugin).SetCare(busi, cameras, ex), got);
}

void SideBySide::DelCare(int plugin, int busi, const std::set<int>& cameras) {
    manager_->DelCareCameraStateInfo(kNames[plugin], busi, cameras);
    for (const int camera : cameras) Model(plugin).DelCare({busi, camera});
}

void SideBySide::DelCareByCamera(int plugin, int camera) {
    manager_->DelCareCameraStateInfoByCameraID(kNames[plugin], camera);
    Model(plugin).DelCareByCamera(camera);
}

void SideBySide::MoveOut(int plugin, const std::set<int>& cameras) {
    CompareResult(true, manager_->DelCareCameraStateInfoAtMoveOutByCameraIDs(kNames[plugin], cameras));
    for (const int camera : cameras) Model(plugin).MoveOut(camera);
}

void SideBySide::AddState(int plugin, Key key, const std::string& text, MaybeMoment at, int state) {
    const bool got = manager_->AddCameraState(kNames[plugin], state, text, key.first, key.second);
    CompareResult(Model(plugin).AddState(key, at, state), got);
}

void SideBySide::DelRange(int plugin, Key key, const std::string& begin_text, MaybeMoment begin,
                          const std::string& end_text, MaybeMoment end) {
    const bool got = manager_->DelHistoryStateInRange(kNames[plugin], key.first, key.second, {begin_text, end_text});
    CompareResult(Model(plugin).DelRange(key, begin, end), got);
}

void SideBySide::Event(int type, int resource_type, int id) {
    ShowWorld();
    auto event = std::make_shared<tuk::CDeviceAccessObserverParam>();
    event->SetObserverMsgType(type);
    event->SetVal_resource_type(resource_type);
    event->SetVal_id(id);
    event->SetText("{}");
    platform_.bus.fake.Deliver(kTopic, type, event);
    platform_.pools.RunAll();
    if (!running_) return;
    const bool of_device = resource_type == kDeviceType && (type == 265 || type == 261);
    const bool of_camera = resource_type == kCameraType && type == 517;
    for (const auto& [camera, info] : world.cameras) {
        if (!(of_device && info.device == id) && !(of_camera && camera == id)) continue;
        for (TimelineModel& model : models) model.Event(camera);
    }
}

void SideBySide::Tick(uint64_t tick) {
    ShowWorld();
    const bool got = platform_.timers.fake.Tick(kTimer, tick);
    platform_.pools.RunAll();
    CompareResult(running_, got);
    if (!running_) return;
    for (TimelineModel& model : models) model.Sweep(tick);
    for (TimelineModel& model : models) model.Retry();
}

void SideBySide::Restart() {
    EndProcess();
    StartProcess();
    for (TimelineModel& model : models) model.UnRegister();
}

void SideBySide::RowFromElsewhere(int plugin, Key key, const Row& row) {
    tables_[static_cast<size_t>(plugin)].entries.push_back({++last_id_, key, row});
    Model(plugin).lines[key].rows.push_back(row);
}

}  // namespace qartest
