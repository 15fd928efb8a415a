#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "demo_cameras/camera_fleet.h"
#include "demo_cameras/site_file.h"
#include "demo_run/history_table.h"
#include "demo_run/journal.h"
#include "demo_run/outage_verdict.h"
#include "demo_run/range_ledger.h"
#include "demo_run/time_line.h"

namespace demo {

/// What the host shows of its work: the journal of `backfill` and the table of the state history.
class Watch {
public:
    /// The one business type of the demonstration's site.
    static constexpr int kBusi = 1;

    /// @param fleet  must outlive the watch
    Watch(const CameraFleet& fleet, const DemoFolder& folder);

    /// Reads on. @return what the journal has gained
    std::vector<JournalLine> Poll();

    /// Whether every told range is done and the table, as last read, holds no exception range.
    bool NothingOpen() const;

    const RangeLedger& Ledger() const { return ledger_; }
    int UnreadableLines() const { return journal_.Unreadable(); }

    /// A camera's past as it is known now; `index` is its place in the fleet.
    KnownPast PastOf(std::size_t index) const;

    /// The mark of the seven days before the camera's first contact.
    Mark WeekOf(std::size_t index, const KnownPast& past) const;

    /// What its outages are judged by. Compares all files fetched for it with its recording.
    /// @param faults  gains a text for each file that is not as recorded, and for each stretch that is done without a
    /// file
    CameraEvidence EvidenceOf(std::size_t index, std::vector<std::string>& faults) const;

private:
    void ReadTable();

    const CameraFleet& fleet_;
    const DemoFolder folder_;
    JournalTail journal_;
    HistoryTable table_;
    RangeLedger ledger_;
    bool table_read_ = false;  // the last reading succeeded
    std::map<int, std::vector<HistoryRow>> points_;
    std::map<int, std::int64_t> first_in_order_ms_;
    std::map<int, JournalLine> first_told_;
};

}  // namespace demo
