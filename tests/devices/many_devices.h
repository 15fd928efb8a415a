#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>  // before Asio: its coroutine header lacks it
#include <vector>

#include "demo_cameras/io_thread.h"

namespace qartest {

/// What a device does when it is asked.
enum class Behaviour {
    kAnswers,          ///< as it should
    kRedirects,        ///< answers with a redirection, which is an answer
    kEndlessBody,      ///< sends a body without end behind a good head
    kWrongDate,        ///< answers with a date of 1970, or with one that is none
    kSilent,           ///< accepts and never answers
    kDrips,            ///< answers a byte at a time, too slowly
    kNeverEnds,        ///< sends half of its answer and then nothing
    kEndlessHeaders,   ///< sends headers without end
    kResets,           ///< cuts each connection at once
    kClosesMidAnswer,  ///< sends half of its answer and closes
    kRubbish,          ///< sends bytes that are no answer
    kNuls,             ///< sends bytes of value 0
    kBlackhole,        ///< takes no connection, its queue is full
};

constexpr bool CountsAsOnline(Behaviour behaviour) { return behaviour <= Behaviour::kWrongDate; }

/// Whether a probe of such a device lasts until it runs into its time-out.
constexpr bool Hangs(Behaviour behaviour) {
    return behaviour == Behaviour::kSilent || behaviour == Behaviour::kDrips || behaviour == Behaviour::kNeverEnds ||
           behaviour == Behaviour::kBlackhole;
}

/// Thousands of devices, numbered from 1, each at a loopback address of its own. Two listeners, on ports of the
/// kernel's choice, stand for all of them: the address that a connection was made to tells which device it is.
/// Eight of twenty devices answer as they should. Threads: any.
class ManyDevices {
public:
    /// @param clock_s  the devices' clock, in seconds since 1970 UTC; called on the devices' thread
    /// @param drip     real time between two bytes of a device that drips
    ManyDevices(int count, std::function<std::int64_t()> clock_s, std::chrono::milliseconds drip);
    ~ManyDevices();
    ManyDevices(const ManyDevices&) = delete;
    ManyDevices& operator=(const ManyDevices&) = delete;

    int Count() const { return count_; }
    static Behaviour BehaviourOf(int device);
    /// Where a device is asked, by HTTP, RTSP or a mere connect.
    std::string Probe(int device) const;

    /// While a device is away it cuts each connection at once.
    void SetAway(const std::vector<int>& devices, bool away);

    /// How often a device was connected to. Nobody knows of those that take no connection.
    int Asked(int device) const;
    /// How often each of some devices was, on average.
    double TurnsOf(const std::vector<int>& devices) const;

    /// The most connections that were open on both ends at one time. Those to devices that take none do not count.
    std::size_t MostOpen() const;

private:
    class Session;

    void Accept();
    void OnConnection(boost::asio::ip::tcp::socket socket);
    std::size_t CountOpen() const;
    std::string Answer(int device, bool http) const;
    static bool AsksByHttp(int device);

    const int count_;
    const std::function<std::int64_t()> clock_s_;
    const std::chrono::milliseconds drip_;
    mutable demo::IoThread io_;

    // on the thread of io_
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::ip::tcp::acceptor blackhole_;
    boost::asio::ip::tcp::socket in_the_blackholes_queue_;
    std::shared_ptr<bool> open_;  // an accept that outlives it must not touch this object
    std::set<std::shared_ptr<Session>> sessions_;
    std::vector<int> asked_;
    std::vector<char> away_;
    std::size_t most_open_ = 0;

    std::uint16_t port_ = 0;
    std::uint16_t blackhole_port_ = 0;
};

}  // namespace qartest
