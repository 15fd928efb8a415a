#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TimeRange.h"

namespace backfill {

/// A camera under a business type.
struct CameraKey {
    int camera = 0;
    int busi = 0;
    friend auto operator<=>(const CameraKey&, const CameraKey&) = default;
};

/// How often and how fast.
struct QueueLimits {
    int per_device = 1;  ///< most fetches at a time from one device
    int total = 4;       ///< most fetches at a time
    std::chrono::milliseconds retry_first{1000};
    std::chrono::milliseconds retry_max{600000};
};

/// The ranges that are to be fetched. Told ranges that overlap or touch are fetched as one piece; a piece that failed
/// waits, twice as long after each attempt, up to the most.
/// Threads: one at a time; the owner locks.
class RangeQueue {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A piece to fetch now.
    struct Job {
        CameraKey key;
        int device = 0;
        TimeRange range;
        int attempt = 1;  ///< counts from 1
    };

    /// A piece as it stands.
    struct Entry {
        TimeRange range;
        int attempts = 0;  ///< that failed
        Time due;          ///< when it may be fetched
        bool running = false;
    };

    /// The pieces of a camera, summed up.
    struct Sum {
        long long pieces = 0;
        long long running = 0;
        long long seconds = 0;
        int attempts = 0;  ///< most that failed
    };

    explicit RangeQueue(const QueueLimits& limits) : limits_(limits) {}

    /// @return whether exactly this range is in the queue
    bool Contains(const CameraKey& key, const TimeRange& range) const;

    /// Takes a told range in; one that is in the queue already changes nothing.
    /// @param device    the camera's device, for the limit per device; the first one told for a camera counts
    /// @param range     not empty
    /// @param attempts  failed attempts so far
    /// @param due       when it may be fetched
    void Add(const CameraKey& key, int device, const TimeRange& range, int attempts, Time due);

    /// @return the piece to fetch at `now` that has been due for longest; nothing when none is due or a limit is
    /// reached.
    ///         Each job must be ended by Succeed or Fail.
    std::optional<Job> Take(Time now);

    /// @return when Take will next have a piece, as long as no job ends and no range is added; nothing for never
    std::optional<Time> NextDue() const;

    /// Ends a job. @return the told ranges that are fetched as a whole by now; they leave the queue
    std::vector<TimeRange> Succeed(const Job& job);

    /// Ends a job that is to be tried again.
    /// @return how long it waits
    std::chrono::milliseconds Fail(const Job& job, Time now);

    /// @return the told ranges that a job serves
    std::vector<TimeRange> ToldBy(const Job& job) const;

    /// Makes the waiting pieces of a range due at once.
    /// @return false when the queue has no piece of the range; one that is being fetched counts
    bool Hasten(const CameraKey& key, const TimeRange& range, Time now);

    /// @return told ranges that are not fetched yet
    std::size_t Open() const;

    /// @return a camera's pieces, by time; no two overlap
    std::vector<Entry> List(const CameraKey& key) const;

    /// @return the cameras that have pieces
    std::map<CameraKey, Sum> Sums() const;

private:
    struct Piece {
        TimeRange range;
        int attempts = 0;
        Time due;
        bool running = false;
    };
    using Pieces = std::map<int64_t, Piece>;  // by begin; no two overlap
    struct Camera {
        int device = 0;
        std::map<std::pair<std::string, std::string>, TimeRange> told;
        Pieces pieces;
    };
    struct Waiting {
        Time due;
        CameraKey key;
        int64_t begin = 0;
        friend auto operator<=>(const Waiting&, const Waiting&) = default;
    };
    struct Device {
        std::set<Waiting> waiting;
        int running = 0;
        std::optional<Time> ready;  // as it stands in ready_
    };

    static Pieces::iterator FirstBehind(Pieces& pieces, int64_t moment);
    void AddPiece(const CameraKey& key, Camera& camera, Piece piece);
    void End(const Job& job);
    void UpdateReady(int device_id);
    std::chrono::milliseconds Pause(int attempts) const;

    QueueLimits limits_;
    std::map<CameraKey, Camera> cameras_;
    std::map<int, Device> devices_;         // those with pieces
    std::set<std::pair<Time, int>> ready_;  // devices below their limit, by when their first waiting piece is due
    int running_ = 0;
};

}  // namespace backfill
