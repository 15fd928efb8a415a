#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "standalone/http/raw_client.h"

namespace qartest {

/// Clients that mean harm to a front, each kind on a thread of its own, until Stop.
class Attackers {
public:
    struct Kind {
        std::string name;
        std::uint64_t rounds = 0;
    };

    /// @param cookie  header line of a user's session
    Attackers(std::uint16_t port, std::string cookie, std::size_t idle);
    ~Attackers();
    Attackers(const Attackers&) = delete;
    Attackers& operator=(const Attackers&) = delete;

    /// @return whether each kind but the idle one, whose round is all its connections, has done so many rounds
    bool HaveDone(std::uint64_t rounds) const;
    /// Once.
    void Stop();

    /// How many connections the idle client has opened, those that the server ended included.
    std::uint64_t IdleOpened() const { return idle_opened_; }
    std::vector<Kind> Kinds() const;
    /// Answers to requests that no server may serve, by what was wrong with them. Behind Stop.
    std::vector<std::string> Wrong() const { return wrong_; }

private:
    struct Running {
        std::string name;
        std::atomic<std::uint64_t> rounds{0};
        std::thread thread;
    };

    void Run(const std::string& name, std::function<void(std::uint64_t round)> attack);
    bool Pause(int ms);

    std::unique_ptr<http_test::RawClient> Connect() const;
    /// Sends what must be refused, and reads to the end.
    void SendBad(const std::string& bytes);
    void StayIdle(std::vector<std::unique_ptr<http_test::RawClient>>& clients);
    void SendSlowly(std::vector<std::unique_ptr<http_test::RawClient>>& clients) const;
    void SendLine(std::uint64_t round);
    void SendHeaders(std::uint64_t round);
    void CutBody(std::uint64_t round) const;
    void TryPath(std::uint64_t round);
    void SendFrame(std::uint64_t round);

    const std::uint16_t port_;
    const std::string cookie_;
    std::atomic<std::uint64_t> idle_opened_{0};

    mutable std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;               // guarded by mutex_
    std::vector<std::string> wrong_;  // guarded by mutex_ while the threads run

    std::vector<std::unique_ptr<Running>> running_;
};

}  // namespace qartest
