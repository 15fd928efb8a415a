#include "StatePageService.h"

#include <charconv>
#include <exception>
#include <limits>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "StatePageJson.h"

namespace backfill {
namespace {

constexpr char kStops[] = "the plug-in stops";
constexpr char kNoDatabase[] = "the database does not answer";

std::optional<int> ParseInt(const std::string& text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return {};
    return value;
}

bool IsInt(long long number) {
    return number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
}

std::string Param(const qar::SHttpRequest& request, const char* key) {
    const auto found = request.map_params.find(key);
    return found == request.map_params.end() ? std::string() : found->second;
}

}  // namespace

StatePageService::StatePageService(StateSource& source, Clock clock) : source_(source), clock_(std::move(clock)) {}

/// @return the answer of `answer`, or why there is none
template <typename Answer>
std::string StatePageService::Serve(const Answer& answer) {
    std::shared_lock<std::shared_mutex> lock(serving_);
    if (closed_) return RefusalJson(kStops);
    try {
        return answer();
    } catch (const std::exception& error) {
        return RefusalJson(error.what());
    }
}

/// @param read  gives false when the database did not answer
/// @throws std::runtime_error  when it did not, or the plug-in stops
template <typename Read>
void StatePageService::ReadDatabase(const Read& read) {
    const uint64_t failures = failures_;
    std::lock_guard<std::mutex> lock(database_);
    if (closed_) throw std::runtime_error(kStops);
    // who has waited for another's failure does not wait for one of its own: they would add up
    if (failures_ != failures) throw std::runtime_error(kNoDatabase);
    if (read()) return;
    ++failures_;
    throw std::runtime_error(kNoDatabase);
}

std::string StatePageService::Cameras(const qar::SHttpRequest& request) {
    return Serve([&] {
        const std::vector<long long>& ids = request.vec_url_ids;
        if (ids.empty()) return AllCameras();
        if (ids.size() != 2 || !IsInt(ids[0]) || !IsInt(ids[1])) {
            return RefusalJson("the path must be cameras/CAMERA/BUSI");
        }
        return OneCamera({static_cast<int>(ids[0]), static_cast<int>(ids[1])});
    });
}

std::string StatePageService::AllCameras() {
    const std::shared_ptr<const PointCounts> counts = Counts();
    return CamerasJson(source_.Cameras(), *counts, source_.Sums());
}

std::string StatePageService::OneCamera(const CameraKey& key) {
    CameraState state;
    state.key = key;
    ReadDatabase([&] { return source_.Points(key, state.points) && source_.Errors(key, state.errors); });
    state.pieces = source_.Pieces(key);
    return CameraJson(state, clock_());
}

std::string StatePageService::Fetch(const qar::SHttpRequest& request) {
    return Serve([&]() -> std::string {
        const auto camera = ParseInt(Param(request, "camera"));
        if (!camera) return RefusalJson("camera must be a camera's id");
        const auto busi = ParseInt(Param(request, "busi"));
        if (!busi) return RefusalJson("busi must be a business type");
        const auto range = ParseRange({Param(request, "begin"), Param(request, "end")});
        if (!range || range->Empty()) return RefusalJson("begin and end must be moments as the ranges show them");
        if (!source_.FetchNow({*camera, *busi}, *range)) return RefusalJson("nothing of this range is to be fetched");
        Forget();
        return R"({"fetching":true})";
    });
}

std::shared_ptr<const StatePageService::PointCounts> StatePageService::Counts() {
    std::shared_ptr<const PointCounts> counts = Remembered();
    if (counts) return counts;
    ReadDatabase([&] {
        // whoever was first has counted for all that waited
        counts = Remembered();
        if (counts) return true;
        const uint64_t changes = Changes();
        const auto fresh = std::make_shared<PointCounts>();
        if (!source_.CountPoints(*fresh)) return false;
        Remember(fresh, changes);
        counts = fresh;
        return true;
    });
    return counts;
}

/// @return null when they must be counted
std::shared_ptr<const StatePageService::PointCounts> StatePageService::Remembered() {
    const RangeQueue::Time now = clock_();
    std::lock_guard<std::mutex> lock(mutex_);
    return counts_ && now - counted_ < kRemembered ? counts_ : nullptr;
}

/// @param changes  before it was counted; what was counted across a change is not remembered
void StatePageService::Remember(const std::shared_ptr<const PointCounts>& counts, uint64_t changes) {
    const RangeQueue::Time now = clock_();
    std::lock_guard<std::mutex> lock(mutex_);
    if (changes != changes_) return;
    counts_ = counts;
    counted_ = now;
}

void StatePageService::Forget() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++changes_;
    counts_.reset();
}

uint64_t StatePageService::Changes() {
    std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
}

void StatePageService::Close() {
    closed_ = true;
    std::unique_lock<std::shared_mutex> lock(serving_);
}

}  // namespace backfill
