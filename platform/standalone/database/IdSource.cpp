#include "standalone/database/IdSource.h"

#include <algorithm>

#include "standalone/database/SchemaFiles.h"

namespace qarplatform {

using sqlite::Statement;

void IdSource::Repoint(const std::string& folder) {
    const std::lock_guard<std::mutex> lock(mutex_);
    RepointLocked(folder);
}

void IdSource::Update(const std::string& folder) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (folder != folder_) {
        RepointLocked(folder);
    }
}

int64_t IdSource::Next(std::string& error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (folder_.empty()) {
        error = "no database has been opened";
        return 0;
    }
    if (next_ == end_ && !(Open() && Refill())) {
        error = database_->Error();
        database_.reset();
        return 0;
    }
    return next_++;
}

void IdSource::RepointLocked(const std::string& folder) {
    folder_ = folder;
    database_.reset();
    floor_ = std::max(floor_, end_);
    next_ = end_ = 0;
}

// Every commit reaches the disk: a number given out twice after a loss of power would refuse a row.
bool IdSource::Open() {
    if (database_) {
        return true;
    }
    database_ = std::make_unique<sqlite::Database>();
    return database_->Open(MainFileOf(folder_), waits_.lock) &&
           database_->Exec(
               "PRAGMA synchronous = FULL;"
               "CREATE TABLE IF NOT EXISTS qar_sequence(id INTEGER PRIMARY KEY CHECK(id = 1), next INTEGER NOT NULL "
               "CHECK(next > 0))");
}

bool IdSource::Refill() {
    Statement take = database_->Prepare(
        "INSERT INTO qar_sequence(id, next) VALUES(1, ?2 + ?1) ON CONFLICT(id) DO UPDATE SET next = max(next, ?2) + ?1 "
        "RETURNING next");
    if (!take || !take.BindInt(1, kBlock) || !take.BindInt(2, floor_) || take.Step() != Statement::Result::kRow) {
        database_->NoteError();
        return false;
    }
    const int64_t end = take.Int(0);
    if (take.Step() != Statement::Result::kDone) {
        database_->NoteError();
        return false;
    }
    next_ = end - kBlock;
    end_ = end;
    return true;
}

}  // namespace qarplatform
