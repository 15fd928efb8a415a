#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace soak {

/// Who is told of a camera's ranges. Each one has a timeline of its own.
struct Consumer {
    std::string plugin;
    int busi = 0;

    auto operator<=>(const Consumer&) const = default;
};

/// A time without contact that was made, in seconds of the camera's own clock.
struct MadeOutage {
    int camera = 0;
    std::int64_t begin_s = 0;
    std::int64_t end_s = 0;
    /// Whether the contact at its end was seen in the table before the next check of the cameras. Where it was not, the
    /// check may have found the camera in order before, and the outage, or a part of it, may rightly be lost.
    bool counts = true;
    std::int64_t settled_s = 0;  ///< when a check had come behind the contact; only where it does not count
};

/// How exactly a range must meet its outage, in seconds.
struct Tolerance {
    std::int64_t probe_s = 0;  ///< period of the probes, by which both ends may be off
    std::int64_t check_s = 0;  ///< period of the checks: a range may begin so long before its outage
    std::int64_t late_s = 0;   ///< how late the machine may be with anything
};

/// What an account comes to.
struct Balance {
    std::size_t outages = 0;    ///< that count, of all consumers together
    std::size_t uncounted = 0;  ///< that do not
    std::size_t told = 0;       ///< ranges that are the one of an outage
    std::size_t first = 0;      ///< ranges of a first contact
    std::size_t split = 0;      ///< tails of a contact whose events were entered at two moments
    std::vector<std::string> faults;
};

/// Compares what consumers were told with the outages that were made: each outage is told to each consumer as exactly
/// one range, which covers it and not much more, and nothing else is told but the week before a camera's first contact.
///
/// The events of one contact may be entered at two moments that are a little apart. Then the stretch between them is an
/// exception as well, and is told within the range or as a short one that begins where it ends; a first contact may be
/// told once for each of its three events, and each of these ranges again when expiry has shortened it.
class RangeAccount {
public:
    static constexpr std::int64_t kWeekS = 7 * 86400;

    RangeAccount(std::vector<Consumer> consumers, std::vector<int> cameras, const Tolerance& tolerance);

    void Made(const MadeOutage& outage);

    /// @param now_s  any clock that is the same for all calls; so of Gone
    void Told(const Consumer& consumer, int camera, std::int64_t begin_s, std::int64_t end_s, std::int64_t now_s);

    /// The consumer has dealt with the range and deleted it: from an hour later on nobody tells it again.
    void Gone(const Consumer& consumer, int camera, std::int64_t begin_s, std::int64_t end_s, std::int64_t now_s);

    /// How many ranges were told and have not gone.
    std::size_t Open() const { return open_; }
    /// How many different ranges were told.
    std::size_t Told() const { return told_; }

    Balance Judge() const;

private:
    using Range = std::pair<std::int64_t, std::int64_t>;  // begin and end
    struct Life {
        bool gone = false;
        std::int64_t gone_s = 0;
        std::int64_t last_told_s = 0;
    };
    struct Timeline {
        std::map<Range, Life> ranges;
    };

    class Judgement;

    const std::vector<Consumer> consumers_;
    const std::vector<int> cameras_;
    const Tolerance tolerance_;
    std::map<int, std::vector<MadeOutage>> made_;
    std::map<std::pair<Consumer, int>, Timeline> timelines_;
    std::size_t told_ = 0;
    std::size_t open_ = 0;
};

}  // namespace soak
