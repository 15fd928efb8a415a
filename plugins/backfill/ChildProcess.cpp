#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

extern char** environ;

namespace backfill {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kKeptOutput = 300;

std::string ErrnoText(const char* what, int code) { return std::string(what) + ": " + std::strerror(code); }

/// A descriptor, closed at the end.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return fd_; }
    void Close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};

/// @return 0, or an error number
int Spawn(const std::vector<std::string>& argv, int output, pid_t& pid) {
    std::vector<char*> arguments;
    arguments.reserve(argv.size() + 1);
    for (const std::string& argument : argv) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

    // the host blocks signals and ignores SIGPIPE; a program expects neither
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

    const int code = posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return code;
}

std::string ExitText(const siginfo_t& info) {
    if (info.si_code == CLD_EXITED) return "ended with code " + std::to_string(info.si_status);
    return "was ended by signal " + std::to_string(info.si_status);
}

/// @return how many bytes at `at` make a UTF-8 character; 0 for none
std::size_t CharacterSize(const std::string& text, std::size_t at) {
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    const std::size_t size = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
    if (at + size > text.size()) return 0;
    for (std::size_t i = at + 1; i < at + size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return size;
}

/// What a program printed, as one line of UTF-8.
std::string OneLine(const std::string& text) {
    std::string line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = CharacterSize(text, at);
        if (size > 1) {
            line.append(text, at, size);
        } else if (size == 1) {
            line += text[at] < ' ' || text[at] == '\x7f' ? ' ' : text[at];
        } else if (line.empty() || line.back() != '?') {
            line += '?';
        }
        at += std::max<std::size_t>(size, 1);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

/// Keeps the last of what the child prints.
void ReadOutput(int fd, std::string& kept, bool& open) {
    std::array<char, 4096> buffer{};
    const ssize_t got = ::read(fd, buffer.data(), buffer.size());
    if (got > 0) {
        kept.append(buffer.data(), static_cast<std::size_t>(got));
        if (kept.size() > kKeptOutput) kept.erase(0, kept.size() - kKeptOutput);
    } else if (got == 0 || errno != EINTR) {
        open = false;
    }
}

}  // namespace

StopEvent::StopEvent() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "cannot make an event");
}

StopEvent::~StopEvent() { ::close(fd_); }

void StopEvent::Set() {
    const uint64_t one = 1;
    while (::write(fd_, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

ChildResult RunChild(const std::vector<std::string>& argv, std::chrono::milliseconds timeout, const StopEvent& stop) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {false, ErrnoText("cannot make a pipe", errno)};
    Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    pid_t pid = 0;
    if (const int code = Spawn(argv, writing.Get(), pid); code != 0) {
        return {false, ErrnoText(("cannot run " + argv[0]).c_str(), code)};
    }
    writing.Close();
    ::fcntl(reading.Get(), F_SETFL, O_NONBLOCK);
    const Descriptor child(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));

    const Clock::time_point deadline = Clock::now() + timeout;
    std::string output;
    std::string killed_for = child.Get() < 0 ? ErrnoText("cannot be watched", errno) : "";
    bool output_open = true;
    for (bool ended = child.Get() < 0; !ended;) {
        std::array<pollfd, 3> polled = {pollfd{child.Get(), POLLIN, 0},
                                        pollfd{output_open ? reading.Get() : -1, POLLIN, 0},
                                        pollfd{killed_for.empty() ? stop.Fd() : -1, POLLIN, 0}};
        int wait_ms = -1;
        if (killed_for.empty()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            wait_ms = static_cast<int>(std::clamp<long long>(left, 0, 1000000));
        }
        const int ready = ::poll(polled.data(), polled.size(), wait_ms);
        if (ready < 0 && errno != EINTR) killed_for = ErrnoText("cannot wait for it", errno);
        if (killed_for.empty()) {
            if (ready > 0 && polled[2].revents != 0) killed_for = "was stopped";
            if (Clock::now() >= deadline) killed_for = "took longer than " + std::to_string(timeout.count()) + " ms";
        }
        if (!killed_for.empty()) ::kill(-pid, SIGKILL);
        if (ready > 0 && polled[1].revents != 0) ReadOutput(reading.Get(), output, output_open);
        ended = (ready > 0 && polled[0].revents != 0) || (ready < 0 && !killed_for.empty());
    }
    // what it left in its group must not go on writing
    ::kill(-pid, SIGKILL);
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED) != 0 && errno == EINTR) {
    }
    while (output_open && killed_for.empty()) ReadOutput(reading.Get(), output, output_open);

    if (killed_for.empty() && info.si_code == CLD_EXITED && info.si_status == 0) return {true, ""};
    std::string error = argv[0] + " " + (killed_for.empty() ? ExitText(info) : killed_for);
    const std::string printed = OneLine(output);
    if (!printed.empty()) error += ": " + printed;
    return {false, error};
}

}  // namespace backfill
