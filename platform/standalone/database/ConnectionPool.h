#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "standalone/database/SqliteConnect.h"

namespace qarplatform {

/// How long the database layer waits, in real time.
struct DatabaseWaits {
    std::chrono::milliseconds lock{5000};         ///< of a statement for another connection's lock
    std::chrono::milliseconds connection{10000};  ///< of a caller for a connection of its plug-in
};

/// What is said of a connection that comes back inside a transaction.
inline constexpr char kOpenTransactionText[] = "a transaction was left open and has been rolled back";

/// The connections of one plug-in, made when needed and kept. A thread that holds a connection of any pool gets a
/// further one at once, beyond the count if need be, so that nested calls never wait for themselves or for each other.
/// Threads: any.
class ConnectionPool : public std::enable_shared_from_this<ConnectionPool> {
public:
    /// A connection that is checked out; goes back with the object, on the thread that took it.
    class Lease {
    public:
        Lease(std::shared_ptr<ConnectionPool> pool, std::unique_ptr<SqliteConnect> connect, uint64_t generation);
        ~Lease();
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        SqliteConnect& operator*() { return *connect_; }
        SqliteConnect* operator->() { return connect_.get(); }
        SqliteConnect* Get() { return connect_.get(); }

    private:
        const std::shared_ptr<ConnectionPool> pool_;
        std::unique_ptr<SqliteConnect> connect_;
        const uint64_t generation_;
    };

    ConnectionPool(std::string folder, uint32_t count, DatabaseWaits waits);

    /// @return null when no connection comes free in time, it cannot be opened, or the pool is closed
    std::unique_ptr<Lease> CheckOut(std::string& error);

    /// Connections made from now on are to `folder`; those in use close when they come back. Nobody is waited for.
    void Repoint(const std::string& folder);
    /// Repoint, unless the folder stays the same, and another count.
    void Update(const std::string& folder, uint32_t count);
    /// No connection is given out from now on; those in use close when they come back. Nobody is waited for.
    void Close();

private:
    using Connections = std::vector<std::unique_ptr<SqliteConnect>>;

    std::unique_ptr<SqliteConnect> TakeIdle(std::string& folder, uint64_t& generation, std::string& error);
    void GiveBack(std::unique_ptr<SqliteConnect> connect, uint64_t generation);
    Connections RepointLocked(const std::string& folder);

    const DatabaseWaits waits_;

    // guarded by mutex_
    std::mutex mutex_;
    std::condition_variable came_free_;
    std::string folder_;
    std::size_t count_;
    std::size_t in_use_ = 0;
    uint64_t generation_ = 0;
    bool closed_ = false;
    Connections idle_;
};

}  // namespace qarplatform
