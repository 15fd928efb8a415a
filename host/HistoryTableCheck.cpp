#include "host/HistoryTableCheck.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace qarhost {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kExamples = 3;
constexpr std::array kColumns{"camera_id", "camera_state", "state_time", "business_type", "differ"};

struct CloseStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, CloseStatement>;

// A schema's file, open for reading.
class SchemaFile {
public:
    explicit SchemaFile(const fs::path& path) {
        const int result = sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READONLY, nullptr);
        if (result != SQLITE_OK) {
            const std::string reason = Reason();
            sqlite3_close(database_);
            throw std::runtime_error(reason);
        }
        sqlite3_busy_timeout(database_, 5000);
    }
    ~SchemaFile() { sqlite3_close(database_); }
    SchemaFile(const SchemaFile&) = delete;
    SchemaFile& operator=(const SchemaFile&) = delete;

    Statement Prepare(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            throw std::runtime_error(Reason());
        }
        return Statement(statement);
    }

    bool Step(const Statement& statement) {
        const int result = sqlite3_step(statement.get());
        if (result != SQLITE_ROW && result != SQLITE_DONE) throw std::runtime_error(Reason());
        return result == SQLITE_ROW;
    }

private:
    std::string Reason() const { return sqlite3_errmsg(database_); }

    sqlite3* database_ = nullptr;
};

std::string TextAt(const Statement& statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), column));
    return text != nullptr ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column)))
                           : "null";
}

bool IsInteger(const Statement& statement, int column) {
    return sqlite3_column_type(statement.get(), column) == SQLITE_INTEGER;
}

std::string Quoted(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

std::vector<std::string> TablesOf(SchemaFile& file) {
    std::vector<std::string> tables;
    const Statement names = file.Prepare("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
    while (file.Step(names)) tables.push_back(TextAt(names, 0));
    return tables;
}

bool HoldsHistory(SchemaFile& file, const std::string& table) {
    std::set<std::string> columns;
    const Statement info = file.Prepare("PRAGMA table_info(" + Quoted(table) + ")");
    while (file.Step(info)) columns.insert(TextAt(info, 1));
    return std::all_of(kColumns.begin(), kColumns.end(), [&](const char* column) { return columns.count(column) > 0; });
}

// Counts rows of one kind.
class Finding {
public:
    explicit Finding(std::string what) { bad_.what = std::move(what); }

    void Add(const std::string& example) {
        if (++bad_.count <= static_cast<int64_t>(kExamples)) bad_.examples.push_back(example);
    }

    void MoveTo(std::vector<BadRows>& list) {
        if (bad_.count > 0) list.push_back(std::move(bad_));
    }

private:
    BadRows bad_;
};

HistoryTable CheckTable(SchemaFile& file, const std::string& table, const std::set<int64_t>& cameras) {
    Finding bad_time("state_time is no moment");
    Finding bad_state("camera_state is neither 1 nor 2");
    Finding bad_camera("camera_id is no camera of the site");
    HistoryTable found;
    found.table = table;
    const Statement rows =
        file.Prepare("SELECT camera_id, camera_state, state_time, business_type, differ FROM " + Quoted(table));
    while (file.Step(rows)) {
        ++found.rows;
        const std::string row = "camera_id " + TextAt(rows, 0) + ", camera_state " + TextAt(rows, 1) +
                                ", state_time '" + TextAt(rows, 2) + "', business_type " + TextAt(rows, 3);
        const int64_t camera = sqlite3_column_int64(rows.get(), 0);
        const int64_t state = sqlite3_column_int64(rows.get(), 1);
        const bool known = cameras.count(camera) > 0;
        if (!IsPlainTime(TextAt(rows, 2))) bad_time.Add(row);
        if (!IsInteger(rows, 1) || (state != 1 && state != 2)) bad_state.Add(row);
        if (!IsInteger(rows, 0) || !known) bad_camera.Add(row);
    }
    bad_time.MoveTo(found.bad);
    bad_state.MoveTo(found.bad);
    bad_camera.MoveTo(found.bad);
    return found;
}

std::vector<fs::path> SchemaFiles(const std::string& dir) {
    std::vector<fs::path> files;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(dir, none)) {
        if (entry.is_regular_file() && entry.path().extension() == ".db") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

bool IsPlainTime(const std::string& text) {
    constexpr std::string_view kForm = "0000-00-00 00:00:00";
    if (text.size() != kForm.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (kForm[i] == '0' ? !digit : text[i] != kForm[i]) return false;
    }
    const auto number = [&](std::size_t at, std::size_t length) { return std::stoi(text.substr(at, length)); };
    const std::chrono::year_month_day date{std::chrono::year{number(0, 4)},
                                           std::chrono::month{static_cast<unsigned>(number(5, 2))},
                                           std::chrono::day{static_cast<unsigned>(number(8, 2))}};
    return date.ok() && number(0, 4) > 0 && number(11, 2) < 24 && number(14, 2) < 60 && number(17, 2) < 60;
}

std::vector<HistoryTable> CheckHistoryTables(const std::string& dir, const std::set<int64_t>& cameras,
                                             std::vector<std::string>& errors) {
    std::vector<HistoryTable> tables;
    for (const fs::path& path : SchemaFiles(dir)) {
        try {
            SchemaFile file(path);
            for (const std::string& table : TablesOf(file)) {
                if (!HoldsHistory(file, table)) continue;
                tables.push_back(CheckTable(file, table, cameras));
                tables.back().file = path.string();
            }
        } catch (const std::runtime_error& e) {
            errors.push_back(path.string() + ": " + e.what());
        }
    }
    return tables;
}

}  // namespace qarhost
