#include "steps.h"

#include <iterator>
#include <tuple>
#include <utility>

namespace qartest {
namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 3600;
constexpr int64_t kDay = 86400;
constexpr int64_t kOffsets[] = {8 * kHour, 7 * kHour, 9 * kHour, 0, -5 * kHour, -11 * kHour / 2, -1800, 20700};
constexpr int kLastDevice = 3;

const char* OnOff(bool on) { return on ? "on" : "off"; }

std::string Text(SideBySide::Queue queue) {
    if (queue.full) return ", but the queue is full";
    return queue.later == 0 ? "" : ", handled " + std::to_string(queue.later) + " s later";
}

std::string Name(int plugin) { return kNames[plugin]; }

std::string Of(Key key) {
    return "business type " + std::to_string(key.first) + ", camera " + std::to_string(key.second);
}

}  // namespace

StepMaker::StepMaker(uint64_t seed, const SideBySide& sides)
    : dice_(seed),
      sides_(sides),
      operations_(20 + dice_.Pick(21)),
      fail_one_in_(dice_.Chance(40) ? 2 + static_cast<unsigned int>(dice_.Pick(10)) : 0) {}

Step StepMaker::Next() {
    if (!std::exchange(set_, true)) return Scene();
    if (!happened_ && dice_.Chance(65)) {
        happened_ = true;
        return Happening();
    }
    happened_ = false;
    Step step = Operation();
    const uint64_t luck = dice_.Roll();
    const unsigned int one_in = dice_.Chance(60) ? fail_one_in_ : 0;
    const bool callbacks_throw = dice_.Chance(8);
    if (one_in != 0) step.text += ", statements may fail";
    if (callbacks_throw) step.text += ", callbacks throw";
    step.run = [operation = std::move(step.run), luck, one_in, callbacks_throw](SideBySide& sides) {
        sides.StartStep(luck, one_in, callbacks_throw);
        operation(sides);
    };
    step.operation = true;
    return step;
}

Step StepMaker::Scene() {
    // Days that are seven days behind the end of a February or of a year come often.
    const int64_t days[] = {19419, 19423, 19726, 19785, 19790, 20154, 20519, 20882, 19000 + dice_.Pick(3000)};
    const int64_t utc = dice_.Of(days) * kDay + dice_.Pick(static_cast<int>(kDay));
    const bool clocks_learned = dice_.Chance(70);
    std::vector<int64_t> offsets;
    for (int device = 1; device <= kLastDevice; ++device) offsets.push_back(dice_.Of(kOffsets));
    std::string text = "it is " + Moment::FromSeconds(utc, 0).Plain() + " UTC; the devices' offsets are";
    for (const int64_t offset : offsets) text += " " + std::to_string(offset);
    if (!clocks_learned) text += "; no clock is learned";
    return {"scene", text, [=](SideBySide& sides) {
                sides.world.utc = utc;
                for (int device = 1; device <= kLastDevice; ++device) {
                    sides.world.devices[device].offset = offsets[static_cast<size_t>(device - 1)];
                    sides.world.devices[device].clock_learned = clocks_learned;
                }
            }};
}

Step StepMaker::Happening() {
    if (AnyPutOff() && dice_.Chance(15)) {
        return {"all clocks are learned", "all clocks are learned", [](SideBySide& sides) {
                    for (auto& [id, device] : sides.world.devices) device.clock_learned = true;
                }};
    }
    const int kind = dice_.Pick(20);
    if (kind < 12) {
        const int64_t spans[] = {1,     30,        kMinute,   5 * kMinute, 30 * kMinute, kHour,
                                 kHour, 6 * kHour, kDay - 60, 2 * kDay,    7 * kDay,     8 * kDay};
        const int64_t span = dice_.Of(spans);
        return {"time passes", std::to_string(span) + " s pass",
                [span](SideBySide& sides) { sides.world.utc += span; }};
    }
    const int device = 1 + dice_.Pick(kLastDevice);
    const int camera = AnyCamera();
    const bool good = dice_.Chance(65);
    const std::string of_device = "device " + std::to_string(device) + ": ";
    const auto change = [device](auto&& how) {
        return [device, how](SideBySide& sides) { how(sides.world.devices[device]); };
    };
    switch (kind) {
        case 12:
            return {"guard changes", of_device + "guard " + OnOff(good),
                    change([good](Device& it) { it.guard = good; })};
        case 13:
            return {"device online or not", of_device + "online " + OnOff(good),
                    change([good](Device& it) { it.online = good; })};
        case 14:
        case 15:
            return {"clock learned or not", of_device + "clock learned " + OnOff(good),
                    change([good](Device& it) { it.clock_learned = good; })};
        case 16: {
            const int64_t offset = dice_.Of(kOffsets);
            const int64_t before = sides_.world.devices.at(device).offset;
            return {offset < before   ? "offset goes back"
                    : offset > before ? "offset goes forward"
                                      : "offset stays",
                    of_device + "offset " + std::to_string(offset),
                    change([offset](Device& it) { it.offset = offset; })};
        }
        case 17: {
            const int64_t errors[] = {0, 0, 1, -1, kHour, -kHour, -9 * kDay, 9 * kDay};
            const int64_t error = dice_.Of(errors);
            return {"clock goes wrong or right", of_device + "clock " + std::to_string(error) + " s ahead",
                    change([error](Device& it) { it.error = error; })};
        }
        case 18:
            return {"camera online or not", "camera " + std::to_string(camera) + ": online " + OnOff(good),
                    [camera, good](SideBySide& sides) { sides.world.cameras[camera].online = good; }};
        default: {
            const bool whole = dice_.Chance(30);
            return {"known or not",
                    (whole ? of_device : "camera " + std::to_string(camera) + ": ") + "known " + OnOff(good),
                    [whole, device, camera, good](SideBySide& sides) {
                        (whole ? sides.world.devices[device].known : sides.world.cameras[camera].known) = good;
                    }};
        }
    }
}

