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

/// The library reads the cameras of this node once in a process, so that all of a process must have the same.
const std::set<int>& NodeOfThisProcess(const std::set<int>& wanted) {
    static const std::set<int> node = wanted;
    if (node != wanted) throw std::logic_error("another node in one process");
    return node;
}

std::string Text(const std::vector<Row>& rows) {
    std::string text;
    for (const Row& row : rows) {
        text +=
            "\n      " + row.at.Iso() + ", state " + std::to_string(row.state) + ", utc " + Moment{row.utc, 0}.Plain();
    }
    return text.empty() ? "none" : text;
}

std::string Text(const std::map<Key, std::map<Moment, int>>& timelines) {
    std::string text;
    for (const auto& [key, points] : timelines) {
        text += "\n      under " + std::to_string(key.first) + ", camera " + std::to_string(key.second) + ":";
        for (const auto& [at, state] : points) text += " " + at.Iso() + " state " + std::to_string(state) + ";";
    }
    return text.empty() ? "none" : text;
}

std::string Text(const std::set<Key>& keys) {
    std::string text;
    for (const auto& [busi, camera] : keys) text += std::to_string(busi) + ", " + std::to_string(camera) + "; ";
    return text.empty() ? "none" : text;
}

Moment FromFields(const qar::SHistoryTime& time) {
    int64_t wall = time.year;
    for (const int field : {time.month, time.day, time.hour, time.minute, time.second}) wall = wall * 100 + field;
    return {wall, time.differ};
}

std::set<Key> PutOff(const TimelineModel& model) {
    std::set<Key> keys;
    for (const auto& [key, line] : model.lines) {
        if (line.put_off) keys.insert(key);
    }
    return keys;
}

bool InCalendar(const Moment& moment) { return Moment::FromSeconds(moment.Seconds(), moment.offset) == moment; }

}  // namespace
}  // namespace qartest

namespace qar {

/// Reaches what the manager hides.
struct CHistoryStateMgrPeer {
    static const auto& Timelines(const CHistoryStateMgr& manager) { return manager.map_camera_state_; }
    static const auto& PutOff(const CHistoryStateMgr& manager) { return manager.map_delay_camera_; }
};

}  // namespace qar

namespace qartest {

using Peer = qar::CHistoryStateMgrPeer;

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
            const bool ok = Run(plugin, conn_type, sql, &rows);
            if (!ok) rows.rows.resize(rows.rows.size() / 2);  // it fails half way
            qarmock::FakeConnect connect(std::move(rows));
            fn(&connect);
            return ok;
        });
}

bool SideBySide::Outcome(size_t statement) const { return one_in_ == 0 || Scramble(luck_ + statement) % one_in_ != 0; }

bool SideBySide::Run(const std::string& plugin, uint32_t conn_type, const std::string& sql, qarmock::FakeRows* rows) {
    const bool ok = Outcome(statements_.size());
    statements_.push_back({sql, ok});
    HistoryTable& table = tables[plugin == kNames[0] ? 0 : 1];
    bool known = conn_type == 1;
    if (rows != nullptr) {
        auto found = table.Query(sql);
        known = known && found;
        if (found) *rows = std::move(*found);
    } else {
        known = known && table.Execute(sql, last_id_, ok);
    }
    Saw(std::string(ok ? "statement: " : "failed statement: ") + table.Kind());
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
    if (!manager_->Init()) Complain("Init failed");
    subscribed_ = running_ = true;
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
    tables.clear();
    models.clear();
    for (int plugin = 0; plugin < kPlugins; ++plugin) {
        tables.emplace_back(kTables[plugin], kKeyColumns[plugin]);
        models.push_back(
            TimelineModel{shown_, [this, plugin](int busi, const Ranges& ranges) { TellModel(plugin, busi, ranges); }});
    }
    for (const auto& [camera, device] : kDeviceOfCamera) {
        world.devices[device] = Device();
        world.cameras[camera] = Camera{device};
    }
    last_id_ = 0;
    difference_.clear();
    StartProcess();
}

void SideBySide::StartStep(uint64_t luck, unsigned int one_in, bool callbacks_throw) {
    luck_ = luck;
    one_in_ = one_in;
    callbacks_throw_ = callbacks_throw;
    statements_.clear();
    expected_statements_ = 0;
    expected = got = Answers();
    ShowModelTheWorld();
}

