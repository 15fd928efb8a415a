#include "demo_cameras/camera_fleet.h"

#include <random>
#include <stdexcept>
#include <string>

namespace demo {

namespace {

constexpr int kFirstCameraId = 101;
constexpr int kLargestSkewS = 90;

}  // namespace

CameraFleet::CameraFleet(const ScaledClock& clock, int cameras, std::uint32_t seed)
    : clock_(clock), zones_(DemoZones()) {
    std::mt19937 source(seed);
    for (int i = 0; i < cameras; ++i) {
        CameraOptions options;
        options.id = kFirstCameraId + i;
        options.seed = seed;
        options.skew_s = static_cast<std::int64_t>(source() % (2 * kLargestSkewS + 1)) - kLargestSkewS;
        cameras_.push_back(std::make_unique<SimulatedCamera>(io_, clock_, options));
    }
}

std::size_t CameraFleet::IndexOf(int camera) const {
    for (std::size_t i = 0; i < cameras_.size(); ++i) {
        if (cameras_[i]->Id() == camera) {
            return i;
        }
    }
    throw std::out_of_range("no camera " + std::to_string(camera));
}

std::vector<ScheduledCamera> CameraFleet::Scheduled() const {
    std::vector<ScheduledCamera> cameras;
    for (std::size_t i = 0; i < cameras_.size(); ++i) {
        cameras.push_back({cameras_[i]->Id(), ZoneOf(i), cameras_[i]->SkewS()});
    }
    return cameras;
}

void CameraFleet::AllComeBack() {
    for (const auto& camera : cameras_) {
        camera->ComeBack();
    }
}

void CameraFleet::AllGoAway() {
    for (const auto& camera : cameras_) {
        camera->GoAway();
    }
}

}  // namespace demo
