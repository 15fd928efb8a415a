#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "demo_run/interval_set.h"
#include "demo_run/journal.h"

namespace demo {

/// What the plug-in was told, is fetching and has done, by its journal.
class RangeLedger {
public:
    /// Ranges are counted once for each camera, business type and end, as the begin of a range may move on while it is
    /// open.
    struct Key {
        int camera;
        int busi;
        std::int64_t end_s;

        auto operator<=>(const Key&) const = default;
    };

    void Enter(const JournalLine& line);

    std::size_t Told() const { return told_.size(); }
    std::size_t Done() const { return done_.size(); }
    std::size_t ToldOf(int camera) const;
    std::size_t ClosedOf(int camera) const;

    /// Told, and not (as a whole, alone or within a longer range) done yet; as last told.
    std::vector<JournalLine> Open() const;

    /// Seconds of the camera's clock that were told, that are being fetched and that are done, for one business type.
    const IntervalSet& ToldSeconds(int camera, int busi) const;
    const IntervalSet& DoneSeconds(int camera, int busi) const;
    IntervalSet FetchingSeconds(int camera) const;

private:
    using ByCamera = std::map<std::pair<int, int>, IntervalSet>;

    bool Closed(const JournalLine& told) const;

    std::map<Key, JournalLine> told_;
    std::map<Key, JournalLine> fetching_;
    std::set<Key> done_;
    ByCamera told_seconds_;
    ByCamera done_seconds_;
};

}  // namespace demo
