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

std::optional<int64_t> Read(const std::string& text, char between) {
    if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != between || text[13] != ':' ||
        text[16] != ':') {
        return std::nullopt;
    }
    const int year = Digits(text, 0, 4);
    const int month = Digits(text, 5, 2);
    const int day = Digits(text, 8, 2);
    const int hour = Digits(text, 11, 2);
    const int minute = Digits(text, 14, 2);
    const int second = Digits(text, 17, 2);
    if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0) return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    return sys_days(date).time_since_epoch().count() * int64_t{86400} + hour * 3600 + minute * 60 + second;
}

}  // namespace

std::string Moment::Plain() const {
    const auto day = std::chrono::floor<days>(std::chrono::sys_seconds(std::chrono::seconds(wall)));
    const std::chrono::year_month_day date(day);
    const int second = static_cast<int>(wall - day.time_since_epoch().count() * int64_t{86400});
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), second / 3600,
                  second / 60 % 60, second % 60);
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
    if (text.size() != 25 || (text[19] != '+' && text[19] != '-') || text[22] != ':') return std::nullopt;
    const auto wall = Read(text.substr(0, 19), 'T');
    const int hours = Digits(text, 20, 2);
    const int minutes = Digits(text, 23, 2);
    if (!wall || hours < 0 || minutes < 0 || minutes > 59) return std::nullopt;
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
