#include "StatePageJson.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace backfill {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void Text(Writer& json, const char* key, const std::string& value) {
    json.Key(key);
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void Number(Writer& json, const char* key, long long value) {
    json.Key(key);
    json.Int64(value);
}

/// @return a camera's value; an empty one when it has none
template <class Value>
Value ValueOf(const std::map<CameraKey, Value>& values, const CameraKey& key) {
    const auto found = values.find(key);
    return found == values.end() ? Value() : found->second;
}

const char* StateOf(const RangeQueue::Entry& piece, RangeQueue::Time now) {
    if (piece.running) return "fetching";
    return piece.due <= now ? "due" : "waiting";
}

/// Each told range is read once and finds its pieces by their begins; a piece that has its text is out of the search.
/// @return the texts of the pieces, in their order
std::vector<std::string> ErrorsOf(const std::vector<RangeQueue::Entry>& pieces, const StateSource::ErrorTexts& errors) {
    std::vector<std::string> texts(pieces.size());
    std::map<int64_t, std::size_t> without;  // by begin
    for (std::size_t i = 0; i < pieces.size(); ++i) without.emplace(pieces[i].range.begin.unix_s, i);
    for (const auto& [name, text] : errors) {
        if (without.empty()) break;
        const auto range = ParseRange({name.first, name.second});
        if (!range) continue;
        auto piece = without.upper_bound(range->begin.unix_s);
        if (piece != without.begin() && pieces[std::prev(piece)->second].range.Overlaps(*range)) --piece;
        while (piece != without.end() && pieces[piece->second].range.Overlaps(*range)) {
            texts[piece->second] = text;
            piece = without.erase(piece);
        }
    }
    return texts;
}

void WritePiece(Writer& json, const RangeQueue::Entry& piece, RangeQueue::Time now, const std::string& error) {
    const auto wait = std::chrono::duration_cast<std::chrono::seconds>(piece.due - now).count();
    json.StartObject();
    Text(json, "begin", piece.range.begin.iso);
    Text(json, "end", piece.range.end.iso);
    Number(json, "seconds", piece.range.end.unix_s - piece.range.begin.unix_s);
    Number(json, "attempts", piece.attempts);
    Text(json, "state", StateOf(piece, now));
    Number(json, "next_attempt_s", piece.running ? 0 : std::max<long long>(wait, 0));
    Text(json, "last_error", error);
    json.EndObject();
}

}  // namespace

std::string RefusalJson(const std::string& why) {
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    Text(json, "error", why);
    json.EndObject();
    return buffer.GetString();
}

std::string CamerasJson(const std::vector<StateSource::Camera>& cameras, const std::map<CameraKey, long long>& points,
                        const std::map<CameraKey, RangeQueue::Sum>& sums) {
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    json.Key("cameras");
    json.StartArray();
    for (const StateSource::Camera& camera : cameras) {
        const RangeQueue::Sum sum = ValueOf(sums, camera.key);
        json.StartObject();
        Number(json, "camera", camera.key.camera);
        Number(json, "busi", camera.key.busi);
        Text(json, "name", camera.name);
        Number(json, "points", ValueOf(points, camera.key));
        Number(json, "ranges", sum.pieces);
        Number(json, "fetching", sum.running);
        Number(json, "seconds", sum.seconds);
        Number(json, "attempts", sum.attempts);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
    return buffer.GetString();
}

std::string CameraJson(const CameraState& state, RangeQueue::Time now) {
    rapidjson::StringBuffer buffer;
    Writer json(buffer);
    json.StartObject();
    Number(json, "camera", state.key.camera);
    Number(json, "busi", state.key.busi);
    json.Key("points");
    json.StartArray();
    for (const HistoryPoint& point : state.points) {
        json.StartObject();
        Text(json, "time", point.iso);
        Number(json, "state", point.state);
        json.EndObject();
    }
    json.EndArray();
    json.Key("ranges");
    json.StartArray();
    const std::vector<std::string> errors = ErrorsOf(state.pieces, state.errors);
    for (std::size_t i = 0; i < state.pieces.size(); ++i) WritePiece(json, state.pieces[i], now, errors[i]);
    json.EndArray();
    json.EndObject();
    return buffer.GetString();
}

}  // namespace backfill
