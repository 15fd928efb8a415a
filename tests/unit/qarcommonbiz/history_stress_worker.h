#pragma once

#include <cstdlib>
#include <ctime>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "history_fixture.h"
#include "support/random_worker.h"

// A namespace of its own: these are everyday names, and another test's would be taken for them without a word.
namespace qar::history_test::stress {

constexpr int kWest = -19800;
constexpr int kUnknownClockDevice = 3;
constexpr int kStepSeconds = 2 * 3600;
constexpr long long kFirstMoment = 1709856000;  // 2024-03-08 00:00:00 on every device's clock

inline const std::vector<int> kCameras = {101, 102, 103, 104};
inline const std::vector<int> kBusiTypes = {1, 2};

// What may be expected of memory and table depends on what is done with a plug-in:
// kept_a, kept_b: registered all the time, never moved out: both are the same.
inline const std::vector<std::string> kKept = {"kept_a", "kept_b"};
// comer: comes and goes on all threads: what is in memory is in the table.
inline const std::string kComer = "comer";
// wild: also with the Ex form and move-outs that overlap deletions: after the next Register both are the same.
inline const std::string kWild = "wild";

inline long long Setting(const char* name, long long otherwise) {
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoll(text);
}

inline std::string TableOf(const std::string& plugin) { return plugin + ".history"; }
inline int DeviceOf(int camera) { return camera == 104 ? kUnknownClockDevice : camera == 103 ? 2 : 1; }
inline int OffsetOf(int device) { return device == 2 ? kWest : kEast8; }

inline std::string PlainText(long long moment) {
    const std::time_t time = moment;
    std::tm fields{};
    gmtime_r(&time, &fields);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    return text;
}

inline std::string IsoText(long long moment, int camera) {
    std::string text = PlainText(moment);
    text[10] = 'T';
    return text + (OffsetOf(DeviceOf(camera)) == kWest ? "-05:30" : "+08:00");
}

/// "<ISO text> <state>" as "<plain text> <state>".
inline std::string PlainPoint(std::string point) {
    point[10] = ' ';
    return point.substr(0, 19) + point.substr(point.rfind(' '));
}

inline std::string Moment(const std::string& point) { return point.substr(0, 19); }

/// One thread's own.
struct Worker : test_support::RandomWorker {
    std::set<int> Cameras() { return SomeOf(kCameras); }
};

}  // namespace qar::history_test::stress
