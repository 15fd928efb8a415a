#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace qartest {

// What the library and its model are shown alike: moments, cameras and their devices.

/// A moment on a device's own clock, also one that no calendar has: 30 February, 24 o'clock.
struct Moment {
    int64_t wall = 0;    ///< the clock's reading: 20240301080000
    int64_t offset = 0;  ///< the clock's seconds ahead of UTC, whole minutes

    /// @param seconds  since 1970 on that clock
    static Moment FromSeconds(int64_t seconds, int64_t offset);
    /// What no calendar has is counted on from what it has.
    int64_t Seconds() const;

    /// In a timeline the offset neither orders nor equals.
    bool operator<(const Moment& other) const { return wall < other.wall; }
    /// The same in all.
    bool operator==(const Moment&) const = default;

    Moment After(int64_t seconds) const { return FromSeconds(Seconds() + seconds, offset); }
    Moment WeekAgo() const { return After(-7 * 86400); }
    Moment Utc() const { return FromSeconds(Seconds() - offset, 0); }
    std::string Plain() const;  ///< "2024-03-01 08:00:00"
    std::string Iso() const;    ///< "2024-03-01T08:00:00+08:00"
};

/// @return `wall` of it; nothing for a text that Moment::Plain would not write
std::optional<int64_t> ReadPlain(const std::string& text);
/// @return nothing for a text that Moment::Iso would not write
std::optional<Moment> ReadIso(const std::string& text);

using MaybeMoment = std::optional<Moment>;                             ///< empty: of a text that cannot be read
using Key = std::pair<int, int>;                                       ///< business type, camera
using Ranges = std::map<int, std::vector<std::pair<Moment, Moment>>>;  ///< camera to begins and ends

std::string Text(const Ranges& ranges);

/// A row of a history table, without its key and camera.
struct Row {
    Moment at;  ///< state_time, differ
    int state;
    int64_t utc;  ///< state_utc_time, as Moment::wall
    bool operator==(const Row&) const = default;
};

struct Device {
    bool known = true;  ///< to the platform
    bool guard = true;
    bool online = true;
    bool clock_learned = true;
    int64_t offset = 0;  ///< its clock's seconds ahead of UTC
    int64_t error = 0;   ///< its clock's seconds ahead of the truth
};

struct Camera {
    int device = 0;
    bool known = true;
    bool online = true;
};

struct World {
    int64_t utc = 0;  ///< the true time, seconds since 1970
    std::map<int, Device> devices;
    std::map<int, Camera> cameras;
    std::set<int> node;            ///< the cameras of this node
    std::function<bool()> sql_ok;  ///< the outcome of the model's next statement

    bool Known(int camera) const;
    /// The device is guarded and online.
    bool Guarded(int camera) const;
    bool ClockLearned(int camera) const;
    bool Online(int camera) const;
    Moment Clock(int camera) const;
    Moment ClockOf(const Device& device) const {
        return Moment::FromSeconds(utc + device.offset + device.error, device.offset);
    }
};

}  // namespace qartest
