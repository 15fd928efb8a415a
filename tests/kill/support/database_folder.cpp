#include "kill/support/database_folder.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

#include "integration/support/child_process.h"
#include "integration/support/temp_folder.h"

namespace qartest {

namespace {

namespace fs = std::filesystem;

constexpr const char* kHeading = "== ";

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// Lines that there are also without a table.
bool SaysNothing(const std::string& line) {
    return line == "ok" || line == "PRAGMA foreign_keys=OFF;" || line == "BEGIN TRANSACTION;" || line == "COMMIT;";
}

void TellMissing(std::ostream& out, const std::string& what, const std::vector<std::string>& from,
                 const std::vector<std::string>& in) {
    constexpr std::size_t kMost = 8;
    std::vector<std::string> missing;
    std::set_difference(from.begin(), from.end(), in.begin(), in.end(), std::back_inserter(missing));
    for (std::size_t i = 0; i < std::min(missing.size(), kMost); ++i) out << what << missing[i] << '\n';
    if (missing.size() > kMost) out << "  … and " << missing.size() - kMost << " more\n";
}

}  // namespace

DatabaseFolder::DatabaseFolder(const fs::path& path) : path_(path) { fs::create_directories(path); }

void DatabaseFolder::BecomeCopyOf(const fs::path& other) const {
    fs::remove_all(path_);
    fs::create_directories(path_);
    if (fs::exists(other)) fs::copy(other, path_);
}

void DatabaseFolder::Execute(const std::vector<RecordedStatement>& statements) const {
    std::set<std::string> schemas{"main"};
    for (const auto& schema : Schemas()) schemas.insert(schema);
    for (const auto& statement : statements) schemas.insert(statement.plugin);
    schemas.erase("main");
    std::ostringstream script;
    for (const std::string& schema : schemas) {
        script << "ATTACH '" << (path_ / schema).string() << ".db' AS " << schema << ";\n"
               << "PRAGMA " << schema << ".journal_mode = MEMORY;\n"
               << "PRAGMA " << schema << ".synchronous = OFF;\n";
    }
    for (const auto& statement : statements) {
        const bool several = statement.sql.find(';') < statement.sql.size() - 1;
        script << (several ? "BEGIN;\n" : "") << statement.sql << ";\n" << (several ? "COMMIT;\n" : "");
    }
    Run(script.str());
}

DatabaseFolder::Tables DatabaseFolder::Dump() const {
    std::string script;
    Tables tables;
    for (const std::string& schema : Schemas()) {
        script += ".print " + (kHeading + schema) + "\n" + Open(schema) + "PRAGMA integrity_check;\n" +
                  (schema == "main" ? "" : ".dump\n");
    }
    std::string schema;
    for (const std::string& line : Run(script)) {
        if (line.rfind(kHeading, 0) == 0) {
            schema = line.substr(std::string(kHeading).size());
        } else if (!SaysNothing(line)) {
            tables[schema].push_back(line);
        }
    }
    for (auto& [name, lines] : tables) std::sort(lines.begin(), lines.end());
    return tables;
}

std::vector<HistoryPoint> DatabaseFolder::Points(const std::string& schema) const {
    std::vector<HistoryPoint> points;
    if (!fs::exists(path_ / (schema + ".db"))) return points;
    const std::string open = Open(schema);
    if (Run(open + "SELECT name FROM sqlite_schema WHERE name = 'camera_history';\n").empty()) return points;
    for (const std::string& line : Run(open + "SELECT business_type, camera_id, camera_state, differ, state_time "
                                              "FROM camera_history ORDER BY 1, 2, 5;\n")) {
        HistoryPoint point;
        std::string row = line;
        std::replace(row.begin(), row.end(), '|', ' ');
        std::istringstream columns(row);
        columns >> point.busi >> point.camera >> point.state >> point.differ >> std::ws;
        if (!columns || !std::getline(columns, point.state_time)) {
            throw std::runtime_error(schema + ": \"" + line + "\" is no row of a history");
        }
        points.push_back(point);
    }
    return points;
}

std::vector<std::string> DatabaseFolder::Schemas() const {
    std::vector<std::string> schemas;
    for (const auto& file : fs::directory_iterator(path_)) {
        if (file.path().extension() == ".db") schemas.push_back(file.path().stem().string());
    }
    std::sort(schemas.begin(), schemas.end());
    return schemas;
}

std::string DatabaseFolder::Open(const std::string& schema) const {
    return ".open '" + (path_ / (schema + ".db")).string() + "'\n";
}

std::vector<std::string> DatabaseFolder::Run(const std::string& script) const {
    const TempFolder folder;
    Launch launch;
    launch.words = {"/usr/bin/env", "sqlite3",   "-batch",   "-bail",
                    "-init",        "/dev/null", ":memory:", ".read '" + folder.Write("script.sql", script) + "'"};
    const Ended ended = RunToEnd(launch);
    if (ended.exit_code != 0 || !ended.err.empty()) throw std::runtime_error("sqlite3: " + ended.err);
    return Lines(ended.out);
}

std::string Difference(const DatabaseFolder::Tables& expected, const DatabaseFolder::Tables& found) {
    std::set<std::string> schemas;
    for (const auto& [schema, lines] : expected) schemas.insert(schema);
    for (const auto& [schema, lines] : found) schemas.insert(schema);
    std::ostringstream out;
    for (const std::string& schema : schemas) {
        const auto lines_of = [&](const DatabaseFolder::Tables& tables) {
            const auto at = tables.find(schema);
            return at != tables.end() ? at->second : std::vector<std::string>();
        };
        TellMissing(out, "  missing in " + schema + ": ", lines_of(expected), lines_of(found));
        TellMissing(out, "  too many in " + schema + ": ", lines_of(found), lines_of(expected));
    }
    return out.str();
}

}  // namespace qartest
