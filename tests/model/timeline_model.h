#pragma once

#include "world.h"

namespace qartest {

// The state history of one plug-in told a second time, in plain data. Assumed: a server zone without daylight saving.
struct Line {                                                   // one camera under one business type
    std::vector<Row> rows;                                      // in the order of insertion
    std::map<Moment, int> points = {};                          // the timeline: states
    bool cared = false, put_off = false, has_timeline = false;  // an emptied timeline is one, too
};

struct TimelineModel {
    const World& world;
    std::function<void(int busi, const Ranges&)> tell;  // the callback; it counts only with ranges, and may throw
    std::map<Key, Line> lines = {};
    std::set<int> busi_types = {};  // none: not registered
    std::set<int> levels = {};      // business types that have had a timeline since the registration
    bool recorded = false;          // since then the table has been read, or a point came
    std::vector<Row> failed = {};   // what a failed statement works on
    bool Register(const std::set<int>& types) {
        if (types.empty() || !busi_types.empty()) return false;
        busi_types = types;
        recorded = world.node.empty() || world.sql_ok();
        for (auto& [key, line] : lines)
            if (recorded && world.node.count(key.second)) line.cared = Load(key);
        return recorded;  // it stays registered all the same
    }
    void UnRegister() {
        for (auto& [key, line] : lines) line = {line.rows};
        busi_types = levels = {};
        recorded = false;
    }
    bool SetCare(int busi, const std::set<int>& wanted, bool ex) {
        if (wanted.empty() || !busi_types.count(busi)) return wanted.empty();
        for (int camera : wanted) lines[{busi, camera}].cared = true;
        if (ex && !world.sql_ok()) return false;
        Ranges first;
        bool all = true;
        for (int camera : wanted) {
            Line& line = lines[{busi, camera}];
            const bool no_clock = ex && world.Guarded(camera) && !world.ClockLearned(camera);
            const bool ready = world.Guarded(camera) && !no_clock;
            line.put_off |= no_clock;
            line.cared = !no_clock;
            if (ready && ex && line.points.empty()) Load({busi, camera});
            if (ready) first.merge(Contact({busi, camera}));
            all &= ready;
        }
        tell(busi, first);
        return all || !ex;
    }
    void DelCare(Key key) {
        Line& line = lines[key];
        if (line.has_timeline) Sql(line).clear();
        line.cared = false;
        if (!levels.count(key.first)) return;  // a camera that is put off stays so
        line = {line.rows};
        for (auto& [other, its] : lines) its.put_off &= key.first != -1 || key.second != other.second;  // -1: all types
    }
    void DelCareByCamera(int camera) {
        bool cared = false;
        for (auto& [key, line] : lines)
            if (key.second == camera) cared |= std::exchange(line.cared, false);
        if (cared && recorded) MoveOut(camera, world.sql_ok());
    }
    void MoveOut(int camera, bool rows_too = false) {
        for (auto& [key, line] : lines)
            if (key.second == camera) line = rows_too ? Line() : Line{line.rows};
    }
    bool AddState(Key key, const MaybeMoment& at, int state) {  // also by events, checks, and expiry of nothing
        if (!at || busi_types.empty()) return false;
        Line& line = lines[key];
        if (line.points.count(*at)) return true;  // the first state of a second stays
        const auto last = line.points.empty() ? line.points.end() : std::prev(line.points.end());
        const bool in_order = last != line.points.end() && last->second == 2;
        if (state != 2 || !in_order || *at < last->first) return Enter(key, *at, state, true);
        for (Row& row : Sql(line))
            if (row.at.wall == last->first.wall && row.state == 2) row.at.wall = at->wall;  // utc and offset stay
        line.points.erase(last);
        return Enter(key, *at, 2, false);
    }
    Ranges GetRanges(int busi) const {
        Ranges out;
        for (const auto& [key, line] : lines)
            for (auto b = line.points.begin(), a = b; key.first == busi && b != line.points.end(); a = b++) {
                if (a == b || (b->second == 2 && (a->second == 1 || a->second == 2))) continue;
                auto& ranges = out[key.second];
                if (ranges.empty() || ranges.back().second < a->first) ranges.emplace_back(a->first, b->first);
                ranges.back().second = b->first;
            }
        return out;
    }
    bool DelRange(Key key, const MaybeMoment& begin, const MaybeMoment& end) {
        Line& line = lines[key];
        if (!line.has_timeline || !begin || !end) return !line.has_timeline;
        Erase(line, *begin, *end, world.sql_ok());
        if (!line.points.count(*end)) return Enter(key, *end, 2, true);
        for (Row& row : Sql(line))
            if (row.at.wall == end->wall) row.state = 2;
        line.points[*end] = 2;
        return true;
    }
    void Event(int camera) {
        for (const auto& [key, line] : lines)
            if (line.cared && key.second == camera && world.Guarded(camera)) tell(key.first, Contact(key));
    }
    void Sweep(uint64_t tick) {
        for (auto& [key, line] : lines) {
            if (!line.has_timeline || !world.ClockLearned(key.second)) continue;
            const Moment now = world.Clock(key.second), limit = now.WeekAgo();
            if (tick % 30 == 25 && world.Guarded(key.second) && world.Online(key.second)) AddState(key, now, 2);
            if (tick % 60 == 20 && world.sql_ok() && !Erase(line, Moment(), limit, true)) AddState(key, limit, 2);
        }
        for (int busi : levels)
            if (tick % 60 == 5) tell(busi, GetRanges(busi));
    }
    void Retry() {
        for (auto& [key, line] : lines)
            if (line.put_off) line.put_off = !SetCare(key.first, {key.second}, true);
    }
    Ranges Contact(Key key) {
        const Moment now = world.Clock(key.second), then = now.WeekAgo();
        const bool first = lines[key].points.empty() && AddState(key, then, 1);
        AddState(key, now, 1);
        return first ? Ranges{{key.second, {{then, now}}}} : Ranges{};
    }
    bool Load(Key key) {  // of two rows of one moment, the one whose ISO text sorts last stays
        std::map<std::string, Row> read;
        for (const Row& row : lines[key].rows) read.insert_or_assign(row.at.Iso(), row);
        for (const auto& [iso, row] : read) Enter(key, row.at, row.state, false);
        return !read.empty();
    }
    bool Enter(Key key, const Moment& at, int state, bool with_row) {
        Line& line = lines[key];
        if (with_row) Sql(line).push_back({at, state, at.Utc().wall});
        line.points.erase(at);
        line.points[at] = state;
        levels.insert(key.first);
        return line.has_timeline = recorded = true;
    }
    static size_t Erase(Line& line, const Moment& begin, const Moment& end, bool rows_too) {
        const auto inside = [&](const Moment& at) { return !(at < begin) && at < end; };
        std::erase_if(line.rows, [&](const Row& row) { return rows_too && inside(row.at); });
        return std::erase_if(line.points, [&](const auto& point) { return inside(point.first); });
    }
    std::vector<Row>& Sql(Line& line) { return world.sql_ok() ? line.rows : failed = {}; }  // what a statement reaches
};
}  // namespace qartest
