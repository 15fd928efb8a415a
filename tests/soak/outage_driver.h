#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "demo_cameras/scaled_clock.h"
#include "demo_cameras/simulated_camera.h"
#include "soak/check_calendar.h"
#include "soak/range_account.h"

namespace soak {

/// How long outages and the pauses between them are, in milliseconds of the site's clock. An outage may become longer,
/// as cameras do not come back at any moment.
struct OutageLengths {
    std::int64_t shortest_ms = 0;
    std::int64_t longest_ms = 0;
    std::int64_t shortest_pause_ms = 0;
    std::int64_t longest_pause_ms = 0;
};

/// Lets cameras go away and come back, as drawn from a seed, and says what outages there were. It goes by what happens
/// and not by when it should: a camera goes only after a check has found it in order, and comes back only when the last
/// check is done. Where the host falls behind, outages become longer.
class OutageDriver {
public:
    /// Whether a camera's contact behind a moment stands in all tables. @param since_s  on the camera's clock
    using Entered = std::function<bool(int camera, std::int64_t since_s)>;

    /// @param cameras  must outlive the driver; all are away, and come a hundred an hour for the first time. But the
    ///                 last is there, and stays.
    OutageDriver(const demo::ScaledClock& clock, std::vector<demo::SimulatedCamera*> cameras,
                 const OutageLengths& lengths, unsigned seed, Entered entered);

    /// Does what is due.
    /// @param checked_ms  the last check that has found all cameras that were there; 0 where there is none
    void Step(const CheckCalendar& calendar, std::int64_t checked_ms);

    /// Whether outages begin. At first they do not.
    void LetBegin(bool let) { let_begin_ = let; }

    /// Whether each camera is there and was found in order.
    bool AllInOrder() const;

    /// Call them when all are in order, the second before the next step: while the host was down, and until its next
    /// contact, each camera was without one.
    void HostStopped(std::int64_t begin_ms);
    void HostReady(std::int64_t end_ms);

    /// Adds the outages that have ended since the last call.
    void TakeMade(RangeAccount& account);

    std::size_t Begun() const { return begun_; }

private:
    enum class State {
        kInOrder,
        kAway,
        kReturned,  // no probe has reached it yet
        kReached    // no check has found it yet
    };
    struct Driven {
        explicit Driven(demo::SimulatedCamera* of, std::uint64_t seed) : camera(of), source(seed) {}
        demo::SimulatedCamera* camera;
        std::mt19937_64 source;
        State state = State::kAway;
        bool stays = false;
        std::int64_t due_ms = 0;    // in order: when it goes; away: when it comes back at the earliest
        std::int64_t begin_ms = 0;  // of the outage; 0 for the first contact
        std::int64_t end_ms = 0;
        std::int64_t reached_ms = 0;
        bool entered_in_time = false;  // before the check behind
        int answered = 0;              // before it returned
    };

    void StepOne(Driven& driven, const CheckCalendar& calendar, std::int64_t checked_ms);
    void Go(Driven& driven);
    void Return(Driven& driven);
    void LookForEntry(Driven& driven, const CheckCalendar& calendar);
    void Settled(Driven& driven);

    const demo::ScaledClock clock_;
    const OutageLengths lengths_;
    const Entered entered_;
    std::vector<Driven> driven_;
    std::vector<MadeOutage> made_;
    std::size_t begun_ = 0;
    bool let_begin_ = false;
};

}  // namespace soak
