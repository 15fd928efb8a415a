#include "demo_run/host_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace demo {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Runs in the child between fork and exec: async-signal-safe calls only.
[[noreturn]] void BecomeHost(char* const* arguments, int output, int errors, pid_t parent) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(127);
    }
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    execv(arguments[0], arguments);
    _exit(127);
}

}  // namespace

HostProcess::HostProcess(const std::filesystem::path& host, const std::filesystem::path& site_file,
                         const std::filesystem::path& plugins, const std::filesystem::path& error_file) {
    std::array<std::string, 6> words{host.string(), "run", "--site", site_file.string(), "--plugins", plugins.string()};
    std::array<char*, 7> arguments{};
    std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });

    std::array<int, 2> pipe_ends{};
    if (pipe2(pipe_ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    output_ = pipe_ends[0];
    const int errors = open(error_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const pid_t parent = getpid();
    pid_ = errors < 0 ? -1 : fork();
    const int failure = errno;
    if (pid_ == 0) {
        BecomeHost(arguments.data(), pipe_ends[1], errors, parent);
    }
    close(pipe_ends[1]);
    if (errors >= 0) {
        close(errors);
    }
    if (pid_ < 0) {
        close(output_);
        throw std::system_error(failure, std::generic_category(), "cannot start " + host.string());
    }
}

HostProcess::~HostProcess() {
    Stop(std::chrono::seconds(10));
    close(output_);
}

bool HostProcess::WaitForLine(const std::string& begin, milliseconds timeout, StopSignal& stop) {
    const auto until = steady_clock::now() + timeout;
    while (steady_clock::now() < until && !stop.WaitFor(milliseconds(0))) {
        const bool more = ReadOutput(milliseconds(50));
        if (printed_.compare(0, begin.size(), begin) == 0 || printed_.find("\n" + begin) != std::string::npos) {
            return true;
        }
        if (!more && !Running()) {
            return false;
        }
    }
    return false;
}

bool HostProcess::Running() {
    ReadOutput(milliseconds(0));
    return !Reap(false);
}

std::string HostProcess::Stop(milliseconds timeout) {
    const auto until = steady_clock::now() + timeout;
    if (!Reap(false)) {
        kill(pid_, SIGTERM);
    }
    // Its end closes the pipe, so waiting for output is waiting for the end.
    while (!Reap(false) && steady_clock::now() < until) {
        if (!ReadOutput(milliseconds(50))) {
            poll(nullptr, 0, 10);
        }
    }
    if (!Reap(false)) {
        kill(pid_, SIGKILL);
        Reap(true);
        return "the host did not stop in time and was killed";
    }
    if (WIFSIGNALED(*status_)) {
        return "the host was ended by signal " + std::to_string(WTERMSIG(*status_));
    }
    return WEXITSTATUS(*status_) == 0 ? "" : "the host ended with exit code " + std::to_string(WEXITSTATUS(*status_));
}

bool HostProcess::ReadOutput(milliseconds timeout) {
    pollfd waited{output_, POLLIN, 0};
    if (poll(&waited, 1, static_cast<int>(timeout.count())) <= 0) {
        return true;
    }
    std::array<char, 4096> part{};
    const ssize_t size = read(output_, part.data(), part.size());
    if (size > 0) {
        printed_.append(part.data(), static_cast<std::size_t>(size));
    }
    return size > 0;
}

bool HostProcess::Reap(bool wait) {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, wait ? 0 : WNOHANG) == pid_) {
        status_ = status;
    }
    return status_.has_value();
}

}  // namespace demo
