#include "host/StopSignal.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/ExitCode.h"

namespace qarhost {

namespace {

void EndAtOnce() {
    constexpr std::string_view kText = "qarhost: second signal, ending at once\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kText.data(), kText.size());
    _exit(kExitFailure);
}

}  // namespace

StopSignal::StopSignal(Now now) : now_(std::move(now)) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    signals_ = signalfd(-1, &set, SFD_CLOEXEC);
    end_ = eventfd(0, EFD_CLOEXEC);
    if (signals_ < 0 || end_ < 0) throw std::system_error(errno, std::generic_category(), "cannot wait for signals");
    thread_ = std::thread([this] { Take(); });
}

StopSignal::~StopSignal() {
    eventfd_write(end_, 1);
    thread_.join();
    close(signals_);
    close(end_);
}

void StopSignal::Wait() {
    std::unique_lock lock(lock_);
    changed_.wait(lock, [this] { return asked_.load(); });
}

void StopSignal::Take() {
    std::array<pollfd, 2> files{{{signals_, POLLIN, 0}, {end_, POLLIN, 0}}};
    std::chrono::steady_clock::time_point first;
    while (true) {
        if (poll(files.data(), files.size(), -1) < 0) continue;
        if (files[1].revents != 0) return;
        signalfd_siginfo info{};
        if (read(signals_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) continue;
        const auto moment = now_();
        if (asked_) {
            if (moment - first >= kPatience) EndAtOnce();
            continue;
        }
        first = moment;
        const std::lock_guard guard(lock_);
        asked_ = true;
        changed_.notify_all();
    }
}

}  // namespace qarhost
