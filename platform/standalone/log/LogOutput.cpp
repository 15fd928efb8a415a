#include "standalone/log/LogOutput.h"

#include <fcntl.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace qarplatform {

namespace {

constexpr mode_t kFileMode = 0640;
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

/// Makes the file with the mode wanted before spdlog opens it. @return 0, or errno
int MakeFile(const std::string& path) {
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kFileMode);
    if (fd < 0) return errno;
    close(fd);
    return 0;
}

spdlog::file_event_handlers FileHandlers() {
    spdlog::file_event_handlers handlers;
    handlers.before_open = [](const std::string& path) { MakeFile(path); };
    handlers.after_open = [](const std::string&, std::FILE* file) { fcntl(fileno(file), F_SETFD, FD_CLOEXEC); };
    return handlers;
}

std::unique_ptr<spdlog::sinks::sink> WithLayout(std::unique_ptr<spdlog::sinks::sink> sink) {
    sink->set_pattern(kLayout);
    return sink;
}

}  // namespace

LogOutput::LogOutput() : sink_(WithLayout(std::make_unique<spdlog::sinks::stderr_sink_st>())) {}

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
    if (const int failure = MakeFile(options.file); failure != 0) {
        return refuse(std::generic_category().message(failure));
    }
    try {
        sink_ = WithLayout(std::make_unique<spdlog::sinks::rotating_file_sink_st>(
            options.file, std::max<std::size_t>(options.max_bytes, 1), options.files, false, FileHandlers()));
    } catch (const std::exception& failure) {
        return refuse(failure.what());
    }
    return true;
}

void LogOutput::Write(const LogEntry& entry) {
    Try([&] {
        const std::string text = EntryText(entry.text);
        sink_->log(
            spdlog::details::log_msg(entry.time, spdlog::source_loc{}, entry.module, SpdlogLevel(entry.level), text));
    });
}

void LogOutput::Flush() {
    Try([&] { sink_->flush(); });
    // a flush that finds nothing to write out says nothing
    if (wrote_since_flush_ && !failed_since_flush_) failing_ = false;
    wrote_since_flush_ = false;
    failed_since_flush_ = false;
}

template <class Step>
void LogOutput::Try(Step step) {
    try {
        step();
    } catch (const std::exception& failure) {
        failed_since_flush_ = true;
        if (!std::exchange(failing_, true)) {
            std::fprintf(stderr, "log lines cannot be written: %s\n", failure.what());
        }
    }
}

}  // namespace qarplatform
