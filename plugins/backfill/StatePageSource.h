#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "AttemptTable.h"
#include "RangeQueue.h"

namespace backfill {

/// What the page shows and does. Called on threads of the platform, several at a time.
class StateSource {
public:
    struct Camera {
        CameraKey key;
        std::string name;
    };
    /// Texts of failed attempts, by the told ranges' begins and ends.
    using ErrorTexts = std::map<std::pair<std::string, std::string>, std::string>;

    virtual ~StateSource() = default;

    // These read the database, and give false when it did not answer. The page calls them one at a time.

    /// @param counts  gets the number of history points of each camera that has any. Costs a scan of all points
    virtual bool CountPoints(std::map<CameraKey, long long>& counts) = 0;
    virtual bool Points(const CameraKey& key, std::vector<HistoryPoint>& points) = 0;
    virtual bool Errors(const CameraKey& key, ErrorTexts& errors) = 0;

    // These do not.

    virtual std::vector<Camera> Cameras() = 0;
    /// @return the pieces of one camera, by time; no two overlap
    virtual std::vector<RangeQueue::Entry> Pieces(const CameraKey& key) = 0;
    /// @return the cameras that have pieces
    virtual std::map<CameraKey, RangeQueue::Sum> Sums() = 0;
    /// Lets a range that waits be fetched now. @return false when nothing of it is to be fetched
    virtual bool FetchNow(const CameraKey& key, const TimeRange& range) = 0;
};

}  // namespace backfill
