#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kill/support/expected_ranges.h"
#include "kill/support/statement_record.h"

namespace qartest {

/// A database folder that no host has open, read with the command sqlite3. What is read is mended and tidied up by it
/// as by any other connection: to leave files as a kill left them, read a copy.
class DatabaseFolder {
public:
    /// Schema to the lines of its `.dump` and of the faults that `PRAGMA integrity_check` finds, sorted. Of main, which
    /// holds no table of a plug-in, only the faults.
    using Tables = std::map<std::string, std::vector<std::string>>;

    /// @param path  made where it is missing
    explicit DatabaseFolder(const std::filesystem::path& path);

    const std::filesystem::path& Path() const { return path_; }

    /// Becomes a copy of a folder, byte by byte.
    void BecomeCopyOf(const std::filesystem::path& other) const;

    /// Runs texts one after the other, each as the host does.
    /// @throws std::runtime_error  where one fails
    void Execute(const std::vector<RecordedStatement>& statements) const;

    /// @throws std::runtime_error  for files too damaged to be read
    Tables Dump() const;

    /// The rows of camera_history, sorted as `ExpectedRanges` wants them; none where there is no such table.
    std::vector<HistoryPoint> Points(const std::string& schema) const;

private:
    /// @return "b" for "b.db", in order
    std::vector<std::string> Schemas() const;
    std::vector<std::string> Run(const std::string& script) const;
    std::string Open(const std::string& schema) const;

    const std::filesystem::path path_;
};

/// Lines that only one of two has, at most a few of each, for people.
std::string Difference(const DatabaseFolder::Tables& expected, const DatabaseFolder::Tables& found);

}  // namespace qartest
