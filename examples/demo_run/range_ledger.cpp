#include "demo_run/range_ledger.h"

#include <algorithm>

namespace demo {

namespace {

const IntervalSet kNone;

const IntervalSet& Find(const std::map<std::pair<int, int>, IntervalSet>& sets, int camera, int busi) {
    const auto found = sets.find({camera, busi});
    return found == sets.end() ? kNone : found->second;
}

}  // namespace

void RangeLedger::Enter(const JournalLine& line) {
    const Key key{line.camera, line.busi, line.end.utc_s};
    const std::pair<int, int> camera{line.camera, line.busi};
    switch (line.event) {
        case JournalEvent::kTold:
            told_[key] = line;
            told_seconds_[camera].Add(line.begin.utc_s, line.end.utc_s);
            break;
        case JournalEvent::kFetching:
            fetching_[key] = line;
            break;
        case JournalEvent::kFailed:
            fetching_.erase(key);
            break;
        case JournalEvent::kDone:
            fetching_.erase(key);
            done_.insert(key);
            done_seconds_[camera].Add(line.begin.utc_s, line.end.utc_s);
            break;
    }
}

std::size_t RangeLedger::ToldOf(int camera) const {
    return static_cast<std::size_t>(
        std::count_if(told_.begin(), told_.end(), [camera](const auto& told) { return told.first.camera == camera; }));
}

std::size_t RangeLedger::ClosedOf(int camera) const {
    return static_cast<std::size_t>(std::count_if(told_.begin(), told_.end(), [&](const auto& told) {
        return told.first.camera == camera && Closed(told.second);
    }));
}

std::vector<JournalLine> RangeLedger::Open() const {
    std::vector<JournalLine> open;
    for (const auto& [key, line] : told_) {
        if (!Closed(line)) {
            open.push_back(line);
        }
    }
    return open;
}

bool RangeLedger::Closed(const JournalLine& told) const {
    return done_.count({told.camera, told.busi, told.end.utc_s}) > 0 ||
           DoneSeconds(told.camera, told.busi).Covers(told.begin.utc_s, told.end.utc_s);
}

const IntervalSet& RangeLedger::ToldSeconds(int camera, int busi) const { return Find(told_seconds_, camera, busi); }

const IntervalSet& RangeLedger::DoneSeconds(int camera, int busi) const { return Find(done_seconds_, camera, busi); }

IntervalSet RangeLedger::FetchingSeconds(int camera) const {
    IntervalSet seconds;
    for (const auto& [key, line] : fetching_) {
        if (key.camera == camera) {
            seconds.Add(line.begin.utc_s, line.end.utc_s);
        }
    }
    return seconds;
}

}  // namespace demo
