#include "qarcommonbiz/TimelineRules.h"

namespace qar {
namespace {

bool IsException(const SHistoryState& earlier, const SHistoryState& later) {
    const bool known = earlier.state == kStateContact || earlier.state == kStateInOrder;
    return !known || later.state != kStateInOrder;
}

void AddRange(std::vector<SStateRange>& ranges, std::string begin, std::string end) {
    if (!ranges.empty() && ranges.back().str_end_time_ == begin) {
        ranges.back().str_end_time_ = std::move(end);
    } else {
        ranges.push_back(SStateRange{std::move(begin), std::move(end)});
    }
}

}  // namespace

void CalcExceptionRange(std::map<int, std::vector<SStateRange>>& out, const std::map<int, StateTimeline>& cameras) {
    for (const auto& [camera, timeline] : cameras) {
        if (timeline.size() < 2) continue;
        auto earlier = timeline.begin();
        for (auto later = std::next(earlier); later != timeline.end(); earlier = later++) {
            if (!IsException(earlier->second, later->second)) continue;
            AddRange(out[camera], TimeToISO(earlier->second), TimeToISO(later->second));
        }
    }
}

SStateRange FirstAddRange(const SHistoryTime& contact) {
    SHistoryTime begin = contact;
    AddDays(begin, -kFirstAddLookBackDays);
    return SStateRange{TimeToISO(begin), TimeToISO(contact)};
}

std::string JoinIds(const std::set<int>& ids) {
    std::string text;
    for (const int id : ids) {
        if (!text.empty()) text += ",";
        text += std::to_string(id);
    }
    return text;
}

std::string ListIds(const std::set<int>& ids) {
    std::string text;
    for (const int id : ids) text += std::to_string(id) + ", ";
    return text;
}

}  // namespace qar
