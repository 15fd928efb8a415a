#include "standalone/database/sqlite/Database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <thread>

namespace qarplatform::sqlite {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kProgressSteps = 1000;  // virtual machine steps between two looks at the deadline: some microseconds
constexpr milliseconds kBusyPauses[] = {milliseconds(1),  milliseconds(2),  milliseconds(5),
                                        milliseconds(10), milliseconds(20), milliseconds(50)};

// The engine reads a path that begins with "file:" as a URI.
std::string AsPlainPath(const std::string& path) { return path.rfind('/', 0) == 0 ? path : "./" + path; }

std::string SystemText(int error) { return std::generic_category().message(error); }

}  // namespace

std::string QuotedName(std::string_view name) {
    std::string quoted = "\"";
    for (char c : name) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

Database::~Database() { Close(); }

bool Database::Open(const std::string& path, milliseconds busy_timeout) {
    Close();
    if (path.empty()) {
        return Fail(SQLITE_CANTOPEN, "the path of the database file is empty");
    }
    if (!MakeFile(path)) {
        return false;
    }
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    if (sqlite3_open_v2(AsPlainPath(path).c_str(), &handle_, flags, nullptr) != SQLITE_OK) {
        NoteError();
    } else {
        busy_timeout_ = busy_timeout;
        sqlite3_busy_handler(handle_, &Database::OnBusy, this);
        if (Configure("main") && Exec("PRAGMA foreign_keys = ON")) {
            return true;
        }
    }
    const int code = error_code_;
    const std::string text = path + ": " + error_;
    Close();
    return Fail(code, text);
}

void Database::Close() {
    sqlite3_close_v2(handle_);
    handle_ = nullptr;
    deadline_.reset();
}

bool Database::Attach(const std::string& path, const std::string& name) {
    if (!MakeFile(path)) {
        return false;
    }
    Statement attach = Prepare("ATTACH DATABASE ?1 AS ?2");
    if (!attach || !attach.BindText(1, AsPlainPath(path)) || !attach.BindText(2, name) || !attach.Run()) {
        NoteError();
        return Fail(error_code_, path + ": " + error_);
    }
    attach = Statement();
    if (Configure(name)) {
        return Succeed();
    }
    const int code = error_code_;
    const std::string text = path + ": " + error_;
    Exec("DETACH DATABASE " + QuotedName(name));
    return Fail(code, text);
}

// Made without being opened: closing a second descriptor of a file drops this process's locks on it.
bool Database::MakeFile(const std::string& path) {
    if (mknod(path.c_str(), S_IFREG | S_IRUSR | S_IWUSR, 0) != 0 && errno != EEXIST) {
        const int error = errno;
        struct stat found;
        if (stat(path.c_str(), &found) != 0) {
            return Fail(SQLITE_CANTOPEN, path + ": cannot be made: " + SystemText(error));
        }
    }
    return true;
}

bool Database::Configure(const std::string& schema) {
    const std::string prefix = "PRAGMA " + QuotedName(schema) + ".";
    // Two connections that change a new file at one moment may be refused without a wait.
    const auto give_up = steady_clock::now() + busy_timeout_;
    Statement mode;
    bool done = false;
    while (!done) {
        mode = Prepare(prefix + "journal_mode = WAL");
        done = mode && mode.Step() == Statement::Result::kRow;
        if (!done) {
            NoteError();
            if ((error_code_ & 0xFF) != SQLITE_BUSY || steady_clock::now() > give_up) {
                return false;
            }
            std::this_thread::sleep_for(kBusyPauses[0]);
        }
    }
    const bool is_wal = mode.TextView(0) == "wal";
    mode = Statement();
    if (!is_wal && sqlite3_db_readonly(handle_, schema.c_str()) != 1) {
        return Fail(SQLITE_CANTOPEN, "write-ahead logging is not to be had on this file system");
    }
    return Exec(prefix + "synchronous = NORMAL");
}

bool Database::Exec(std::string_view sql) {
    while (!sql.empty()) {
        std::string_view rest;
        Statement statement = Prepare(sql, &rest);
        if (!statement && error_code_ != SQLITE_OK) {
            return false;
        }
        if (statement && !statement.Run()) {
            NoteError();
            return false;
        }
        sql = rest;
    }
    return Succeed();
}

Statement Database::Prepare(std::string_view sql, std::string_view* rest) {
    if (sql.size() > static_cast<std::size_t>(INT_MAX)) {
        Fail(SQLITE_TOOBIG, "the statement is too long");
        return Statement();
    }
    errno = 0;
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    const char* text = sql.data() ? sql.data() : "";
    if (sqlite3_prepare_v2(handle_, text, static_cast<int>(sql.size()), &prepared, &tail) != SQLITE_OK) {
        NoteError();
        return Statement();
    }
    if (rest) {
        *rest = prepared ? sql.substr(static_cast<std::size_t>(tail - text)) : std::string_view();
    }
    Succeed();
    return Statement(prepared);
}

bool Database::InOpenTransaction() const { return handle_ && sqlite3_get_autocommit(handle_) == 0; }

void Database::Rollback() {
    if (InOpenTransaction()) {
        sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Database::SetDeadline(std::optional<TimePoint> deadline) {
    deadline_ = deadline;
    if (!handle_) {
        return;
    }
    sqlite3_progress_handler(handle_, deadline_ ? kProgressSteps : 0, &Database::OnProgress, this);
}

void Database::NoteError() {
    const int step_errno = errno;
    if (!handle_) {
        Fail(SQLITE_MISUSE, "the database is not open");
        return;
    }
    const int code = sqlite3_extended_errcode(handle_);
    std::string text = sqlite3_errmsg(handle_);
    const int primary = code & 0xFF;
    if (primary == SQLITE_INTERRUPT) {
        text = "the statement ran into its time-out";
    } else if (primary == SQLITE_BUSY) {
        text += DeadlinePassed() ? " until the statement's time-out"
                                 : " by another connection for " + std::to_string(busy_timeout_.count()) + " ms";
    } else if (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN) {
        const int engine_errno = sqlite3_system_errno(handle_);
        const int error = engine_errno != 0 ? engine_errno : step_errno;
        if (error != 0) {
            text += ": " + SystemText(error);
        }
    }
    Fail(code, text);
}

bool Database::Fail(int code, const std::string& text) {
    error_code_ = code == SQLITE_OK ? SQLITE_ERROR : code;
    error_ = text;
    return false;
}

bool Database::Succeed() {
    error_code_ = SQLITE_OK;
    error_.clear();
    return true;
}

bool Database::DeadlinePassed() const { return deadline_ && steady_clock::now() >= *deadline_; }

int Database::OnBusy(void* self, int count) {
    auto& database = *static_cast<Database*>(self);
    const auto now = steady_clock::now();
    if (count == 0) {
        database.busy_since_ = now;
    }
    auto end = database.busy_since_ + database.busy_timeout_;
    if (database.deadline_) {
        end = std::min(end, *database.deadline_);
    }
    if (now >= end) {
        return 0;
    }
    const auto pause = kBusyPauses[std::min<std::size_t>(static_cast<std::size_t>(count), std::size(kBusyPauses) - 1)];
    std::this_thread::sleep_for(std::min<steady_clock::duration>(pause, end - now));
    return 1;
}

int Database::OnProgress(void* self) { return static_cast<Database*>(self)->DeadlinePassed() ? 1 : 0; }

}  // namespace qarplatform::sqlite
