#include "integration/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace qartest {

namespace {

int OpenOutput(const std::filesystem::path& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0) throw std::system_error(errno, std::generic_category(), path.string());
    return file;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& more) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (more.count(text.substr(0, text.find('='))) == 0) all.push_back(text);
    }
    for (const auto& [name, value] : more) all.push_back(name + "=" + value);
    return all;
}

}  // namespace

ChildProcess::ChildProcess(const Launch& launch) {
    std::vector<std::string> words = launch.words;
    std::vector<std::string> environment = Environment(launch.environment);
    const std::vector<char*> arguments = Pointers(words);
    const std::vector<char*> variables = Pointers(environment);
    const int out = OpenOutput(folder_.Path() / "out");
    const int err = OpenOutput(folder_.Path() / "err");
    const pid_t parent = getpid();
    int until_exec[2];
    if (pipe2(until_exec, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent || dup2(out, STDOUT_FILENO) < 0 || dup2(err, STDERR_FILENO) < 0) _exit(126);
        if (launch.user != 0 && (setgid(launch.user) != 0 || setuid(launch.user) != 0)) _exit(126);
        execve(arguments.front(), arguments.data(), variables.data());
        _exit(127);
    }
    const int error = errno;
    close(out);
    close(err);
    close(until_exec[1]);
    // As long as it is a copy of this process, a socket that this one closes stays open.
    char nothing = 0;
    while (read(until_exec[0], &nothing, 1) < 0 && errno == EINTR) {
    }
    close(until_exec[0]);
    if (pid_ < 0) throw std::system_error(error, std::generic_category(), "fork");
}

ChildProcess::~ChildProcess() {
    if (!Running()) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

bool ChildProcess::Running() {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) status_ = status;
    return !status_;
}

void ChildProcess::Signal(int signal) {
    if (Running()) kill(pid_, signal);
}

std::optional<int> ChildProcess::WaitForEnd(std::chrono::milliseconds deadline) {
    if (!Eventually([this] { return !Running(); }, deadline)) return std::nullopt;
    return WIFSIGNALED(*status_) ? -WTERMSIG(*status_) : WEXITSTATUS(*status_);
}

std::string ChildProcess::Out() const { return ReadText(folder_.Path() / "out"); }

std::string ChildProcess::Err() const { return ReadText(folder_.Path() / "err"); }

bool ChildProcess::WaitForOut(const std::string& text, std::chrono::milliseconds deadline) {
    const auto written = [&] { return Out().find(text) != std::string::npos; };
    return Eventually([&] { return written() || !Running(); }, deadline) && written();
}

Ended RunToEnd(const Launch& launch) {
    ChildProcess process(launch);
    const auto exit_code = process.WaitForEnd();
    return {exit_code, process.Out(), process.Err()};
}

}  // namespace qartest
