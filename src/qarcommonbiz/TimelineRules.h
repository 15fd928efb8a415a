#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "qar/StateRange.h"
#include "qarcommonbiz/HistoryTime.h"

namespace qar {

constexpr int kFirstAddLookBackDays = 7;
constexpr int kExpireDays = 7;

/// Adds each camera's exception ranges to `out`: a stretch between two neighbouring points is one unless the points are
/// (1, 2) or (2, 2). A range whose begin equals, as text, the end of the camera's last range in `out` is joined to it.
/// A camera without an exception gets no entry.
void CalcExceptionRange(std::map<int, std::vector<SStateRange>>& out, const std::map<int, StateTimeline>& cameras);

/// @return the range of the seven days before a camera's first contact, which nobody knows anything about
SStateRange FirstAddRange(const SHistoryTime& contact);

/// @return "1,2,3"
std::string JoinIds(const std::set<int>& ids);

/// @return "1, 2, 3, ": each id followed by the separator, as the log line of a deletion has it
std::string ListIds(const std::set<int>& ids);

}  // namespace qar