Step StepMaker::Operation() {
    const int plugin = dice_.Pick(kPlugins);
    if (AnyPutOff()) {
        const int percent = dice_.Pick(100);
        if (percent < 12) return Tick();
        if (percent < 27) return Deletion(plugin);
    }
    const auto cared = [](const Line& it) { return it.cared; };
    const TimelineModel& model = sides_.models[static_cast<size_t>(plugin)];
    if (!model.busi_types.empty() && !model.recorded && dice_.Chance(40)) {
        return LineThat(plugin, cared) ? Deletion(plugin) : Care(plugin);
    }
    if (sides_.models[static_cast<size_t>(plugin)].busi_types.empty() && dice_.Chance(60)) return Register(plugin);
    const int kind = dice_.Pick(100);
    if (kind < 2) return Register(plugin);
    if (kind < 4) {
        return {"unregister", Name(plugin) + ": UnRegister", [plugin](SideBySide& sides) { sides.UnRegister(plugin); }};
    }
    if (kind == 4 && dice_.Chance(30)) return {"uninit", "Uninit", [](SideBySide& sides) { sides.Uninit(); }};
    if (kind < 7) return {"restart", "the process ends and starts", [](SideBySide& sides) { sides.Restart(); }};
    if (kind < 11) return RowsFromElsewhere(plugin);
    if (kind < 29) return Care(plugin);
    if (kind < 39) return Deletion(plugin);
    if (kind < 55) return AddState(plugin);
    if (kind < 65) return DelRange(plugin);
    if (kind < 80) return Event();
    return Tick();
}

Step StepMaker::Register(int plugin) {
    std::set<int> busi_types;
    for (int busi = 1; busi <= 3; ++busi) {
        if (dice_.Chance(65)) busi_types.insert(busi);
    }
    if (dice_.Chance(25)) busi_types.insert(-1);
    const bool with_callback = !dice_.Chance(3);
    return {"register", Name(plugin) + ": Register " + List(busi_types) + (with_callback ? "" : " without a callback"),
            [=](SideBySide& sides) { sides.Register(plugin, busi_types, with_callback); }};
}

Step StepMaker::Care(int plugin) {
    int busi = Busi();
    std::set<int> cameras = AnyCameras();
    bool ex = dice_.Chance(50);
    const auto to_load = LineThat(plugin, [](const Line& it) { return it.points.empty() && !it.rows.empty(); });
    if (to_load && dice_.Chance(20)) {
        busi = to_load->first;
        cameras.insert(to_load->second);
        ex = true;
    }
    return {ex ? "care, other form" : "care",
            Name(plugin) + ": SetCareCameraStateInfo" + (ex ? "Ex" : "") + ", business type " + std::to_string(busi) +
                ", cameras " + List(cameras),
            [=](SideBySide& sides) { sides.SetCare(plugin, busi, cameras, ex); }};
}

