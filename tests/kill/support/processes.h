#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qartest {

/// The living child processes of a process, those that have ended and that nobody has asked for left out.
std::vector<pid_t> ChildrenOf(pid_t parent);

/// Whether a process has a signal blocked in its first thread.
bool Blocks(pid_t pid, int signal);

/// Makes what a process of this one leaves behind a child of this one, so that it can be found, for as long as the
/// object lives. Those that are left at its end get SIGKILL.
class Orphanage {
public:
    Orphanage();
    ~Orphanage();
    Orphanage(const Orphanage&) = delete;
    Orphanage& operator=(const Orphanage&) = delete;

    /// Takes note of those that have ended, and gives the command lines of those that live. To be called while this
    /// process has no child of its own.
    std::vector<std::string> Left() const;
};

}  // namespace qartest
