#include "soak/outage_driver.h"

#include <algorithm>

namespace soak {

namespace {

constexpr std::int64_t kHourMs = 3'600'000;
constexpr std::int64_t kComeInAnHour = 100;  // more first contacts at once keep a host busy for long

std::int64_t Draw(std::mt19937_64& source, std::int64_t least, std::int64_t most) {
    return least + static_cast<std::int64_t>(source() % static_cast<std::uint64_t>(most - least + 1));
}

}  // namespace

OutageDriver::OutageDriver(const demo::ScaledClock& clock, std::vector<demo::SimulatedCamera*> cameras,
                           const OutageLengths& lengths, unsigned seed, Entered entered)
    : clock_(clock), lengths_(lengths), entered_(std::move(entered)) {
    const std::int64_t now_ms = clock_.NowMs();
    for (demo::SimulatedCamera* camera : cameras) {
        driven_.emplace_back(camera, std::uint64_t{seed} * 1'000'003 + static_cast<std::uint64_t>(camera->Id()));
    }
    for (std::size_t i = 0; i < driven_.size(); ++i) {
        driven_[i].due_ms = now_ms + static_cast<std::int64_t>(i) / kComeInAnHour * kHourMs;
    }
    driven_.back().stays = true;
    driven_.back().state = State::kReturned;
}

void OutageDriver::Step(const CheckCalendar& calendar, std::int64_t checked_ms) {
    for (Driven& driven : driven_) StepOne(driven, calendar, checked_ms);
}

void OutageDriver::StepOne(Driven& driven, const CheckCalendar& calendar, std::int64_t checked_ms) {
    const std::int64_t now_ms = clock_.NowMs();
    switch (driven.state) {
        case State::kInOrder:
            if (let_begin_ && !driven.stays && now_ms >= driven.due_ms && calendar.MayGo(now_ms) &&
                checked_ms == calendar.LastCheck(now_ms)) {
                Go(driven);
            }
            break;
        case State::kAway:
            if (now_ms >= driven.due_ms && calendar.MayReturn(now_ms) && checked_ms == calendar.LastCheck(now_ms)) {
                Return(driven);
            }
            break;
        case State::kReturned:
            if (driven.camera->ProbesAnswered() > driven.answered) {
                driven.reached_ms = now_ms;
                driven.entered_in_time = false;
                driven.state = State::kReached;
            }
            break;
        case State::kReached:
            LookForEntry(driven, calendar);
            if (checked_ms <= driven.reached_ms) break;
            Settled(driven);
            driven.state = State::kInOrder;
            driven.due_ms = now_ms + Draw(driven.source, lengths_.shortest_pause_ms, lengths_.longest_pause_ms);
            break;
    }
}

void OutageDriver::Go(Driven& driven) {
    ++begun_;
    driven.begin_ms = driven.camera->GoAway();
    driven.due_ms = driven.begin_ms + Draw(driven.source, lengths_.shortest_ms, lengths_.longest_ms);
    driven.state = State::kAway;
}

void OutageDriver::Return(Driven& driven) {
    driven.answered = driven.camera->ProbesAnswered();
    driven.end_ms = driven.camera->ComeBack();
    driven.state = State::kReturned;
}

void OutageDriver::LookForEntry(Driven& driven, const CheckCalendar& calendar) {
    if (driven.entered_in_time || driven.begin_ms == 0) return;
    // the time is taken behind the look, so that what it finds was there before
    const bool entered = entered_(driven.camera->Id(), driven.end_ms / 1000 + driven.camera->SkewS());
    driven.entered_in_time = entered && calendar.LastCheck(clock_.NowMs()) <= driven.reached_ms;
}

void OutageDriver::Settled(Driven& driven) {
    if (driven.begin_ms == 0) return;
    const std::int64_t skew_s = driven.camera->SkewS();
    made_.push_back({driven.camera->Id(), driven.begin_ms / 1000 + skew_s, driven.end_ms / 1000 + skew_s,
                     driven.entered_in_time, clock_.NowMs() / 1000 + skew_s});
}

bool OutageDriver::AllInOrder() const {
    return std::all_of(driven_.begin(), driven_.end(),
                       [](const Driven& driven) { return driven.state == State::kInOrder; });
}

void OutageDriver::HostStopped(std::int64_t begin_ms) {
    for (Driven& driven : driven_) {
        driven.begin_ms = begin_ms;
        driven.answered = driven.camera->ProbesAnswered();
        driven.state = State::kReturned;
    }
}

void OutageDriver::HostReady(std::int64_t end_ms) {
    for (Driven& driven : driven_) driven.end_ms = end_ms;
}

void OutageDriver::TakeMade(RangeAccount& account) {
    for (const MadeOutage& outage : made_) account.Made(outage);
    made_.clear();
}

}  // namespace soak
