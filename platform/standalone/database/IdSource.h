#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "standalone/database/ConnectionPool.h"
#include "standalone/database/sqlite/Database.h"

namespace qarplatform {

/// Numbers that are unique in a folder's database, over processes and restarts. They are taken from the table
/// qar_sequence of the main file in blocks, so that most cost no statement; a process that ends leaves the rest of its
/// block unused. A block is on the disk before a number of it is given out. Nor does a process give out a number twice
/// when it is pointed to another folder: rows may have been copied there without the main file. Threads: any.
class IdSource {
public:
    static constexpr int64_t kBlock = 10000;

    explicit IdSource(DatabaseWaits waits) : waits_(waits) {}

    /// Takes numbers from `folder` from now on, "" for nowhere; what is left of the block is dropped.
    void Repoint(const std::string& folder);
    /// Repoint, unless the folder stays the same.
    void Update(const std::string& folder);

    /// @return a number above 0; 0 on failure, with a text
    int64_t Next(std::string& error);

private:
    void RepointLocked(const std::string& folder);
    bool Open();
    bool Refill();

    const DatabaseWaits waits_;

    // guarded by mutex_, which is held while a block is taken
    std::mutex mutex_;
    std::string folder_;
    std::unique_ptr<sqlite::Database> database_;
    int64_t next_ = 0;
    int64_t end_ = 0;
    int64_t floor_ = 1;  // all numbers of this process's earlier folders lie below
};

}  // namespace qarplatform
