#include "RangeQueue.h"

#include <algorithm>
#include <iterator>

namespace backfill {
namespace {

std::pair<std::string, std::string> NameOf(const TimeRange& range) { return {range.begin.iso, range.end.iso}; }

const Moment& Earlier(const Moment& left, const Moment& right) { return right.unix_s < left.unix_s ? right : left; }
const Moment& Later(const Moment& left, const Moment& right) { return right.unix_s > left.unix_s ? right : left; }

}  // namespace

bool RangeQueue::Contains(const CameraKey& key, const TimeRange& range) const {
    const auto camera = cameras_.find(key);
    return camera != cameras_.end() && camera->second.told.count(NameOf(range)) != 0;
}

void RangeQueue::Add(const CameraKey& key, int device, const TimeRange& range, int attempts, Time due) {
    const auto [found, is_new] = cameras_.try_emplace(key);
    Camera& camera = found->second;
    if (is_new) camera.device = device;
    if (!camera.told.emplace(NameOf(range), range).second) return;

    // what is being fetched already is left out
    std::vector<TimeRange> missing;
    TimeRange rest = range;
    for (auto piece = FirstBehind(camera.pieces, range.begin.unix_s); piece != camera.pieces.end(); ++piece) {
        const TimeRange& busy = piece->second.range;
        if (!busy.Overlaps(range)) break;
        if (!piece->second.running) continue;
        if (rest.begin.unix_s < busy.begin.unix_s) missing.push_back({rest.begin, busy.begin});
        rest.begin = busy.end;
    }
    if (!rest.Empty()) missing.push_back(rest);
    for (const TimeRange& part : missing) AddPiece(key, camera, Piece{part, attempts, due, false});
    UpdateReady(camera.device);
}

// @return the first piece that ends behind the moment
RangeQueue::Pieces::iterator RangeQueue::FirstBehind(Pieces& pieces, int64_t moment) {
    auto piece = pieces.upper_bound(moment);
    if (piece != pieces.begin() && std::prev(piece)->second.range.end.unix_s > moment) --piece;
    return piece;
}

// joins the piece with all waiting ones that it touches
void RangeQueue::AddPiece(const CameraKey& key, Camera& camera, Piece piece) {
    std::set<Waiting>& waiting = devices_[camera.device].waiting;
    auto other = FirstBehind(camera.pieces, piece.range.begin.unix_s - 1);
    while (other != camera.pieces.end() && other->second.range.Touches(piece.range)) {
        const Piece& joined = other->second;
        if (joined.running) {
            ++other;
            continue;
        }
        waiting.erase({joined.due, key, other->first});
        piece.range = {Earlier(piece.range.begin, joined.range.begin), Later(piece.range.end, joined.range.end)};
        piece.attempts = std::max(piece.attempts, joined.attempts);
        piece.due = std::max(piece.due, joined.due);
        other = camera.pieces.erase(other);
    }
    const int64_t begin = piece.range.begin.unix_s;
    waiting.insert({piece.due, key, begin});
    camera.pieces.emplace(begin, std::move(piece));
}

std::optional<RangeQueue::Job> RangeQueue::Take(Time now) {
    if (running_ >= limits_.total || ready_.empty() || ready_.begin()->first > now) return {};
    const int device_id = ready_.begin()->second;
    Device& device = devices_[device_id];
    const Waiting next = *device.waiting.begin();
    device.waiting.erase(device.waiting.begin());
    ++device.running;
    ++running_;
    UpdateReady(device_id);
    Piece& piece = cameras_.at(next.key).pieces.at(next.begin);
    piece.running = true;
    return Job{next.key, device_id, piece.range, piece.attempts + 1};
}

std::optional<RangeQueue::Time> RangeQueue::NextDue() const {
    if (running_ >= limits_.total || ready_.empty()) return {};
    return ready_.begin()->first;
}

std::vector<TimeRange> RangeQueue::Succeed(const Job& job) {
    Camera& camera = cameras_.at(job.key);
    camera.pieces.erase(job.range.begin.unix_s);
    End(job);

    std::vector<TimeRange> fetched;
    for (auto told = camera.told.begin(); told != camera.told.end();) {
        const TimeRange& range = told->second;
        const auto left = FirstBehind(camera.pieces, range.begin.unix_s);
        if (!range.Overlaps(job.range) || (left != camera.pieces.end() && left->second.range.Overlaps(range))) {
            ++told;
        } else {
            fetched.push_back(range);
            told = camera.told.erase(told);
        }
    }
    if (camera.told.empty() && camera.pieces.empty()) cameras_.erase(job.key);
    return fetched;
}

std::chrono::milliseconds RangeQueue::Fail(const Job& job, Time now) {
    const std::chrono::milliseconds pause = Pause(job.attempt);
    Piece& piece = cameras_.at(job.key).pieces.at(job.range.begin.unix_s);
    piece.running = false;
    piece.attempts = job.attempt;
    piece.due = now + pause;
    devices_[job.device].waiting.insert({piece.due, job.key, job.range.begin.unix_s});
    End(job);
    return pause;
}

void RangeQueue::End(const Job& job) {
    --running_;
    --devices_[job.device].running;
    UpdateReady(job.device);
}

void RangeQueue::UpdateReady(int device_id) {
    Device& device = devices_[device_id];
    if (device.ready) ready_.erase({*device.ready, device_id});
    device.ready.reset();
    if (device.waiting.empty()) {
        if (device.running == 0) devices_.erase(device_id);
        return;
    }
    if (device.running >= limits_.per_device) return;
    device.ready = device.waiting.begin()->due;
    ready_.emplace(*device.ready, device_id);
}

std::vector<TimeRange> RangeQueue::ToldBy(const Job& job) const {
    std::vector<TimeRange> told;
    const auto camera = cameras_.find(job.key);
    if (camera == cameras_.end()) return told;
    for (const auto& [name, range] : camera->second.told) {
        if (range.Overlaps(job.range)) told.push_back(range);
    }
    return told;
}

bool RangeQueue::Hasten(const CameraKey& key, const TimeRange& range, Time now) {
    const auto found = cameras_.find(key);
    if (found == cameras_.end()) return false;
    Camera& camera = found->second;
    bool any = false;
    auto piece = FirstBehind(camera.pieces, range.begin.unix_s);
    for (; piece != camera.pieces.end() && piece->second.range.Overlaps(range); ++piece) {
        any = true;
        if (piece->second.running || piece->second.due <= now) continue;
        std::set<Waiting>& waiting = devices_[camera.device].waiting;
        waiting.erase({piece->second.due, key, piece->first});
        waiting.insert({now, key, piece->first});
        piece->second.due = now;
    }
    if (any) UpdateReady(camera.device);
    return any;
}

std::size_t RangeQueue::Open() const {
    std::size_t open = 0;
    for (const auto& entry : cameras_) open += entry.second.told.size();
    return open;
}

std::vector<RangeQueue::Entry> RangeQueue::List(const CameraKey& key) const {
    std::vector<Entry> entries;
    const auto camera = cameras_.find(key);
    if (camera == cameras_.end()) return entries;
    entries.reserve(camera->second.pieces.size());
    for (const auto& [begin, piece] : camera->second.pieces) {
        entries.push_back({piece.range, piece.attempts, piece.due, piece.running});
    }
    return entries;
}

std::map<CameraKey, RangeQueue::Sum> RangeQueue::Sums() const {
    std::map<CameraKey, Sum> sums;
    for (const auto& [key, camera] : cameras_) {
        if (camera.pieces.empty()) continue;
        Sum& sum = sums[key];
        for (const auto& [begin, piece] : camera.pieces) {
            ++sum.pieces;
            sum.running += piece.running ? 1 : 0;
            sum.seconds += piece.range.end.unix_s - piece.range.begin.unix_s;
            sum.attempts = std::max(sum.attempts, piece.attempts);
        }
    }
    return sums;
}

std::chrono::milliseconds RangeQueue::Pause(int attempts) const {
    std::chrono::milliseconds pause = limits_.retry_first;
    for (int i = 1; i < attempts && pause < limits_.retry_max; ++i) pause *= 2;
    return std::min(pause, limits_.retry_max);
}

}  // namespace backfill
