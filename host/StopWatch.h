#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qarhost {

/// Tells the operator what a stop waits for when it takes long, as a thread that hangs in a plug-in cannot be ended.
class StopWatch {
public:
    /// @return what still runs, each for people; called on the watch's thread
    using Look = std::function<std::vector<std::string>()>;

    /// One second more than the front gives to the requests that are under way.
    static constexpr std::chrono::seconds kFirst{6};
    static constexpr std::chrono::seconds kEach{60};

    /// The watch begins. Where no thread can be made nothing is told.
    /// @param first  real time after which the first line is told
    /// @param each   real time between two lines
    explicit StopWatch(Look look, std::chrono::milliseconds first = kFirst, std::chrono::milliseconds each = kEach);
    /// No line is told behind it.
    ~StopWatch();
    StopWatch(const StopWatch&) = delete;
    StopWatch& operator=(const StopWatch&) = delete;

    /// The stop has come to this part of the host.
    void Enter(const std::string& part);

private:
    void Watch(std::chrono::milliseconds first, std::chrono::milliseconds each);
    void TellOnce();

    const Look look_;
    std::mutex lock_;
    std::condition_variable changed_;
    // guarded by lock_
    std::string part_;
    bool over_ = false;
    std::thread thread_;
};

/// @param running  what runs; equal texts are counted, and beyond ten different ones only their number is told
/// @return the line that tells it
std::string StopText(const std::string& part, const std::vector<std::string>& running);

}  // namespace qarhost
