#include "Config.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <cctype>
#include <cmath>
#include <utility>

namespace backfill {
namespace {

using Value = rapidjson::Value;

std::string Absolute(const std::string& path, const std::string& data_dir) {
    return path.empty() || path.front() == '/' ? path : data_dir + "/" + path;
}

bool IsIdentifier(const std::string& text) {
    if (text.empty() || std::isdigit(static_cast<unsigned char>(text.front())) != 0) return false;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') return false;
    }
    return true;
}

/// One pass over the configuration's members; the first thing that is wrong ends it.
class Reader {
public:
    Reader(const std::string& data_dir, Config& config, std::string& error)
        : data_dir_(data_dir), config_(config), error_(error) {}

    bool Read(const std::string& key, const Value& value) {
        if (key == "schema") return Schema(key, value);
        if (key == "cameras") return Cameras(key, value);
        if (key == "busi_types") return Ids(key, value, config_.busi_types);
        if (key == "fetch") return Fetch(key, value);
        if (key == "out_dir") return Path(key, value, config_.out_dir);
        if (key == "journal") return Path(key, value, config_.journal);
        if (key == "per_device") return Count(key, value, config_.limits.per_device);
        if (key == "total") return Count(key, value, config_.limits.total);
        if (key == "retry_first_s") return Seconds(key, value, config_.limits.retry_first);
        if (key == "retry_max_s") return Seconds(key, value, config_.limits.retry_max);
        if (key == "timeout_s") return Seconds(key, value, config_.timeout);
        return Wrong(key,
                     "unknown key; known are schema, cameras, busi_types, fetch, out_dir, journal, per_device, "
                     "total, retry_first_s, retry_max_s, timeout_s");
    }

    bool Wrong(const std::string& key, const std::string& message) {
        error_ = key + ": " + message;
        return false;
    }

private:
    // the schema's name goes into SQL, so nothing but an identifier may pass
    bool Schema(const std::string& key, const Value& value) {
        if (!value.IsString() || !IsIdentifier(value.GetString())) {
            return Wrong(key, "must be an identifier of letters, digits and _");
        }
        config_.schema = value.GetString();
        return true;
    }

    bool Cameras(const std::string& key, const Value& value) {
        if (value.IsString() && std::string(value.GetString()) == "all") return true;
        if (!value.IsArray()) return Wrong(key, "must be \"all\" or a list of camera ids");
        config_.all_cameras = false;
        return Ids(key, value, config_.cameras);
    }

    bool Ids(const std::string& key, const Value& value, std::set<int>& ids) {
        if (!value.IsArray() || value.Empty()) return Wrong(key, "must be a list of whole numbers with an entry");
        ids.clear();
        for (const Value& id : value.GetArray()) {
            if (!id.IsInt() || id.GetInt() < 0) return Wrong(key, "must hold whole numbers, none of them negative");
            ids.insert(id.GetInt());
        }
        return true;
    }

    bool Fetch(const std::string& key, const Value& value) {
        if (!value.IsArray() || value.Empty())
            return Wrong(key, "must be a list of texts: a program and its arguments");
        for (const Value& part : value.GetArray()) {
            if (!part.IsString()) return Wrong(key, "must hold texts only");
            config_.fetch.emplace_back(part.GetString(), part.GetStringLength());
        }
        if (config_.fetch.front().empty()) return Wrong(key, "must begin with a program");
        return true;
    }

    bool Path(const std::string& key, const Value& value, std::string& path) {
        if (!value.IsString() || value.GetStringLength() == 0) return Wrong(key, "must be a path");
        path = Absolute(value.GetString(), data_dir_);
        return true;
    }

    bool Count(const std::string& key, const Value& value, int& count) {
        if (!value.IsInt() || value.GetInt() < 1 || value.GetInt() > 1000) return Wrong(key, "must be 1 to 1000");
        count = value.GetInt();
        return true;
    }

    bool Seconds(const std::string& key, const Value& value, std::chrono::milliseconds& duration) {
        if (!value.IsNumber() || !(value.GetDouble() >= 0.001) || value.GetDouble() > 604800) {
            return Wrong(key, "must be seconds, 0.001 to 604800");
        }
        duration = std::chrono::milliseconds(std::llround(value.GetDouble() * 1000));
        return true;
    }

    const std::string& data_dir_;
    Config& config_;
    std::string& error_;
};

}  // namespace

bool ReadConfig(const std::string& json, const std::string& data_dir, Config& config, std::string& error) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (document.HasParseError()) {
        error = std::string("the configuration is no JSON: ") + rapidjson::GetParseError_En(document.GetParseError());
        return false;
    }
    if (!document.IsObject()) {
        error = "the configuration must be an object";
        return false;
    }
    config.out_dir = data_dir + "/backfill";
    Reader reader(data_dir, config, error);
    for (const auto& member : std::as_const(document).GetObject()) {
        if (!reader.Read(member.name.GetString(), member.value)) return false;
    }
    if (config.fetch.empty()) return reader.Wrong("fetch", "is missing: the command that fetches a range");
    if (config.limits.retry_max < config.limits.retry_first) {
        return reader.Wrong("retry_max_s", "must not be below retry_first_s");
    }
    return true;
}

}  // namespace backfill
