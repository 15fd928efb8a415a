#include "standalone/database/ConnectionPool.h"

#include <algorithm>
#include <utility>

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

thread_local int held_by_thread = 0;

}  // namespace

ConnectionPool::Lease::Lease(std::shared_ptr<ConnectionPool> pool, std::unique_ptr<SqliteConnect> connect,
                             uint64_t generation)
    : pool_(std::move(pool)), connect_(std::move(connect)), generation_(generation) {
    ++held_by_thread;
}

ConnectionPool::Lease::~Lease() {
    --held_by_thread;
    pool_->GiveBack(std::move(connect_), generation_);
}

ConnectionPool::ConnectionPool(std::string folder, uint32_t count, DatabaseWaits waits)
    : waits_(waits), folder_(std::move(folder)), count_(std::max<uint32_t>(count, 1)) {}

std::unique_ptr<ConnectionPool::Lease> ConnectionPool::CheckOut(std::string& error) {
    std::string folder;
    uint64_t generation = 0;
    error.clear();
    std::unique_ptr<SqliteConnect> connect = TakeIdle(folder, generation, error);
    if (!connect && error.empty()) {
        connect = SqliteConnect::Open(folder, waits_.lock, error);
        if (!connect) {
            GiveBack(nullptr, generation);
        }
    }
    return connect ? std::make_unique<Lease>(shared_from_this(), std::move(connect), generation) : nullptr;
}

// Counts the caller as a user; null without an error when a connection has to be opened.
std::unique_ptr<SqliteConnect> ConnectionPool::TakeIdle(std::string& folder, uint64_t& generation, std::string& error) {
    std::unique_lock<std::mutex> lock(mutex_);
    const bool may_go_on =
        held_by_thread > 0 || came_free_.wait_for(lock, waits_.connection, [&] { return closed_ || in_use_ < count_; });
    if (closed_) {
        error = "the plug-in's connections are closed";
        return nullptr;
    }
    if (!may_go_on) {
        error = "none of " + std::to_string(count_) + " connections came free in " +
                std::to_string(waits_.connection.count()) + " ms";
        return nullptr;
    }
    ++in_use_;
    folder = folder_;
    generation = generation_;
    if (idle_.empty()) {
        return nullptr;
    }
    std::unique_ptr<SqliteConnect> connect = std::move(idle_.back());
    idle_.pop_back();
    return connect;
}

void ConnectionPool::GiveBack(std::unique_ptr<SqliteConnect> connect, uint64_t generation) {
    if (connect) {
        connect->Clear();
        if (connect->RollbackOpenTransaction()) {
            LogSinkWrite(kLogError, kModulePlatform, "[database] %s", kOpenTransactionText);
        }
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        --in_use_;
        const bool keep =
            connect && !connect->IsBroken() && !closed_ && generation == generation_ && in_use_ + idle_.size() < count_;
        if (keep) {
            idle_.push_back(std::move(connect));
        }
    }
    came_free_.notify_one();
}

void ConnectionPool::Repoint(const std::string& folder) {
    Connections old;
    const std::lock_guard<std::mutex> lock(mutex_);
    old = RepointLocked(folder);
}

void ConnectionPool::Update(const std::string& folder, uint32_t count) {
    Connections old;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        count_ = std::max<uint32_t>(count, 1);
        if (folder != folder_) {
            old = RepointLocked(folder);
        }
    }
    came_free_.notify_all();
}

void ConnectionPool::Close() {
    Connections old;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        old = RepointLocked(folder_);
    }
    came_free_.notify_all();
}

// The caller closes what it gets after letting go of the lock.
ConnectionPool::Connections ConnectionPool::RepointLocked(const std::string& folder) {
    folder_ = folder;
    ++generation_;
    return std::exchange(idle_, Connections());
}

}  // namespace qarplatform
