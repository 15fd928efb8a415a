#include "soak/range_account.h"

#include <set>

#include "demo_cameras/time_text.h"

namespace soak {

namespace {

constexpr std::int64_t kHourS = 3600;
constexpr std::int64_t kDayS = 86400;
constexpr std::size_t kMostFirst = 3;  // one for each event of a first contact

std::string Text(std::int64_t begin_s, std::int64_t end_s) {
    return demo::FormatUtc(begin_s) + " to " + demo::FormatUtc(end_s);
}

}  // namespace

/// Judges the timeline of one consumer and camera.
class RangeAccount::Judgement {
public:
    Judgement(const RangeAccount& account, const Consumer& consumer, int camera, Balance& balance)
        : tolerance_(account.tolerance_), balance_(balance) {
        name_ = consumer.plugin + " busi=" + std::to_string(consumer.busi) + " camera=" + std::to_string(camera);
        const auto timeline = account.timelines_.find({consumer, camera});
        if (timeline != account.timelines_.end()) ranges_ = timeline->second.ranges;
        const auto made = account.made_.find(camera);
        if (made != account.made_.end()) outages_ = made->second;
    }

    void Run() {
        TakeFirstContact();
        for (const MadeOutage& outage : outages_) TakeOutage(outage);
        for (const auto& [range, life] : ranges_) {
            if (taken_.count(range) == 0) TakeRest(range);
            if (!life.gone) {
                Fault("open to the end: " + Text(range.first, range.second));
            } else if (life.last_told_s > life.gone_s + kHourS) {
                Fault("told again after it was deleted: " + Text(range.first, range.second));
            }
        }
    }

private:
    // The begin of such a range moves on while expiry passes over it.
    void TakeFirstContact() {
        std::set<std::int64_t> ends;
        for (const auto& [range, life] : ranges_) {
            if (range.second - range.first < kWeekS - kDayS) continue;
            taken_.insert(range);
            ends.insert(range.second);
        }
        balance_.first += ends.size();
        if (ends.empty()) Fault("was not told the week before the first contact");
        if (ends.size() > kMostFirst) Fault("was told " + std::to_string(ends.size()) + " first contacts");
    }

    bool Meets(const Range& range, const MadeOutage& outage) const {
        const std::int64_t off = tolerance_.probe_s + tolerance_.late_s;
        return range.first <= outage.begin_s + off &&
               range.first >= outage.begin_s - tolerance_.check_s - tolerance_.late_s &&
               range.second >= outage.end_s - tolerance_.probe_s && range.second <= outage.end_s + off;
    }

    void TakeOutage(const MadeOutage& outage) {
        if (!outage.counts) {
            ++balance_.uncounted;
            TakeAllWithin(outage);
            return;
        }
        ++balance_.outages;
        for (const auto& [range, life] : ranges_) {
            if (taken_.count(range) != 0 || !Meets(range, outage)) continue;
            taken_.insert(range);
            ++balance_.told;
            return;
        }
        Fault("was not told the outage " + Text(outage.begin_s, outage.end_s));
    }

    void TakeAllWithin(const MadeOutage& outage) {
        for (const auto& [range, life] : ranges_) {
            if (range.first >= outage.begin_s - tolerance_.check_s - tolerance_.late_s &&
                range.second <= outage.settled_s + tolerance_.late_s) {
                taken_.insert(range);
            }
        }
    }

    // A range that belongs to no outage.
    void TakeRest(const Range& range) {
        for (const Range& other : taken_) {
            const bool follows = range.first == other.second && range.second - range.first <= tolerance_.late_s;
            const bool longer = range.first == other.first && range.second > other.second &&
                                range.second - other.second <= tolerance_.late_s;
            if (!follows && !longer) continue;
            taken_.insert(range);
            ++balance_.split;
            return;
        }
        Fault("was told what was no outage: " + Text(range.first, range.second));
    }

    void Fault(const std::string& text) { balance_.faults.push_back(name_ + " " + text); }

    const Tolerance& tolerance_;
    Balance& balance_;
    std::string name_;
    std::map<Range, Life> ranges_;
    std::vector<MadeOutage> outages_;
    std::set<Range> taken_;
};

RangeAccount::RangeAccount(std::vector<Consumer> consumers, std::vector<int> cameras, const Tolerance& tolerance)
    : consumers_(std::move(consumers)), cameras_(std::move(cameras)), tolerance_(tolerance) {}

void RangeAccount::Made(const MadeOutage& outage) { made_[outage.camera].push_back(outage); }

void RangeAccount::Told(const Consumer& consumer, int camera, std::int64_t begin_s, std::int64_t end_s,
                        std::int64_t now_s) {
    const auto [found, is_new] = timelines_[{consumer, camera}].ranges.try_emplace({begin_s, end_s});
    found->second.last_told_s = now_s;
    told_ += is_new ? 1 : 0;
    open_ += is_new ? 1 : 0;
}

void RangeAccount::Gone(const Consumer& consumer, int camera, std::int64_t begin_s, std::int64_t end_s,
                        std::int64_t now_s) {
    auto& ranges = timelines_[{consumer, camera}].ranges;
    const auto found = ranges.find({begin_s, end_s});
    if (found == ranges.end() || found->second.gone) return;
    found->second.gone = true;
    found->second.gone_s = now_s;
    --open_;
}

Balance RangeAccount::Judge() const {
    Balance balance;
    for (const Consumer& consumer : consumers_) {
        for (const int camera : cameras_) Judgement(*this, consumer, camera, balance).Run();
    }
    const std::set<Consumer> consumers(consumers_.begin(), consumers_.end());
    const std::set<int> cameras(cameras_.begin(), cameras_.end());
    for (const auto& [key, timeline] : timelines_) {
        if (consumers.count(key.first) != 0 && cameras.count(key.second) != 0) continue;
        balance.faults.push_back(key.first.plugin + " busi=" + std::to_string(key.first.busi) + " was told of camera " +
                                 std::to_string(key.second) + ", which is none of its own");
    }
    return balance;
}

}  // namespace soak
