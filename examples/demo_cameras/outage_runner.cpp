#include "demo_cameras/outage_runner.h"

#include <algorithm>

namespace demo {

OutageRunner::OutageRunner(CameraFleet& fleet, const CheckTicks& checks, std::vector<Outage> outages)
    : fleet_(fleet), checks_(checks), cameras_(fleet.Scheduled()) {
    for (const Outage& outage : outages) {
        steps_.emplace(outage.begin_ms, Step{outage.camera, outage.end_ms});
    }
    thread_ = std::thread([this] { Run(); });
}

OutageRunner::~OutageRunner() {
    {
        const std::lock_guard<std::mutex> guard(lock_);
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void OutageRunner::BeginNoMore() {
    {
        const std::lock_guard<std::mutex> guard(lock_);
        begin_no_more_ = true;
        for (auto step = steps_.begin(); step != steps_.end();) {
            step = step->second.end_ms != 0 ? steps_.erase(step) : std::next(step);
        }
    }
    changed_.notify_all();
}

std::vector<PastOutage> OutageRunner::Past() const {
    const std::lock_guard<std::mutex> guard(lock_);
    return past_;
}

bool OutageRunner::Done() const {
    const std::lock_guard<std::mutex> guard(lock_);
    return steps_.empty() &&
           std::all_of(past_.begin(), past_.end(), [](const PastOutage& outage) { return outage.end_ms.has_value(); });
}

void OutageRunner::Run() {
    std::unique_lock<std::mutex> lock(lock_);
    while (!stop_) {
        if (steps_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto due = fleet_.Clock().RealAt(steps_.begin()->first);
        if (std::chrono::system_clock::now() < due) {
            changed_.wait_until(lock, due);
            continue;
        }
        const Step step = steps_.begin()->second;
        steps_.erase(steps_.begin());
        Take(step, lock);
    }
}

void OutageRunner::Take(const Step& step, std::unique_lock<std::mutex>& lock) {
    const std::size_t index = fleet_.IndexOf(step.camera);
    SimulatedCamera& camera = fleet_.At(index);
    const std::int64_t now = fleet_.Clock().NowMs();
    if (step.end_ms != 0) {
        if (begin_no_more_ || !OutageSchedule::MayBegin(checks_, now)) {
            return;
        }
        steps_.emplace(std::max(step.end_ms, now + OutageSchedule::kShortestMs), Step{step.camera, 0});
        lock.unlock();
        const std::int64_t begin = camera.GoAway();
        lock.lock();
        past_.push_back({step.camera, begin, std::nullopt});
        return;
    }
    if (!OutageSchedule::MayEnd(cameras_[index], checks_, now)) {
        steps_.emplace(now + CheckTicks::kTickMs / 4, step);
        return;
    }
    lock.unlock();
    const std::int64_t end = camera.ComeBack();
    lock.lock();
    for (PastOutage& outage : past_) {
        if (outage.camera == step.camera && !outage.end_ms) {
            outage.end_ms = end;
        }
    }
}

}  // namespace demo
