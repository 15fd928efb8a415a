#include "demo_run/watch.h"

#include <algorithm>

#include "demo_cameras/time_text.h"
#include "demo_run/fetched_file.h"

namespace demo {

namespace {

constexpr std::int64_t kWeekS = 7 * 86400;

}  // namespace

Watch::Watch(const CameraFleet& fleet, const DemoFolder& folder)
    : fleet_(fleet), folder_(folder), journal_(folder.Journal()), table_(folder.HistoryDatabase()) {}

std::vector<JournalLine> Watch::Poll() {
    ReadTable();
    std::vector<JournalLine> lines = journal_.Read();
    for (const JournalLine& line : lines) {
        ledger_.Enter(line);
        if (line.event == JournalEvent::kTold) {
            first_told_.emplace(line.camera, line);
        }
    }
    return lines;
}

void Watch::ReadTable() {
    const auto rows = table_.Read();
    table_read_ = rows.has_value();
    if (!rows) {
        return;
    }
    const std::int64_t now_ms = fleet_.Clock().NowMs();
    points_.clear();
    for (const HistoryRow& row : *rows) {
        if (row.busi != kBusi) {
            continue;
        }
        points_[row.camera].push_back(row);
        if (row.state == 2) {
            first_in_order_ms_.emplace(row.camera, now_ms);
        }
    }
}

bool Watch::NothingOpen() const {
    return table_read_ && ledger_.Open().empty() && std::all_of(points_.begin(), points_.end(), [](const auto& camera) {
               return ExceptionPairs(camera.second).empty();
           });
}

KnownPast Watch::PastOf(std::size_t index) const {
    const SimulatedCamera& camera = fleet_.At(index);
    const ZoneRule& zone = fleet_.ZoneOf(index);
    const auto utc_of = [&zone](const HistoryRow& row) { return zone.UtcOf(row.wall_s, row.differ_s); };

    KnownPast past;
    past.now = camera.ClockS();
    past.fetched = ledger_.DoneSeconds(camera.Id(), kBusi);
    past.fetching = ledger_.FetchingSeconds(camera.Id());
    for (const JournalLine& line : ledger_.Open()) {
        if (line.camera == camera.Id()) {
            past.gaps.Add(line.begin.utc_s, line.end.utc_s);
        }
    }
    const auto points = points_.find(camera.Id());
    if (points == points_.end()) {
        return past;
    }
    for (const auto& [earlier, later] : ExceptionPairs(points->second)) {
        past.gaps.Add(utc_of(earlier), utc_of(later));
    }
    for (const HistoryRow& row : points->second) {
        past.last_point = std::max(past.last_point.value_or(utc_of(row)), utc_of(row));
    }
    return past;
}

Mark Watch::WeekOf(std::size_t index, const KnownPast& past) const {
    const auto told = first_told_.find(fleet_.At(index).Id());
    if (told == first_told_.end() || told->second.end.utc_s - told->second.begin.utc_s < kWeekS) {
        return Mark::kUnknown;
    }
    return MarkOf(past, told->second.begin.utc_s, told->second.end.utc_s);
}

CameraEvidence Watch::EvidenceOf(std::size_t index, std::vector<std::string>& faults) const {
    const SimulatedCamera& camera = fleet_.At(index);
    CameraEvidence evidence;
    evidence.skew_s = camera.SkewS();
    evidence.told = ledger_.ToldSeconds(camera.Id(), kBusi);
    const auto first = first_in_order_ms_.find(camera.Id());
    if (first != first_in_order_ms_.end()) {
        evidence.first_in_order_ms = first->second;
    }
    const std::size_t faults_before = faults.size();
    for (const FetchedFile& file : FetchedFiles(folder_.Fetched(), camera.Id(), kBusi)) {
        const std::string fault = CompareWithRecording(file.path, camera.Recorded(), file.begin, file.end);
        if (fault.empty()) {
            evidence.fetched.Add(file.begin, file.end);
        } else {
            faults.push_back("file " + file.path.string() + " " + fault);
        }
    }
    for (const auto& [begin, end] : ledger_.DoneSeconds(camera.Id(), kBusi).Stretches()) {
        if (faults.size() == faults_before && !evidence.fetched.Covers(begin, end)) {
            faults.push_back("camera " + std::to_string(camera.Id()) + " has no files for all of what is done from " +
                             FormatUtc(begin) + " to " + FormatUtc(end));
        }
    }
    return evidence;
}

}  // namespace demo
