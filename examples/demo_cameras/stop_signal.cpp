#include "demo_cameras/stop_signal.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace demo {

StopSignal::StopSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
}

StopSignal::~StopSignal() { close(descriptor_); }

bool StopSignal::WaitFor(std::chrono::milliseconds time) {
    if (!came_) {
        pollfd waited{descriptor_, POLLIN, 0};
        came_ = poll(&waited, 1, static_cast<int>(time.count())) > 0;
    }
    return came_;
}

}  // namespace demo
