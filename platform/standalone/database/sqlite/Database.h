#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "standalone/database/sqlite/Statement.h"

struct sqlite3;

namespace qarplatform::sqlite {

/// @return a name in double quotes, those inside doubled
std::string QuotedName(std::string_view name);

/// One SQLite connection. Operations that fail give false and leave their text in Error(); nothing is thrown.
/// Threads: one at a time. Not movable: the connection refers to its object.
class Database {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    Database() = default;
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Opens a file, made with mode 0600 if absent. WAL, synchronous NORMAL, foreign keys on. A file that may only be
    /// read is opened for reading.
    /// @param path          absolute, or relative to the working directory
    /// @param busy_timeout  how long a statement waits for another connection's lock before it fails
    bool Open(const std::string& path, std::chrono::milliseconds busy_timeout);
    /// Closes the connection; what is not committed is rolled back.
    void Close();
    bool IsOpen() const { return handle_ != nullptr; }

    /// Attaches a further file, treated as in Open, under a name. Not inside a transaction.
    bool Attach(const std::string& path, const std::string& name);

    /// Runs all statements of a text one after the other, each by itself unless the text opens a transaction.
    bool Exec(std::string_view sql);

    /// Prepares the first statement of a text.
    /// @param rest  if not null, gets what follows the statement
    /// @return an empty statement on failure, and, with Error() empty, when the text begins with no statement
    Statement Prepare(std::string_view sql, std::string_view* rest = nullptr);

    /// Runs statements between BEGIN IMMEDIATE and COMMIT; rolled back when `body` gives false.
    template <typename Body>
    bool InTransaction(Body&& body) {
        if (!Exec("BEGIN IMMEDIATE")) {
            return false;
        }
        if (body() && Exec("COMMIT")) {
            return true;
        }
        Rollback();
        return false;
    }

    /// @return whether a transaction is open
    bool InOpenTransaction() const;
    /// Rolls an open transaction back; Error() stays as it is.
    void Rollback();

    /// Gives up statements that still run at `deadline`, waits for locks too; nullopt takes the limit away.
    void SetDeadline(std::optional<TimePoint> deadline);

    /// @return the SQLite result code of the last failure, 0 after a success of an operation of this class
    int ErrorCode() const { return error_code_; }
    /// @return the text of the last failure, "" after a success of an operation of this class
    const std::string& Error() const { return error_; }
    /// Takes the failure of a Statement into ErrorCode() and Error().
    void NoteError();

    sqlite3* Handle() { return handle_; }

private:
    bool MakeFile(const std::string& path);
    bool Configure(const std::string& schema);
    bool Fail(int code, const std::string& text);
    bool Succeed();
    bool DeadlinePassed() const;
    static int OnBusy(void* self, int count);
    static int OnProgress(void* self);

    sqlite3* handle_ = nullptr;
    std::chrono::milliseconds busy_timeout_{0};
    TimePoint busy_since_;
    std::optional<TimePoint> deadline_;
    int error_code_ = 0;
    std::string error_;
};

}  // namespace qarplatform::sqlite
