#pragma once

#include <map>
#include <string>
#include <vector>

#include "StatePageSource.h"

namespace backfill {

/// What is known of one camera.
struct CameraState {
    CameraKey key;
    std::vector<HistoryPoint> points;
    StateSource::ErrorTexts errors;
    std::vector<RangeQueue::Entry> pieces;  ///< by time; no two overlap
};

/// @return {"error": why}
std::string RefusalJson(const std::string& why);

/// @return the answer to GET /ID/cameras
std::string CamerasJson(const std::vector<StateSource::Camera>& cameras, const std::map<CameraKey, long long>& points,
                        const std::map<CameraKey, RangeQueue::Sum>& sums);

/// The answer to GET /ID/cameras/CAMERA/BUSI. A piece has the error of the first told range that it overlaps, by the
/// texts of their begins. @param now  for what is due
std::string CameraJson(const CameraState& state, RangeQueue::Time now);

}  // namespace backfill
