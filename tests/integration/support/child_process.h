#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "integration/support/eventually.h"
#include "integration/support/temp_folder.h"

namespace qartest {

/// How to start a process.
struct Launch {
    std::vector<std::string> words;                  ///< program and arguments
    std::map<std::string, std::string> environment;  ///< set besides what this process has
    uid_t user = 0;                                  ///< other than 0: the process runs as this user
};

/// A child process whose output is kept. It gets SIGKILL with the object, and with this process.
class ChildProcess {
public:
    /// Gives control back once the program runs, or cannot be run.
    explicit ChildProcess(const Launch& launch);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }
    bool Running();

    void Signal(int signal);

    /// Waits for its end.
    /// @return its exit code, -N where signal N ended it; nothing where it still runs after the deadline
    std::optional<int> WaitForEnd(std::chrono::milliseconds deadline = kDeadline);

    /// What it has written so far.
    std::string Out() const;
    std::string Err() const;

    /// Waits until what it has written to standard output holds a text. @return false also when it ended without
    bool WaitForOut(const std::string& text, std::chrono::milliseconds deadline = kDeadline);

private:
    TempFolder folder_;
    pid_t pid_ = -1;
    std::optional<int> status_;  // of waitpid, once it has ended
};

/// What a process left that ran to its end.
struct Ended {
    std::optional<int> exit_code;
    std::string out;
    std::string err;
};

Ended RunToEnd(const Launch& launch);

}  // namespace qartest
