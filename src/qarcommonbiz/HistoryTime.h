#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace qar {

/// A moment on a device's own wall clock. A new record is all zeros.
struct SHistoryTime {
    int32_t year = 0;
    int32_t month = 0;  ///< 1 to 12
    int32_t day = 0;
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
    int32_t differ = 0;  ///< offset from UTC in seconds, east positive; takes no part in comparisons
};

/// A point of a timeline.
struct SHistoryState : SHistoryTime {
    SHistoryState() = default;
    SHistoryState(const SHistoryTime& time, int32_t state_of_point) : SHistoryTime(time), state(state_of_point) {}

    int32_t state = 2;
};

constexpr int kStateContact = 1;  ///< contact was made at this moment
constexpr int kStateInOrder = 2;  ///< found in order at this moment

/// Comparisons by wall clock: two moments taken across a change of the device's offset order by what the clock showed,
/// not by when they really were.
bool operator<(const SHistoryTime& left, const SHistoryTime& right);
bool operator==(const SHistoryTime& left, const SHistoryTime& right);
bool operator<=(const SHistoryTime& left, const SHistoryTime& right);

/// A camera's points; the key repeats the value's time.
using StateTimeline = std::map<SHistoryTime, SHistoryState>;

/// Reads "YYYY-MM-DDTHH:MM:SS+HH:MM" (or "-HH:MM"). Nothing is validated: a text that ends early leaves the other
/// fields at 0.
/// @param time  must be all zeros; untouched on false
/// @return false for an empty text and for one that does not begin with a number
bool ISOToTime(const std::string& text, SHistoryTime& time);

/// Reads "YYYY-MM-DD HH:MM:SS". There is no failure: what cannot be read gives zeros.
SHistoryTime PlainToTime(const std::string& text, int differ);

/// @return "YYYY-MM-DD HH:MM:SS"
std::string TimeToPlain(const SHistoryTime& time);

/// @return "YYYY-MM-DDTHH:MM:SS+HH:MM"
std::string TimeToISO(const SHistoryTime& time);

/// @return the moment in UTC, "YYYY-MM-DD HH:MM:SS". The server's present offset serves for every date, so a moment
///         from the other side of the server's daylight-saving change lands an hour off.
std::string TimeToUTC(const SHistoryTime& time);

/// Steps `days` calendar days on the wall clock, backward when negative; time of day and offset stay.
void AddDays(SHistoryTime& time, int days);

}  // namespace qar
