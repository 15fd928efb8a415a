#include "world.h"

#include <chrono>
#include <cstdio>

namespace qartest {
namespace {

using std::chrono::days;
using std::chrono::sys_days;

/// @return the number that `count` digits at `place` are, or -1
int Digits(const std::string& text, size_t place, size_t count) {
    int number = 0;
    for (size_t i = place; i < place + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return -1;
        number = number * 10 + (text[i] - '0');
    }
    return number;
}

/// The digits of "2024-03-01 08:00:00" as one number.
std::optional<int64_t> Read(const std::string& text, char between) {
    if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != between || text[13] != ':' ||
        text[16] != ':') {
        return std::nullopt;
    }
    int64_t wall = Digits(text, 0, 4);
    for (const size_t place : {5U, 8U, 11U, 14U, 17U}) {
        const int field = Digits(text, place, 2);
        if (wall < 0 || field < 0) return std::nullopt;
        wall = wall * 100 + field;
    }
    return wall;
}

}  // namespace

Moment Moment::FromSeconds(int64_t seconds, int64_t offset) {
    const auto day = std::chrono::floor<days>(std::chrono::sys_seconds(std::chrono::seconds(seconds)));
    const std::chrono::year_month_day date(day);
    const int64_t second = seconds - day.time_since_epoch().count() * int64_t{86400};
    const int64_t digits = int64_t{int{date.year()}} * 10000 + unsigned{date.month()} * 100 + unsigned{date.day()};
    return {digits * 1000000 + second / 3600 * 10000 + second / 60 % 60 * 100 + second % 60, offset};
}

int64_t Moment::Seconds() const {
    const int64_t date = wall / 1000000;
    const int64_t time = wall % 1000000;
    const auto month = std::chrono::year(static_cast<int>(date / 10000)) / std::chrono::January +
                       std::chrono::months(date / 100 % 100 - 1);
    const int64_t day = sys_days(month / 1).time_since_epoch().count() + date % 100 - 1;
    return day * 86400 + time / 10000 * 3600 + time / 100 % 100 * 60 + time % 100;
}

std::string Moment::Plain() const {
    std::string text = std::to_string(wall);
    if (text.size() < 14) text.insert(0, 14 - text.size(), '0');
    for (const size_t place : {4U, 7U}) text.insert(place, 1, '-');
    text.insert(10, 1, ' ');
    for (const size_t place : {13U, 16U}) text.insert(place, 1, ':');
    return text;
}

std::string Moment::Iso() const {
    const int minutes = static_cast<int>((offset < 0 ? -offset : offset) / 60);
    char zone[32];
    std::snprintf(zone, sizeof zone, "%c%02d:%02d", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    std::string text = Plain() + zone;
    text[10] = 'T';
    return text;
}

std::optional<int64_t> ReadPlain(const std::string& text) { return Read(text, ' '); }

std::optional<Moment> ReadIso(const std::string& text) {
    const size_t colon = text.size() < 25 ? 0 : text.size() - 3;
    if (colon == 0 || (text[19] != '+' && text[19] != '-') || text[colon] != ':') return std::nullopt;
    const auto wall = Read(text.substr(0, 19), 'T');
    const int hours = Digits(text, 20, colon - 20);
    const int minutes = Digits(text, colon + 1, 2);
    if (!wall || hours < 0 || minutes < 0 || minutes > 59 || (hours < 100 && colon != 22)) return std::nullopt;
    const int64_t offset = hours * 3600 + minutes * 60;
    if (text[19] == '-' && offset == 0) return std::nullopt;
    return Moment{*wall, text[19] == '-' ? -offset : offset};
}

std::string Text(const Ranges& ranges) {
    std::string text;
    for (const auto& [camera, list] : ranges) {
        for (const auto& [begin, end] : list) {
            text += " " + std::to_string(camera) + ": " + begin.Iso() + " to " + end.Iso() + ";";
        }
    }
    return text.empty() ? " none" : text;
}

bool World::Known(int camera) const {
    const auto found = cameras.find(camera);
    return found != cameras.end() && found->second.known && devices.at(found->second.device).known;
}

bool World::Guarded(int camera) const {
    if (!Known(camera)) return false;
    const Device& device = devices.at(cameras.at(camera).device);
    return device.guard && device.online;
}

bool World::ClockLearned(int camera) const {
    return Known(camera) && devices.at(cameras.at(camera).device).clock_learned;
}

bool World::Online(int camera) const { return Known(camera) && cameras.at(camera).online; }

Moment World::Clock(int camera) const { return ClockOf(devices.at(cameras.at(camera).device)); }

}  // namespace qartest
