#include "standalone/log/LogOutput.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

constexpr const char* kLayout = "%Y-%m-%d %H:%M:%S.%e %L [%n] %v";

spdlog::level::level_enum SpdlogLevel(int level) {
    switch (std::clamp(level, 2, 6)) {
        case 2:
            return spdlog::level::debug;
        case 3:
            return spdlog::level::info;
        case 4:
            return spdlog::level::warn;
        case 5:
            return spdlog::level::err;
        default:
            return spdlog::level::critical;
    }
}

/// @return the text without its last newline, lines behind the first indented
std::string EntryText(const std::string& text) {
    std::string result;
    result.reserve(text.size() + 16);
    const std::size_t end = text.size() - (!text.empty() && text.back() == '\n' ? 1 : 0);
    for (std::size_t i = 0; i < end; ++i) {
        result += text[i];
        if (text[i] == '\n') result += "    ";
    }
    return result;
}

}  // namespace

LogOutput::LogOutput()
    : file_(std::make_unique<LogFile>()), layout_(std::make_unique<spdlog::pattern_formatter>(kLayout)) {}

LogOutput::~LogOutput() = default;
LogOutput::LogOutput(LogOutput&&) noexcept = default;
LogOutput& LogOutput::operator=(LogOutput&&) noexcept = default;

bool LogOutput::OpenFile(const LogOptions& options, std::string& error) {
    const auto refuse = [&](const std::string& reason) {
        error = "cannot open log file " + options.file + ": " + reason;
        return false;
    };
    const auto folder = std::filesystem::path(options.file).parent_path();
    if (!folder.empty()) {
        std::error_code failure;
        std::filesystem::create_directories(folder, failure);
        if (failure) return refuse(failure.message());
    }
    auto file = std::make_unique<LogFile>();
    if (const int failure = file->Open(options); failure != 0) return refuse(std::strerror(failure));
    file_ = std::move(file);
    return true;
}

void LogOutput::Write(const LogEntry& entry) {
    if (TellLost() && Put(entry)) return;
    if (lost_++ == 0) std::fprintf(stderr, "log lines cannot be written: %s\n", reason_.c_str());
}

bool LogOutput::TellLost() {
    if (lost_ == 0) return true;
    if (!Put({std::chrono::system_clock::now(), kLogWarning, kModulePlatform,
              std::to_string(lost_) + " log lines were lost, as the log could not be written: " + reason_})) {
        return false;
    }
    lost_ = 0;
    return true;
}

bool LogOutput::Put(const LogEntry& entry) try {
    const std::string text = EntryText(entry.text);
    spdlog::memory_buf_t line;
    layout_->format(
        spdlog::details::log_msg(entry.time, spdlog::source_loc{}, entry.module, SpdlogLevel(entry.level), text), line);
    const int failure = file_->Append({line.data(), line.size()});
    if (failure != 0) reason_ = std::strerror(failure);
    return failure == 0;
} catch (const std::exception& failure) {
    reason_ = failure.what();
    return false;
}

}  // namespace qarplatform
