#include "standalone/site/TomlSection.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <sstream>
#include <utility>

namespace qarplatform {

namespace {

constexpr const char* kText = "a text";
constexpr const char* kFlag = "true or false";
constexpr const char* kNumber = "a number";
constexpr const char* kInteger = "a whole number";
constexpr const char* kMoment = "a date and time with an offset, for example 2026-03-01T00:00:00Z";

const char* KindOf(const toml::node& node) {
    switch (node.type()) {
        case toml::node_type::table:
            return "a section";
        case toml::node_type::array:
            return "a list";
        case toml::node_type::string:
            return kText;
        case toml::node_type::integer:
            return kInteger;
        case toml::node_type::floating_point:
            return kNumber;
        case toml::node_type::boolean:
            return kFlag;
        case toml::node_type::date:
            return "a date";
        case toml::node_type::time:
            return "a time";
        case toml::node_type::date_time:
            return "a date and time";
        default:
            return "nothing";
    }
}

constexpr int64_t kEndOfMoments = 7258118400000;  // 2200-01-01; the system's clock ends in 2262

bool IsControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::string NumberText(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

int64_t Milliseconds(const toml::date_time& moment) {
    using namespace std::chrono;
    const sys_days day = year(moment.date.year) / month(moment.date.month) / std::chrono::day(moment.date.day);
    const milliseconds time = hours(moment.time.hour) + minutes(moment.time.minute) + seconds(moment.time.second) +
                              floor<milliseconds>(nanoseconds(moment.time.nanosecond)) -
                              minutes(moment.offset->minutes);
    return (milliseconds(day.time_since_epoch()) + time).count();
}

}  // namespace

TomlSection::TomlSection(const toml::table& table, std::string path, SiteFileErrors& errors)
    : table_(&table), path_(std::move(path)), errors_(&errors) {}

std::size_t TomlSection::Line() const { return std::max<std::size_t>(1, table_->source().begin.line); }

std::size_t TomlSection::Line(const char* key) const {
    const toml::node* node = table_->get(key);
    return node && node->source().begin.line != 0 ? node->source().begin.line : Line();
}

std::string TomlSection::KeyPath(std::string_view key) const {
    if (path_.empty() || key.empty()) {
        return path_ + std::string(key);
    }
    return path_ + "." + std::string(key);
}

void TomlSection::Error(const char* key, const std::string& message) const {
    errors_->Add(Line(key), KeyPath(key), message);
}

void TomlSection::WrongType(const char* key, const char* kind, const toml::node& node) const {
    Error(key, std::string("must be ") + kind + ", found " + KindOf(node));
}

const toml::node* TomlSection::Find(const char* key, Need need, const char* kind) {
    known_.insert(key);
    const toml::node* node = table_->get(key);
    if (!node && need == Need::kRequired) {
        Error(key, std::string("missing; must be ") + kind);
    }
    return node;
}

bool TomlSection::Text(const char* key, Need need, std::string& value) {
    const toml::node* node = Find(key, need, kText);
    if (!node) {
        return false;
    }
    const toml::value<std::string>* text = node->as_string();
    if (!text) {
        WrongType(key, kText, *node);
        return false;
    }
    if (std::any_of(text->get().begin(), text->get().end(), IsControl)) {
        Error(key, "must not hold control characters");
        return false;
    }
    if (need == Need::kRequired && text->get().empty()) {
        Error(key, "must not be empty");
        return false;
    }
    value = text->get();
    return true;
}

bool TomlSection::Flag(const char* key, Need need, bool& value) {
    const toml::node* node = Find(key, need, kFlag);
    if (!node) {
        return false;
    }
    const toml::value<bool>* flag = node->as_boolean();
    if (!flag) {
        WrongType(key, kFlag, *node);
        return false;
    }
    value = flag->get();
    return true;
}

bool TomlSection::ReadInteger(const char* key, Need need, int64_t lowest, int64_t highest, int64_t& value) {
    const toml::node* node = Find(key, need, kInteger);
    if (!node) {
        return false;
    }
    const toml::value<int64_t>* number = node->as_integer();
    if (!number) {
        WrongType(key, kInteger, *node);
        return false;
    }
    if (number->get() < lowest || number->get() > highest) {
        Error(key, "must be " + std::to_string(lowest) + " to " + std::to_string(highest) + ", found " +
                       std::to_string(number->get()));
        return false;
    }
    value = number->get();
    return true;
}

bool TomlSection::Number(const char* key, Need need, double lowest, double highest, double& value) {
    const toml::node* node = Find(key, need, kNumber);
    if (!node) {
        return false;
    }
    if (!node->is_number()) {
        WrongType(key, kNumber, *node);
        return false;
    }
    const double number = *node->value<double>();
    if (!(number >= lowest && number <= highest)) {
        Error(key, "must be " + NumberText(lowest) + " to " + NumberText(highest) + ", found " + NumberText(number));
        return false;
    }
    value = number;
    return true;
}

bool TomlSection::Moment(const char* key, Need need, std::optional<int64_t>& value) {
    const toml::node* node = Find(key, need, kMoment);
    if (!node) {
        return false;
    }
    const toml::value<toml::date_time>* moment = node->as_date_time();
    if (!moment || !moment->get().offset) {
        WrongType(key, kMoment, *node);
        return false;
    }
    const int64_t milliseconds = Milliseconds(moment->get());
    if (milliseconds < 0 || milliseconds >= kEndOfMoments) {
        Error(key, "must lie within the years 1970 to 2199");
        return false;
    }
    value = milliseconds;
    return true;
}

template <class Value, class Read>
bool TomlSection::ReadList(const char* key, Need need, const char* kind, std::vector<Value>& values, Read read) {
    const toml::node* node = Find(key, need, kind);
    if (!node) {
        return false;
    }
    const toml::array* list = node->as_array();
    if (!list) {
        WrongType(key, kind, *node);
        return false;
    }
    bool right = true;
    std::vector<Value> found;
    for (const toml::node& entry : *list) {
        Value value{};
        std::string error = read(entry, value);
        if (error.empty() && std::find(found.begin(), found.end(), value) != found.end()) {
            error = "stands in the list already";
        }
        found.push_back(value);
        if (!error.empty()) {
            right = false;
            errors_->Add(entry.source().begin.line, KeyPath(key) + "[" + std::to_string(found.size()) + "]", error);
        }
    }
    if (right) {
        values = std::move(found);
    }
    return right;
}

bool TomlSection::Integers(const char* key, Need need, std::vector<int>& values) {
    return ReadList(key, need, "a list of whole numbers", values, [](const toml::node& entry, int& value) {
        const toml::value<int64_t>* number = entry.as_integer();
        if (!number) {
            return std::string("must be ") + kInteger + ", found " + KindOf(entry);
        }
        if (number->get() < std::numeric_limits<int>::min() || number->get() > std::numeric_limits<int>::max()) {
            return "must be a number of 32 bits, found " + std::to_string(number->get());
        }
        value = static_cast<int>(number->get());
        return std::string();
    });
}

bool TomlSection::Texts(const char* key, Need need, std::vector<std::string>& values) {
    return ReadList(key, need, "a list of texts", values, [](const toml::node& entry, std::string& value) {
        const toml::value<std::string>* text = entry.as_string();
        if (!text) {
            return std::string("must be ") + kText + ", found " + KindOf(entry);
        }
        value = text->get();
        if (std::any_of(value.begin(), value.end(), IsControl)) {
            return std::string("must not hold control characters");
        }
        return std::string(value.empty() ? "must not be empty" : "");
    });
}

const toml::table* TomlSection::Table(const char* key, Need need) {
    const std::string kind = "a section, written [" + KeyPath(key) + "]";
    const toml::node* node = Find(key, need, kind.c_str());
    if (node && !node->is_table()) {
        WrongType(key, kind.c_str(), *node);
        return nullptr;
    }
    return node ? node->as_table() : nullptr;
}

const toml::array* TomlSection::Tables(const char* key) {
    const std::string kind = "a list of sections, each written [[" + KeyPath(key) + "]]";
    const toml::node* node = Find(key, Need::kOptional, kind.c_str());
    if (!node) {
        return nullptr;
    }
    const toml::array* list = node->as_array();
    if (!list || std::any_of(list->begin(), list->end(), [](const toml::node& entry) { return !entry.is_table(); })) {
        WrongType(key, kind.c_str(), *node);
        return nullptr;
    }
    return list;
}

void TomlSection::ReportUnknown() const {
    std::string allowed;
    for (const std::string& key : known_) {
        allowed += (allowed.empty() ? "" : ", ") + key;
    }
    for (const auto& [key, node] : *table_) {
        if (known_.count(std::string(key.str())) == 0) {
            errors_->Add(std::max<std::size_t>(1, key.source().begin.line), KeyPath(key.str()),
                         "unknown; known here are " + allowed);
        }
    }
}

}  // namespace qarplatform