Step StepMaker::Deletion(int plugin) {
    Key key = AnyLine(plugin);
    const auto put_off = LineThat(plugin, [](const Line& it) { return it.put_off; });
    if (put_off && dice_.Chance(50)) {
        key = *put_off;
        if (sides_.models[static_cast<size_t>(plugin)].levels.count(-1) != 0 && dice_.Chance(60)) key.first = -1;
    }
    const auto cared = LineThat(plugin, [](const Line& it) { return it.cared; });
    if (cared && dice_.Chance(30)) key = *cared;
    std::set<int> cameras = AnyCameras();
    switch (dice_.Pick(3)) {
        case 0:
            cameras.insert(key.second);
            return {"deletion",
                    Name(plugin) + ": DelCareCameraStateInfo, business type " + std::to_string(key.first) +
                        ", cameras " + List(cameras),
                    [=](SideBySide& sides) { sides.DelCare(plugin, key.first, cameras); }};
        case 1:
            return {"deletion by camera",
                    Name(plugin) + ": DelCareCameraStateInfoByCameraID " + std::to_string(key.second),
                    [=](SideBySide& sides) { sides.DelCareByCamera(plugin, key.second); }};
        default:
            return {"move out", Name(plugin) + ": DelCareCameraStateInfoAtMoveOutByCameraIDs " + List(cameras),
                    [=](SideBySide& sides) { sides.MoveOut(plugin, cameras); }};
    }
}

Step StepMaker::AddState(int plugin) {
    Key key = AnyLine(plugin);
    if (AnyPutOff() && dice_.Chance(40)) key.first = -1;  // a type that a deletion takes for all
    const TimeText at = Write(AnyMoment(plugin, key));
    const int state = AnyState();
    return {
        state == 1   ? "add state 1"
        : state == 2 ? "add state 2"
                     : "add another state",
        Name(plugin) + ": AddCameraState, " + Of(key) + ", state " + std::to_string(state) + ", \"" + at.text + "\"",
        [=](SideBySide& sides) { sides.AddState(plugin, key, at.text, at.moment, state); }};
}

Step StepMaker::DelRange(int plugin) {
    const Key key = AnyLine(plugin);
    Moment begin = AnyMoment(plugin, key);
    Moment end = AnyMoment(plugin, key);
    Ranges ranges = sides_.models[static_cast<size_t>(plugin)].GetRanges(key.first);
    if (!ranges[key.second].empty() && dice_.Chance(55)) std::tie(begin, end) = dice_.Of(ranges[key.second]);
    if (end < begin && dice_.Chance(50)) std::swap(begin, end);
    const TimeText from = Write(begin);
    const TimeText to = Write(end);
    return {"delete a range",
            Name(plugin) + ": DelHistoryStateInRange, " + Of(key) + ", \"" + from.text + "\" to \"" + to.text + "\"",
            [=](SideBySide& sides) { sides.DelRange(plugin, key, from.text, from.moment, to.text, to.moment); }};
}

Step StepMaker::Event() {
    constexpr int kDevice = qarmock::kDeviceType;
    constexpr int kCamera = qarmock::kCameraType;
    int type = dice_.Chance(50) ? 265 : 261;
    int resource_type = kDevice;
    int id = 1 + dice_.Pick(kLastDevice);
    int camera = AnyCamera();
    const auto silent = LineThat(dice_.Pick(kPlugins), [](const Line& it) { return it.cared && it.points.empty(); });
    if (silent && dice_.Chance(50)) {
        camera = silent->second;
        id = sides_.world.cameras.at(camera).device;
    }
    if (dice_.Chance(45)) {
        type = 517;
        resource_type = kCamera;
        id = camera;
    }
    if (dice_.Chance(4)) resource_type = kDevice + kCamera - resource_type;
    if (dice_.Chance(2)) id = 99;
    if (dice_.Chance(2)) type = 300;
    const auto queue = AnyQueue();
    const bool of_device = resource_type == kDevice && (type == 265 || type == 261);
    const bool of_camera = resource_type == kCamera && type == 517;
    return {of_device   ? "event of a device"
            : of_camera ? "event of a camera"
                        : "event of no concern",
            "message " + std::to_string(type) + " of " + std::to_string(resource_type) + ", id " + std::to_string(id) +
                Text(queue),
            [=](SideBySide& sides) { sides.Event(type, resource_type, id, queue); }};
}

Step StepMaker::Tick() {
    const int remainders[] = {25, 55, 25, 55, 20, 20, 20, 5, 5, dice_.Pick(60)};
    const uint64_t tick = static_cast<uint64_t>(60 * dice_.Pick(9) + dice_.Of(remainders));
    const uint64_t minute = tick % 60;
    const auto queue = AnyQueue();
    return {minute % 30 == 25 ? "check"
            : minute == 20    ? "expiry"
            : minute == 5     ? "notification"
                              : "tick of no sweep",
            "tick " + std::to_string(tick) + Text(queue), [=](SideBySide& sides) { sides.Tick(tick, queue); }};
}

SideBySide::Queue StepMaker::AnyQueue() {
    const int64_t later[] = {1, 60, 7200};
    return {dice_.Chance(3), dice_.Chance(10) ? dice_.Of(later) : 0};
}

