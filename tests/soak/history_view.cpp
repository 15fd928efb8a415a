#include "soak/history_view.h"

#include <sqlite3.h>

#include <stdexcept>
#include <string>

#include "demo_cameras/time_text.h"

namespace soak {

namespace {

constexpr int kBusyMs = 30000;

int TakeText(void* text, int /*columns*/, char** values, char** /*names*/) {
    *static_cast<std::string*>(text) = values[0] != nullptr ? values[0] : "";
    return 0;
}

std::string Query(sqlite3* database, const std::string& sql) {
    std::string text;
    if (sqlite3_exec(database, sql.c_str(), &TakeText, &text, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database));
    }
    return text;
}

}  // namespace

HistoryView::HistoryView(const std::filesystem::path& file) {
    if (sqlite3_open_v2(file.c_str(), &database_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        const std::string reason = sqlite3_errmsg(database_);
        sqlite3_close(database_);
        throw std::runtime_error(file.string() + ": " + reason);
    }
    sqlite3_busy_timeout(database_, kBusyMs);
}

HistoryView::~HistoryView() { sqlite3_close(database_); }

std::int64_t HistoryView::LastInOrderS(int camera, int busi) const {
    const std::string moment =
        Query(database_, "SELECT max(state_time) FROM camera_history WHERE camera_state = 2 AND camera_id = " +
                             std::to_string(camera) + " AND business_type = " + std::to_string(busi));
    return demo::ParsePlain(moment).value_or(0);
}

bool HistoryView::HasContact(int camera, int busi, std::int64_t since_s) const {
    const std::string moment =
        Query(database_, "SELECT max(state_time) FROM camera_history WHERE camera_state = 1 AND camera_id = " +
                             std::to_string(camera) + " AND business_type = " + std::to_string(busi));
    return demo::ParsePlain(moment).value_or(0) >= since_s;
}

std::size_t HistoryView::Rows() const {
    return static_cast<std::size_t>(std::stoull(Query(database_, "SELECT count(*) FROM camera_history")));
}

}  // namespace soak