void SideBySide::ShowModelTheWorld() {
    shown_ = world;
    if (mislead) mislead(shown_);
}

std::string SideBySide::Difference() {
    if (spoil) spoil(*this);
    Compare("number of statements", std::to_string(expected_statements_), std::to_string(statements_.size()));
    CompareAnswers();
    for (int plugin = 0; plugin < kPlugins; ++plugin) {
        CompareCaredAndRanges(plugin);
        ComparePoints(plugin);
        ComparePutOff(plugin);
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

void SideBySide::Compare(const std::string& what, const std::string& model, const std::string& library) {
    if (model != library) Complain(what + "\n    model:   " + model + "\n    library: " + library);
}

void SideBySide::CompareAnswers() {
    const auto results = [](const Answers& answers) {
        std::string text;
        for (const auto& result : answers.results) text += !result ? "threw " : *result ? "true " : "false ";
        return text;
    };
    if (expected.results != got.results) Compare("result", results(expected), results(got));
    const auto told = [](const Answers& answers) {
        std::string text;
        for (const Call& call : answers.told) {
            text += "\n      " + std::string(kNames[call.plugin]) + " under " + std::to_string(call.busi) + ":" +
                    qartest::Text(call.ranges);
        }
        return text.empty() ? "nothing" : text;
    };
    if (expected.told != got.told) Compare("calls of the callbacks", told(expected), told(got));
}

void SideBySide::CompareCaredAndRanges(int plugin) {
    for (const int busi : kBusiTypes) {
        const std::string of = std::string(" of ") + kNames[plugin] + " under " + std::to_string(busi);
        std::map<int, std::vector<qar::SStateRange>> found;
        if (!manager_->GetExceptionRange(found, kNames[plugin], busi)) Complain("GetExceptionRange failed");
        const Ranges ranges = Read(found);
        const Ranges model_ranges = Model(plugin).GetRanges(busi);
        if (ranges != model_ranges) Compare("ranges" + of, qartest::Text(model_ranges), qartest::Text(ranges));
        if (!model_ranges.empty()) Saw("compared: ranges");

        std::set<int> cared;
        std::set<int> model_cared;
        manager_->GetCareCameraList(cared, kNames[plugin], busi);
        for (const auto& [key, line] : Model(plugin).lines) {
            if (line.cared && key.first == busi) model_cared.insert(key.second);
        }
        if (cared != model_cared) Compare("cared cameras" + of, List(model_cared), List(cared));
    }
}

void SideBySide::ComparePoints(int plugin) {
    std::map<Key, std::map<Moment, int>> library;
    const auto timelines = Peer::Timelines(*manager_).find(kNames[plugin]);
    if (timelines != Peer::Timelines(*manager_).end()) {
        for (const auto& [busi, cameras] : timelines->second) {
            for (const auto& [camera, timeline] : cameras) {
                auto& points = library[{busi, camera}];
                for (const auto& [time, state] : timeline) {
                    points[FromFields(time)] = state.state;
                    if (FromFields(time) != FromFields(state)) Complain("a point's key is not its moment");
                }
            }
        }
    }
    std::map<Key, std::map<Moment, int>> model;
    std::map<int, int> lines_of_camera;
    for (const auto& [key, line] : Model(plugin).lines) {
        if (!line.has_timeline) continue;
        model[key] = line.points;
        if (line.points.empty()) Saw("compared: an emptied timeline");
        if (++lines_of_camera[key.second] == 2) Saw("compared: a camera under several business types");
        const auto other = Model(1 - plugin).lines.find(key);
        if (other != Model(1 - plugin).lines.end() && other->second.has_timeline) {
            Saw("compared: a camera of both plug-ins");
        }
        const Moment* before = nullptr;
        for (const auto& [at, state] : line.points) {
            if (before != nullptr && before->offset < at.offset) Saw("compared: points with the offset going forward");
            if (before != nullptr && before->offset > at.offset) Saw("compared: points with the offset going back");
            before = &at;
        }
    }
    if (library != model) Compare("points of " + std::string(kNames[plugin]), Text(model), Text(library));
}

void SideBySide::ComparePutOff(int plugin) {
    std::set<Key> library;
    const auto put_off = Peer::PutOff(*manager_).find(kNames[plugin]);
    if (put_off != Peer::PutOff(*manager_).end()) {
        for (const auto& [busi, cameras] : put_off->second) {
            for (const int camera : cameras) library.insert({busi, camera});
        }
    }
    const std::set<Key> model = PutOff(Model(plugin));
    if (library != model) Compare("cameras put off by " + std::string(kNames[plugin]), Text(model), Text(library));
}

void SideBySide::CompareRows(int plugin) {
    std::map<Key, std::vector<Row>> found;
    for (const auto& entry : tables[static_cast<size_t>(plugin)].entries) found[entry.key].push_back(entry.row);
    for (const auto& [key, line] : Model(plugin).lines) found[key];
    for (const auto& [key, rows] : found) {
        const auto line = Model(plugin).lines.find(key);
        const std::vector<Row> model = line == Model(plugin).lines.end() ? std::vector<Row>() : line->second.rows;
        if (!model.empty()) Saw("compared: rows");
        if (rows == model) continue;
        Compare(std::string("rows of ") + kNames[plugin] + " under " + std::to_string(key.first) + ", camera " +
                    std::to_string(key.second),
                Text(model), Text(rows));
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

template <class Operation>
std::optional<bool> SideBySide::Try(Operation operation) {
    try {
        return operation();
    } catch (const CallbackThrew&) {
        return std::nullopt;
    }
}

void SideBySide::TellModel(int plugin, int busi, const Ranges& ranges) {
    if (ranges.empty()) return;
    expected.told.push_back({plugin, busi, ranges});
    Saw(told_);
    if (!callbacks_throw_) return;
    Saw(caught_ ? "a callback threw, and it went on" : "a callback threw, and it ended");
    if (!caught_) throw CallbackThrew("the plug-in's callback threw");
}

void SideBySide::Register(int plugin, const std::set<int>& busi_types, bool with_callback) {
    qar::NotifyFunc callback;
    if (with_callback) {
        callback = [this, plugin](std::map<int, std::vector<qar::SStateRange>>& ranges, int busi) {
            got.told.push_back({plugin, busi, Read(ranges)});
            if (callbacks_throw_) throw CallbackThrew("the plug-in's callback threw");
        };
    }
    got.results.push_back(manager_->Init());  // as every plug-in does; it starts nothing a second time
    expected.results.push_back(true);
    got.results.push_back(
        manager_->Register(callback, busi_types, kNames[plugin], kTables[plugin], kKeyColumns[plugin]));
    expected.results.push_back(Model(plugin).Register(with_callback ? busi_types : std::set<int>()));
    for (const auto& [key, line] : Model(plugin).lines) {
        if (*expected.results.back() && line.cared) Saw("cameras cared for from the table on");
    }
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
    got.results.push_back(Try([&] {
        return ex ? manager_->SetCareCameraStateInfoEx(kNames[plugin], busi, cameras)
                  : manager_->SetCareCameraStateInfo(kNames[plugin], busi, cameras);
    }));
    told_ = "told: at care";
    caught_ = false;
    std::set<Key> to_load;
    std::set<Key> to_put_off;
    for (const int camera : cameras) {
        const Line& line = Model(plugin).lines[{busi, camera}];
        if (ex && line.points.empty() && !line.rows.empty()) to_load.insert({busi, camera});
        if (!line.put_off) to_put_off.insert({busi, camera});
    }
    expected.results.push_back(Try([&] { return Model(plugin).SetCare(busi, cameras, ex); }));
    for (const Key& key : to_load) {
        if (!Model(plugin).lines[key].points.empty()) Saw("rows taken over");
    }
    for (const Key& key : to_put_off) {
        if (Model(plugin).lines[key].put_off) Saw("put off");
    }
}

void SideBySide::DelCare(int plugin, int busi, const std::set<int>& cameras) {
    manager_->DelCareCameraStateInfo(kNames[plugin], busi, cameras);
    const size_t put_off = PutOff(Model(plugin)).size();
    for (const int camera : cameras) {
        if (Model(plugin).lines[{busi, camera}].put_off && Model(plugin).levels.count(busi) == 0) {
            Saw("deletion of a camera that stays put off");
        }
        Model(plugin).DelCare({busi, camera});
    }
    if (busi == -1 && PutOff(Model(plugin)).size() < put_off) Saw("deletion of a put-off camera under type -1");
}

void SideBySide::DelCareByCamera(int plugin, int camera) {
    manager_->DelCareCameraStateInfoByCameraID(kNames[plugin], camera);
    for (const auto& [key, line] : Model(plugin).lines) {
        if (line.cared && !Model(plugin).recorded) Saw("deletion by camera before anything was recorded");
    }
    Model(plugin).DelCareByCamera(camera);
}

void SideBySide::MoveOut(int plugin, const std::set<int>& cameras) {
    got.results.push_back(manager_->DelCareCameraStateInfoAtMoveOutByCameraIDs(kNames[plugin], cameras));
    expected.results.push_back(true);
    for (const int camera : cameras) {
        for (const auto& [key, line] : Model(plugin).lines) {
            if (key.second == camera && line.has_timeline) Saw("moved out with a timeline");
        }
        Model(plugin).MoveOut(camera);
    }
}

void SideBySide::AddState(int plugin, Key key, const std::string& text, MaybeMoment at, int state) {
    const auto line = Model(plugin).lines.find(key);
    if (at && line != Model(plugin).lines.end()) {
        const auto& points = line->second.points;
        const auto point = points.find(*at);
        if (point != points.end()) Saw(point->second == state ? "add: the same once more" : "add: a second's other");
        if (point == points.end() && !points.empty() && *at < points.rbegin()->first) Saw("add: an earlier moment");
    }
    if (at && !InCalendar(*at)) Saw("add: a moment that no calendar has");
    got.results.push_back(manager_->AddCameraState(kNames[plugin], state, text, key.first, key.second));
    expected.results.push_back(Model(plugin).AddState(key, at, state));
}

void SideBySide::DelRange(int plugin, Key key, const std::string& begin_text, MaybeMoment begin,
                          const std::string& end_text, MaybeMoment end) {
    got.results.push_back(
        manager_->DelHistoryStateInRange(kNames[plugin], key.first, key.second, {begin_text, end_text}));
    expected.results.push_back(Model(plugin).DelRange(key, begin, end));
}

template <class Post>
void SideBySide::Handle(Queue queue, Post post) {
    if (queue.full) platform_.pools.SetWorkTaskCount(5001);
    post();
    platform_.pools.SetWorkTaskCount(std::nullopt);
    world.utc += queue.later;
    ShowModelTheWorld();
    ShowWorld();
    platform_.pools.RunAll();
    if (queue.full) Saw("nothing posted, as the queue was full");
    if (queue.later != 0) Saw("handled later");
}

void SideBySide::Event(int type, int resource_type, int id, Queue queue) {
    auto event = std::make_shared<tuk::CDeviceAccessObserverParam>();
    event->SetObserverMsgType(type);
    event->SetVal_resource_type(resource_type);
    event->SetVal_id(id);
    event->SetText("{}");
    Handle(queue, [&] { platform_.bus.fake.Deliver(kTopic, type, event); });
    if (!running_ || !subscribed_ || queue.full) return;
    told_ = "told: by an event";
    caught_ = true;
    const bool of_device = resource_type == kDeviceType && (type == 265 || type == 261);
    const bool of_camera = resource_type == kCameraType && type == 517;
    for (const auto& [camera, info] : world.cameras) {
        if (!(of_device && info.device == id) && !(of_camera && camera == id)) continue;
        for (TimelineModel& model : models) model.Event(camera);
    }
}

void SideBySide::Tick(uint64_t tick, Queue queue) {
    Handle(queue, [&] { got.results.push_back(platform_.timers.fake.Tick(kTimer, tick)); });
    expected.results.push_back(running_);
    if (!running_ || queue.full) return;
    told_ = "told: hourly";
    caught_ = true;
    for (TimelineModel& model : models) model.Sweep(tick);
    told_ = "told: at a retry";
    caught_ = false;
    Try([&] {
        for (TimelineModel& model : models) {
            const bool any = !PutOff(model).empty();
            model.Retry();
            if (any && PutOff(model).empty()) Saw("none put off after a retry");
        }
        return true;
    });
}

void SideBySide::Uninit() {
    got.results.push_back(manager_->Uninit());
    expected.results.push_back(true);
    subscribed_ = false;  // Init does not make good for it
}

void SideBySide::Restart() {
    EndProcess();
    StartProcess();
    for (TimelineModel& model : models) model.UnRegister();
}

void SideBySide::RowFromElsewhere(int plugin, Key key, const Row& row) {
    tables[static_cast<size_t>(plugin)].entries.push_back({++last_id_, key, row});
    Model(plugin).lines[key].rows.push_back(row);
}

}  // namespace qartest
