#include "qarutil/RapidJsonProto.h"

#include <rapidjson/reader.h>

#include <climits>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace {

struct Member {
    std::string name;
    std::optional<int> value;  // empty when it is no number that fits an int
};

/// Keeps the members of the outermost object; what lies deeper is only counted.
class MemberReader {
public:
    explicit MemberReader(std::vector<Member>& members) : members_(members) {}

    bool Null() { return true; }
    bool Bool(bool) { return true; }
    bool Double(double) { return true; }
    bool Int64(int64_t) { return true; }
    bool Uint64(uint64_t) { return true; }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return true; }
    bool String(const char*, rapidjson::SizeType, bool) { return true; }
    bool Int(int value) {
        if (depth_ == 1 && in_object_) members_.back().value = value;
        return true;
    }
    bool Uint(unsigned value) { return value > INT_MAX || Int(static_cast<int>(value)); }
    bool Key(const char* name, rapidjson::SizeType length, bool) {
        if (depth_ == 1) members_.push_back({std::string(name, length), std::nullopt});
        return true;
    }
    bool StartObject() {
        if (depth_++ == 0) in_object_ = true;
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        --depth_;
        return true;
    }
    bool StartArray() {
        ++depth_;
        return true;
    }
    bool EndArray(rapidjson::SizeType) {
        --depth_;
        return true;
    }

private:
    std::vector<Member>& members_;
    std::size_t depth_ = 0;
    bool in_object_ = false;  // the outermost value is an object
};

}  // namespace

class CRapidJsonProto::Impl {
public:
    bool Parse(const std::string& text) {
        members_.clear();
        rapidjson::Reader reader;
        rapidjson::StringStream stream(text.c_str());
        MemberReader handler(members_);
        if (reader.Parse<rapidjson::kParseIterativeFlag>(stream, handler)) return true;
        members_.clear();
        return false;
    }

    // the first of several members of one name counts
    int Find(const std::string& name, int default_value) const {
        for (const Member& member : members_) {
            if (member.name == name) return member.value.value_or(default_value);
        }
        return default_value;
    }

private:
    std::vector<Member> members_;
};

CRapidJsonProto::CRapidJsonProto() : impl_(std::make_unique<Impl>()) {}

CRapidJsonProto::~CRapidJsonProto() = default;

bool CRapidJsonProto::set_str(const std::string& text) { return impl_->Parse(text); }

int CRapidJsonProto::get_int_v(const std::string& path, int default_value) const {
    if (path.empty() || path.front() != '/') return default_value;
    return impl_->Find(path.substr(1), default_value);
}
