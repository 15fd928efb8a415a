#include "StatePage.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <limits>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string_view>
#include <utility>

#include "StatePageHtml.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace backfill {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
using ErrorTexts = std::map<std::pair<std::string, std::string>, std::string>;

std::shared_ptr<qar::IMessageBusManagerAPI> Bus() {
    return qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
}

void Text(Writer& json, const char* key, const std::string& value) {
    json.Key(key);
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void Number(Writer& json, const char* key, long long value) {
    json.Key(key);
    json.Int64(value);
}

std::string Refusal(const std::string& why) {
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    Text(json, "error", why);
    json.EndObject();
    return buffer.GetString();
}

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

const char* StateOf(const RangeQueue::Entry& piece, RangeQueue::Time now) {
    if (piece.running) return "fetching";
    return piece.due <= now ? "due" : "waiting";
}

// what the last attempt at one of the told ranges that make up a piece said
std::string ErrorOf(const TimeRange& piece, const ErrorTexts& errors) {
    for (const auto& [name, text] : errors) {
        const auto range = ParseRange({name.first, name.second});
        if (range && range->Overlaps(piece)) return text;
    }
    return {};
}

void WritePiece(Writer& json, const RangeQueue::Entry& piece, RangeQueue::Time now, const ErrorTexts& errors) {
    const auto wait = std::chrono::duration_cast<std::chrono::seconds>(piece.due - now).count();
    json.StartObject();
    Text(json, "begin", piece.range.begin.iso);
    Text(json, "end", piece.range.end.iso);
    Number(json, "seconds", piece.range.end.unix_s - piece.range.begin.unix_s);
    Number(json, "attempts", piece.attempts);
    Text(json, "state", StateOf(piece, now));
    Number(json, "next_attempt_s", piece.running ? 0 : std::max<long long>(wait, 0));
    Text(json, "last_error", ErrorOf(piece.range, errors));
    json.EndObject();
}

}  // namespace

/// Answers requests, also those that are still on their way when the plug-in stops.
class StatePage::Service {
public:
    explicit Service(StateSource& source) : source_(&source) {}

    /// @return the answer of `answer`, or why there is none
    template <typename Answer>
    std::string Serve(const Answer& answer) {
        std::shared_lock<std::shared_mutex> lock(mutex_);
        if (source_ == nullptr) return Refusal("the plug-in stops");
        try {
            return answer(*source_);
        } catch (const std::exception& error) {
            return Refusal(error.what());
        }
    }

    void Close() {
        std::unique_lock<std::shared_mutex> lock(mutex_);
        source_ = nullptr;
    }

private:
    std::shared_mutex mutex_;  // shared while a request is served
    StateSource* source_;      // null once closed
};

namespace {

std::string AnswerCameras(StateSource& source) {
    std::vector<StateSource::Camera> cameras;
    if (!source.Cameras(cameras)) return Refusal("the database does not answer");
    struct Sum {
        long long open = 0;
        long long fetching = 0;
        long long seconds = 0;
        int attempts = 0;
    };
    std::map<CameraKey, Sum> sums;
    for (const RangeQueue::Entry& piece : source.Pieces()) {
        Sum& sum = sums[piece.key];
        ++sum.open;
        sum.fetching += piece.running ? 1 : 0;
        sum.seconds += piece.range.end.unix_s - piece.range.begin.unix_s;
        sum.attempts = std::max(sum.attempts, piece.attempts);
    }
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    json.Key("cameras");
    json.StartArray();
    for (const StateSource::Camera& camera : cameras) {
        const Sum sum = sums[camera.key];
        json.StartObject();
        Number(json, "camera", camera.key.camera);
        Number(json, "busi", camera.key.busi);
        Text(json, "name", camera.name);
        Number(json, "points", camera.points);
        Number(json, "ranges", sum.open);
        Number(json, "fetching", sum.fetching);
        Number(json, "seconds", sum.seconds);
        Number(json, "attempts", sum.attempts);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
    return buffer.GetString();
}

std::string AnswerCamera(StateSource& source, const CameraKey& key) {
    std::vector<HistoryPoint> points;
    ErrorTexts errors;
    if (!source.Points(key, points) || !source.Errors(key, errors)) return Refusal("the database does not answer");
    const auto now = std::chrono::steady_clock::now();
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    Number(json, "camera", key.camera);
    Number(json, "busi", key.busi);
    json.Key("points");
    json.StartArray();
    for (const HistoryPoint& point : points) {
        json.StartObject();
        Text(json, "time", point.iso);
        Number(json, "state", point.state);
        json.EndObject();
    }
    json.EndArray();
    json.Key("ranges");
    json.StartArray();
    for (const RangeQueue::Entry& piece : source.Pieces()) {
        if (piece.key == key) WritePiece(json, piece, now, errors);
    }
    json.EndArray();
    json.EndObject();
    return buffer.GetString();
}

std::string AnswerFetch(StateSource& source, const qar::SHttpRequest& request) {
    const auto camera = ParseInt(Param(request, "camera"));
    if (!camera) return Refusal("camera must be a camera's id");
    const auto busi = ParseInt(Param(request, "busi"));
    if (!busi) return Refusal("busi must be a business type");
    const auto range = ParseRange({Param(request, "begin"), Param(request, "end")});
    if (!range || range->Empty()) return Refusal("begin and end must be moments as the ranges show them");
    if (!source.FetchNow({*camera, *busi}, *range)) return Refusal("nothing of this range is to be fetched");
    return R"({"fetching":true})";
}

}  // namespace

StatePage::StatePage(std::string plugin, StateSource& source)
    : plugin_(std::move(plugin)), service_(std::make_shared<Service>(source)) {}

StatePage::~StatePage() { Close(); }

void StatePage::Open() {
    using ZELPlatform::kMethodGet;
    using ZELPlatform::kMethodPost;
    using ZELPlatform::CmdParam::kExecAsync;
    const auto bus = Bus();
    const std::string root = "/" + plugin_;
    open_ = true;
    bus->RegisterUsrRequest(
        plugin_, root, kMethodGet, kExecAsync,
        [](qar::SHttpResponse& response, const qar::SHttpRequest&) { response.str_body = kStatePageHtml; }, false);
    bus->RegisterUsrRequest(
        plugin_, root + "/cameras", kMethodGet, kExecAsync,
        [service = service_](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            response.str_body = service->Serve([&request](StateSource& source) {
                const std::vector<long long>& ids = request.vec_url_ids;
                if (ids.empty()) return AnswerCameras(source);
                if (ids.size() != 2 || !IsInt(ids[0]) || !IsInt(ids[1])) {
                    return Refusal("the path must be cameras/CAMERA/BUSI");
                }
                return AnswerCamera(source, {static_cast<int>(ids[0]), static_cast<int>(ids[1])});
            });
        },
        false);
    bus->RegisterUsrRequest(
        plugin_, root + "/fetch", kMethodPost, kExecAsync,
        [service = service_](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            response.str_body =
                service->Serve([&request](StateSource& source) { return AnswerFetch(source, request); });
        },
        false);
}

void StatePage::Close() {
    if (!std::exchange(open_, false)) return;
    const auto bus = Bus();
    for (const char* path : {"", "/cameras", "/fetch"}) bus->UnregisterUsrRequest("/" + plugin_ + path);
    service_->Close();
}

}  // namespace backfill
