#include "host/ControlProtocol.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace qarhost {

namespace {

using rapidjson::Value;
using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;

void Text(JsonWriter& json, std::string_view text) {
    json.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void Text(JsonWriter& json, const char* key, std::string_view text) {
    json.Key(key);
    Text(json, text);
}

// A JSON object, its members written by `members`.
template <typename Members>
std::string Object(Members members) {
    rapidjson::StringBuffer buffer;
    JsonWriter json(buffer);
    json.StartObject();
    members(json);
    json.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

std::string Ok() {
    return Object([](JsonWriter& json) {
        json.Key("ok");
        json.Bool(true);
    });
}

template <typename Items, typename Write>
void Array(JsonWriter& json, const char* key, const Items& items, Write write) {
    json.Key(key);
    json.StartArray();
    for (const auto& item : items) {
        json.StartObject();
        write(item);
        json.EndObject();
    }
    json.EndArray();
}

void Flag(JsonWriter& json, const char* key, bool value) {
    json.Key(key);
    json.Bool(value);
}

void Number(JsonWriter& json, const char* key, int64_t value) {
    json.Key(key);
    json.Int64(value);
}

void Scale(JsonWriter& json, double scale) {
    const auto whole = static_cast<int64_t>(scale);
    if (static_cast<double>(whole) == scale) {
        Number(json, "scale", whole);
    } else {
        json.Key("scale");
        json.Double(scale);
    }
}

std::string StatusAnswer(const HostStatus& status) {
    return Object([&](JsonWriter& json) {
        Flag(json, "ok", true);
        Number(json, "pid", status.pid);
        Text(json, "site", status.site);
        json.Key("clock");
        json.StartObject();
        Scale(json, status.clock_scale);
        Number(json, "now_ms", status.clock_now_ms);
        json.EndObject();
        Text(json, "database", status.database_dir);
        Text(json, "front", status.front);
        Array(json, "timers", status.timers, [&](const qarplatform::TimerStatus& timer) {
            Text(json, "name", timer.name);
            Number(json, "interval_ms", timer.interval_ms);
            Number(json, "started_ms", timer.started_ms);
            Number(json, "ticks", static_cast<int64_t>(timer.ticks));
        });
        Array(json, "devices", status.devices, [&](const qarplatform::DeviceStatus& device) {
            Number(json, "id", device.id);
            Flag(json, "online", device.online);
            Flag(json, "guard", device.guard);
            Flag(json, "clock_known", device.clock_known);
        });
        Array(json, "plugins", status.plugins, [&](const PluginStatus& plugin) {
            Text(json, "id", plugin.id);
            Text(json, "state", plugin.state);
        });
    });
}

const Value* Member(const Value& object, const char* key) {
    const auto found = object.FindMember(key);
    return found != object.MemberEnd() ? &found->value : nullptr;
}

std::string TextOf(const Value& value) { return {value.GetString(), value.GetStringLength()}; }

std::string TextAt(const Value& object, const char* key) {
    const Value* value = Member(object, key);
    return value != nullptr && value->IsString() ? TextOf(*value) : "";
}

int64_t NumberAt(const Value& object, const char* key) {
    const Value* value = Member(object, key);
    return value != nullptr && value->IsInt64() ? value->GetInt64() : 0;
}

bool FlagAt(const Value& object, const char* key) {
    const Value* value = Member(object, key);
    return value != nullptr && value->IsBool() && value->GetBool();
}

// @return the object that a text holds; otherwise its error says why it holds none
bool ReadObject(const std::string& text, rapidjson::Document& document, std::string& error) {
    document.Parse<kParseFlags>(text.data(), text.size());
    if (document.HasParseError()) {
        error = std::string("no JSON: ") + rapidjson::GetParseError_En(document.GetParseError()) + " at byte " +
                std::to_string(document.GetErrorOffset());
        return false;
    }
    if (!document.IsObject()) {
        error = "not a JSON object";
        return false;
    }
    return true;
}

std::string Guard(HostControl& host, const Value& request) {
    const Value* device = Member(request, "device");
    const Value* on = Member(request, "on");
    if (device == nullptr || !device->IsInt()) return ControlError("guard needs \"device\", a whole number");
    if (on == nullptr || !on->IsBool()) return ControlError("guard needs \"on\", true or false");
    std::string error;
    return host.SetGuard(device->GetInt(), on->GetBool(), error) ? Ok() : ControlError(error);
}

std::string Database(HostControl& host, const Value& request) {
    const Value* dir = Member(request, "dir");
    if (dir == nullptr || !dir->IsString() || !std::filesystem::path(TextOf(*dir)).is_absolute()) {
        return ControlError("database needs \"dir\", an absolute path");
    }
    const std::string path = TextOf(*dir);
    if (std::any_of(path.begin(), path.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; })) {
        return ControlError("database: \"dir\" must not hold control characters");
    }
    std::string error;
    const std::string normal = std::filesystem::path(path).lexically_normal().string();
    return host.SetDatabaseDir(normal, error) ? Ok() : ControlError(error);
}

template <typename Item, typename Read>
void ReadArray(const Value& object, const char* key, std::vector<Item>& items, Read read) {
    const Value* array = Member(object, key);
    if (array == nullptr || !array->IsArray()) return;
    for (const Value& value : array->GetArray()) {
        if (value.IsObject()) items.push_back(read(value));
    }
}

HostStatus ReadStatus(const Value& answer) {
    HostStatus status;
    status.site = TextAt(answer, "site");
    status.pid = static_cast<pid_t>(NumberAt(answer, "pid"));
    status.database_dir = TextAt(answer, "database");
    status.front = TextAt(answer, "front");
    const Value* clock = Member(answer, "clock");
    if (clock != nullptr && clock->IsObject()) {
        const Value* scale = Member(*clock, "scale");
        if (scale != nullptr && scale->IsNumber()) status.clock_scale = scale->GetDouble();
        status.clock_now_ms = NumberAt(*clock, "now_ms");
    }
    ReadArray(answer, "timers", status.timers, [](const Value& value) {
        qarplatform::TimerStatus timer;
        timer.name = TextAt(value, "name");
        timer.interval_ms = static_cast<unsigned int>(NumberAt(value, "interval_ms"));
        timer.started_ms = NumberAt(value, "started_ms");
        timer.ticks = static_cast<unsigned long long>(NumberAt(value, "ticks"));
        return timer;
    });
    ReadArray(answer, "devices", status.devices, [](const Value& value) {
        qarplatform::DeviceStatus device;
        device.id = static_cast<int>(NumberAt(value, "id"));
        device.online = FlagAt(value, "online");
        device.guard = FlagAt(value, "guard");
        device.clock_known = FlagAt(value, "clock_known");
        return device;
    });
    ReadArray(answer, "plugins", status.plugins, [](const Value& value) {
        return PluginStatus{TextAt(value, "id"), TextAt(value, "state")};
    });
    return status;
}

}  // namespace

std::string AnswerControl(HostControl& host, const std::string& request) {
    rapidjson::Document document;
    std::string error;
    if (!ReadObject(request, document, error)) return ControlError("bad request: " + error);
    const Value* command = Member(document, "command");
    if (command == nullptr || !command->IsString()) return ControlError("bad request: it needs \"command\", a text");
    const std::string name = TextOf(*command);
    if (name == "status") return StatusAnswer(host.Status());
    if (name == "guard") return Guard(host, document);
    if (name == "database") return Database(host, document);
    return ControlError("unknown command \"" + name + "\"; known are status, guard and database");
}

std::string ControlError(const std::string& text) {
    return Object([&](JsonWriter& json) {
        Flag(json, "ok", false);
        Text(json, "error", text);
    });
}

std::string StatusRequest() {
    return Object([](JsonWriter& json) { Text(json, "command", "status"); });
}

std::string GuardRequest(int device_id, bool guard) {
    return Object([&](JsonWriter& json) {
        Text(json, "command", "guard");
        Number(json, "device", device_id);
        Flag(json, "on", guard);
    });
}

std::string DatabaseRequest(const std::string& dir) {
    return Object([&](JsonWriter& json) {
        Text(json, "command", "database");
        Text(json, "dir", dir);
    });
}

bool ReadControlAnswer(const std::string& answer, HostStatus* status, std::string& error) {
    rapidjson::Document document;
    if (!ReadObject(answer, document, error)) {
        error = "the host's answer cannot be understood: " + error;
        return false;
    }
    if (!FlagAt(document, "ok")) {
        error = TextAt(document, "error");
        if (error.empty()) error = "the host's answer cannot be understood: it has neither \"ok\" nor \"error\"";
        return false;
    }
    if (status != nullptr) *status = ReadStatus(document);
    return true;
}

}  // namespace qarhost
