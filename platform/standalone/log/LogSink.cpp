#include "LogSink.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "standalone/base/PrintfText.h"
#include "standalone/log/LogControl.h"
#include "standalone/log/LogOutput.h"
#include "standalone/log/LogWriter.h"
#include "standalone/log/PlatformLog.h"
#include "standalone/log/SessionMask.h"

namespace qarplatform {

namespace {

/// The process's log.
class Log {
public:
    /// Never destroyed, as static objects may still log from their destructors.
    static Log& Get() {
        static Log& log = *new Log;
        return log;
    }

    bool Wants(int level) const { return level >= level_.load(std::memory_order_relaxed); }

    void Write(LogEntry entry) {
        mask_.Apply(entry.text);
        const std::shared_ptr<LogWriter> writer = Writer();
        if (writer != nullptr && writer->Post(entry)) return;
        std::lock_guard<std::mutex> lock(stderr_mutex_);
        stderr_.Write(entry);
    }

    bool Start(const LogOptions& options, std::string& error) {
        LogOutput output;
        if (!options.file.empty() && !output.OpenFile(options, error)) return false;
        std::shared_ptr<LogWriter> writer;
        try {
            writer = std::make_shared<LogWriter>(std::move(output), LogWriter::Limits());
        } catch (const std::exception& failure) {
            error = std::string("cannot start the log's thread: ") + failure.what();
            return false;
        }
        level_ = options.level;
        Exchange(std::move(writer));
        return true;
    }

    void Stop() { Exchange(nullptr); }

    SessionMask& Mask() { return mask_; }

private:
    std::shared_ptr<LogWriter> Writer() {
        std::lock_guard<std::mutex> lock(mutex_);
        return writer_;
    }

    void Exchange(std::shared_ptr<LogWriter> writer) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            writer_.swap(writer);
        }
        if (writer != nullptr) writer->Stop();
    }

    std::atomic<int> level_ = kLogWarning;
    SessionMask mask_;

    std::mutex mutex_;
    std::shared_ptr<LogWriter> writer_;  // guarded by mutex_; null while there is no log

    std::mutex stderr_mutex_;
    LogOutput stderr_;  // guarded by stderr_mutex_
};

}  // namespace

bool StartLog(const LogOptions& options, std::string& error) { return Log::Get().Start(options, error); }

void StopLog() { Log::Get().Stop(); }

void MaskInLog(const std::string& session_id) { Log::Get().Mask().Add(session_id); }

void UnmaskInLog(const std::string& session_id) { Log::Get().Mask().Remove(session_id); }

}  // namespace qarplatform

void LogSinkWrite(int level, const char* module, const char* format, ...) {
    const int saved_errno = errno;
    qarplatform::Log& log = qarplatform::Log::Get();
    if (!log.Wants(level)) return;
    va_list arguments;
    va_start(arguments, format);
    try {
        log.Write({std::chrono::system_clock::now(), level, module, qarplatform::PrintfText(format, arguments)});
    } catch (...) {
        // out of memory: the line is lost, its writer is not troubled
    }
    va_end(arguments);
    errno = saved_errno;
}