Step StepMaker::RowsFromElsewhere(int plugin) {
    const Key key = AnyLine(plugin);
    std::vector<Row> rows;
    std::string text = Name(plugin) + ": another node adds rows, " + Of(key) + ":";
    for (int count = 1 + dice_.Pick(3); count > 0; --count) {
        const Moment at = AnyMoment(plugin, key);
        rows.push_back({at, AnyState(), at.Utc().wall});
        text += " " + at.Iso() + " state " + std::to_string(rows.back().state);
    }
    return {"rows from elsewhere", text, [=](SideBySide& sides) {
                for (const Row& row : rows) sides.RowFromElsewhere(plugin, key, row);
            }};
}

int StepMaker::Busi() { return dice_.Chance(80) ? 1 + dice_.Pick(3) : dice_.Chance(50) ? -1 : dice_.Of(kBusiTypes); }

bool StepMaker::AnyPutOff() {
    const auto put_off = [](const Line& it) { return it.put_off; };
    return LineThat(0, put_off) || LineThat(1, put_off);
}

int StepMaker::AnyCamera() { return dice_.Of(sides_.world.cameras).first; }

std::set<int> StepMaker::AnyCameras() {
    std::set<int> cameras;
    const int counts[] = {0, 1, 1, 1, 1, 2, 2, 3, 5};
    for (int count = dice_.Of(counts); count > 0; --count) cameras.insert(AnyCamera());
    return cameras;
}

template <class Predicate>
std::optional<Key> StepMaker::LineThat(int plugin, Predicate is) {
    std::vector<Key> keys;
    for (const auto& [key, line] : sides_.models[static_cast<size_t>(plugin)].lines) {
        if (is(line)) keys.push_back(key);
    }
    if (keys.empty()) return std::nullopt;
    return dice_.Of(keys);
}

Key StepMaker::AnyLine(int plugin) {
    const auto line = LineThat(plugin, [](const Line& it) { return !it.points.empty(); });
    if (line && dice_.Chance(80)) return *line;
    return {Busi(), AnyCamera()};
}

Moment StepMaker::AnyMoment(int plugin, Key key) {
    const auto& lines = sides_.models[static_cast<size_t>(plugin)].lines;
    const auto line = lines.find(key);
    Moment moment = sides_.world.Clock(key.second);
    const int64_t steps[] = {0, 0, 1, -1, kMinute, -kMinute, kHour, -kHour};
    const int kind = dice_.Pick(10);
    if (kind < 4 && line != lines.end() && !line->second.points.empty()) {
        moment = dice_.Of(line->second.points).first;
        if (dice_.Chance(30)) moment = moment.After(dice_.Of(steps));
    } else if (kind < 7) {
        moment = moment.After(dice_.Of(steps));
    } else if (kind < 9) {
        moment = moment.After(-dice_.Pick(static_cast<int>(9 * kDay)));
    } else {
        moment = moment.WeekAgo().After(dice_.Of(steps));
    }
    if (dice_.Chance(15)) moment.offset = dice_.Of(kOffsets);
    return moment;
}

StepMaker::TimeText StepMaker::Write(Moment moment) {
    const char* const unreadable[] = {"", "yesterday", "T08:00:00+08:00"};
    if (dice_.Chance(3)) return {dice_.Of(unreadable), std::nullopt};
    if (dice_.Chance(6)) return WriteOddly(moment);
    return {moment.Iso(), moment};
}

StepMaker::TimeText StepMaker::WriteOddly(Moment moment) {
    constexpr int64_t kTime = 1000000;  // what stands before hour, minute and second
    const std::string text = moment.Iso();
    switch (dice_.Pick(8)) {
        case 0:
            return {text.substr(0, 19) + "Z", Moment{moment.wall, 0}};
        case 1:
            return {text.substr(0, 19), Moment{moment.wall, 0}};
        case 2:
            return {text.substr(0, 19) + ".500" + text.substr(19), Moment{moment.wall, 0}};
        case 3:
            return {text.substr(0, 19) + "+0800", Moment{moment.wall, 800 * kHour}};
        case 4:  // a blank ends the reading
            return {moment.Plain(), Moment{moment.wall / kTime * kTime, 0}};
        case 5:
            return {text.substr(0, 10), Moment{moment.wall / kTime * kTime, 0}};
        case 6:
            return {text.substr(0, 4), Moment{moment.wall / kTime / 10000 * 10000 * kTime, 0}};
        default: {  // one field is another: day 0 to 99 and the like
            int64_t place = 1;
            for (int field = dice_.Pick(5); field > 0; --field) place *= 100;
            const int64_t fields[] = {0, 13, 24, 30, 31, 60, 61, 99};
            moment.wall += (dice_.Of(fields) - moment.wall / place % 100) * place;
            return {moment.Iso(), moment};
        }
    }
}

int StepMaker::AnyState() {
    const int states[] = {1, 1, 1, 2, 2, 2, 2, 0, 3, -1};
    return dice_.Of(states);
}

}  // namespace qartest
