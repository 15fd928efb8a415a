#include "history_table.h"

#include <algorithm>
#include <tuple>

namespace qartest {
namespace {

/// Reads a number as %d writes it; moves `place` behind it.
std::optional<int64_t> TakeNumber(std::string_view text, size_t& place) {
    size_t end = place;
    if (end < text.size() && text[end] == '-') ++end;
    const size_t first = end;
    int64_t number = 0;
    for (; end < text.size() && text[end] >= '0' && text[end] <= '9'; ++end) number = number * 10 + (text[end] - '0');
    const size_t digits = end - first;
    const bool negative = first != place;
    if (digits == 0 || digits > 18 || (text[first] == '0' && (digits > 1 || negative))) return std::nullopt;
    place = end;
    return negative ? -number : number;
}

}  // namespace

HistoryTable::HistoryTable(const std::string& name, const std::string& key_column)
    : update_time_("UPDATE " + name +
                   " SET state_time = @ WHERE camera_id = # AND business_type = # and state_time = @ and camera_state "
                   "= #"),
      update_state_("UPDATE " + name +
                    " SET camera_state = # WHERE camera_id = # AND business_type = # AND state_time = @"),
      insert_("INSERT INTO " + name + "(" + key_column +
              ", camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, differ) values(#, #, #, "
              "@, @, #, #, #)"),
      delete_range_("DELETE FROM " + name +
                    " WHERE camera_id = # AND business_type = # AND state_time >= @ AND state_time < @;"),
      delete_expired_("DELETE FROM " + name + " WHERE camera_id = # AND business_type = # AND state_time < @"),
      delete_line_("DELETE FROM " + name + " WHERE camera_id = # AND business_type = #"),
      delete_camera_("DELETE FROM " + name + " WHERE camera_id = #"),
      select_all_("SELECT * FROM " + name + " ORDER BY  business_type, camera_id, state_time"),
      select_cameras_("SELECT * FROM " + name + " WHERE camera_id IN (") {}

bool HistoryTable::Fits(const std::string& sql, const std::string& shape) {
    numbers_.clear();
    size_t place = 0;
    for (const char letter : shape) {
        if (letter == '#') {
            const auto number = TakeNumber(sql, place);
            if (!number) return false;
            numbers_.push_back(*number);
        } else if (letter == '@') {
            if (place + 21 > sql.size() || sql[place] != '\'' || sql[place + 20] != '\'') return false;
            const auto wall = ReadPlain(sql.substr(place + 1, 19));
            if (!wall) return false;
            numbers_.push_back(*wall);
            place += 21;
        } else if (place >= sql.size() || sql[place++] != letter) {
            return false;
        }
    }
    return place == sql.size();
}

Key HistoryTable::KeyAt(size_t camera) const {
    return {static_cast<int>(numbers_[camera + 1]), static_cast<int>(numbers_[camera])};
}

bool HistoryTable::Execute(const std::string& sql, int64_t new_id, bool succeed) {
    const auto erase = [&](auto which) {
        if (succeed) std::erase_if(entries, which);
        return true;
    };
    const auto update = [&](auto which, auto change) {
        for (Entry& entry : entries) {
            if (succeed && which(entry)) change(entry);
        }
        return true;
    };
    if (Fits(sql, update_time_)) {
        kind_ = "move a row";
        const auto is = [&](const Entry& entry) {
            return entry.key == KeyAt(1) && entry.row.at.wall == numbers_[3] && entry.row.state == numbers_[4];
        };
        return update(is, [&](Entry& entry) { entry.row.at.wall = numbers_[0]; });
    }
    if (Fits(sql, update_state_)) {
        kind_ = "set a row's state";
        const auto is = [&](const Entry& entry) { return entry.key == KeyAt(1) && entry.row.at.wall == numbers_[3]; };
        return update(is, [&](Entry& entry) { entry.row.state = static_cast<int>(numbers_[0]); });
    }
    if (Fits(sql, insert_)) {
        kind_ = "add a row";
        if (numbers_[0] != new_id || numbers_[5] != numbers_[6]) return false;
        const Key key(static_cast<int>(numbers_[5]), static_cast<int>(numbers_[1]));
        const Row row{{numbers_[3], numbers_[7]}, static_cast<int>(numbers_[2]), numbers_[4]};
        if (succeed) entries.push_back({new_id, key, row});
        return true;
    }
    if (Fits(sql, delete_range_)) {
        kind_ = "delete a range";
        return erase([&](const Entry& entry) {
            return entry.key == KeyAt(0) && entry.row.at.wall >= numbers_[2] && entry.row.at.wall < numbers_[3];
        });
    }
    if (Fits(sql, delete_expired_)) {
        kind_ = "delete what expired";
        return erase([&](const Entry& entry) { return entry.key == KeyAt(0) && entry.row.at.wall < numbers_[2]; });
    }
    if (Fits(sql, delete_line_)) {
        kind_ = "delete under a business type";
        return erase([&](const Entry& entry) { return entry.key == KeyAt(0); });
    }
    if (Fits(sql, delete_camera_)) {
        kind_ = "delete of a camera";
        return erase([&](const Entry& entry) { return entry.key.second == numbers_[0]; });
    }
    return false;
}

std::optional<qarmock::FakeRows> HistoryTable::Query(const std::string& sql) {
    std::vector<Entry> found;
    if (sql == select_all_) {
        kind_ = "read all";
        found = entries;
        std::stable_sort(found.begin(), found.end(), [](const Entry& a, const Entry& b) {
            return std::tie(a.key, a.row.at.wall) < std::tie(b.key, b.row.at.wall);
        });
    } else if (sql.starts_with(select_cameras_) && sql.ends_with(")")) {
        kind_ = "read some cameras";
        std::set<int64_t> cameras;
        size_t place = select_cameras_.size();
        for (bool more = true; more; more = sql[place++] == ',') {
            const auto camera = TakeNumber(sql, place);
            if (!camera || !cameras.insert(*camera).second) return std::nullopt;
        }
        if (place != sql.size()) return std::nullopt;
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(found),
                     [&](const Entry& entry) { return cameras.count(entry.key.second) != 0; });
    } else {
        return std::nullopt;
    }
    qarmock::FakeRows rows{
        {"id", "camera_id", "camera_state", "state_time", "state_utc_time", "business_type", "bi_type", "differ"}, {}};
    for (const Entry& entry : found) {
        rows.rows.push_back({static_cast<long long>(entry.id), entry.key.second, entry.row.state, entry.row.at.Plain(),
                             Moment{entry.row.utc, 0}.Plain(), entry.key.first, entry.key.first,
                             static_cast<long long>(entry.row.at.offset)});
    }
    return rows;
}

}  // namespace qartest
