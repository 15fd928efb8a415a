#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "standalone/log/LogControl.h"

/// A folder of the test's own, removed at its end.
class TempLogFolder {
public:
    TempLogFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "qar-log-XXXXXX").string();
        if (mkdtemp(name.data()) != nullptr) path_ = name;
    }
    ~TempLogFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempLogFolder(const TempLogFolder&) = delete;
    TempLogFolder& operator=(const TempLogFolder&) = delete;

    std::string Path(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

inline std::string ReadLogFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// The process's log, into a file of the test's own.
class TempLog {
public:
    explicit TempLog(int level = 2) {
        qarplatform::LogOptions options;
        options.level = level;
        options.file = File();
        std::string error;
        EXPECT_TRUE(qarplatform::StartLog(options, error)) << error;
    }
    ~TempLog() { qarplatform::StopLog(); }
    TempLog(const TempLog&) = delete;
    TempLog& operator=(const TempLog&) = delete;

    std::string File() const { return folder_.Path("test.log"); }

    /// Ends the log. @return its lines without their date and time
    std::vector<std::string> Lines() {
        qarplatform::StopLog();
        constexpr std::size_t kTimeLength = 24;  // "2026-03-01 08:00:00.123 "
        std::ifstream file(File(), std::ios::binary);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line.rfind("    ", 0) == 0 ? line : line.substr(std::min(kTimeLength, line.size())));
        }
        return lines;
    }

private:
    TempLogFolder folder_;
};
