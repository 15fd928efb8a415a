#include "kill/support/processes.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "integration/support/temp_folder.h"

namespace qartest {

namespace {

namespace fs = std::filesystem;

bool IsNumber(const std::string& name) { return std::all_of(name.begin(), name.end(), ::isdigit); }

void Reap() {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

}  // namespace

std::vector<pid_t> ChildrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        if (!IsNumber(entry.path().filename().string())) continue;
        const std::string stat = ReadText(entry.path() / "stat");
        const std::size_t name_end = stat.rfind(')');
        if (name_end == std::string::npos) continue;  // it has just gone
        std::istringstream fields(stat.substr(name_end + 1));
        char state = ' ';
        pid_t its_parent = 0;
        fields >> state >> its_parent;
        if (its_parent == parent && state != 'Z') children.push_back(std::stoi(entry.path().filename().string()));
    }
    return children;
}

bool Blocks(pid_t pid, int signal) {
    const std::string status = ReadText("/proc/" + std::to_string(pid) + "/status");
    const std::string key = "SigBlk:";
    const std::size_t at = status.find(key);
    if (at == std::string::npos) return false;
    return (std::stoull(status.substr(at + key.size()), nullptr, 16) >> (signal - 1) & 1) != 0;
}

Orphanage::Orphanage() {
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) throw std::system_error(errno, std::generic_category(), "prctl");
}

Orphanage::~Orphanage() {
    // the end of one can bring its children
    for (auto pids = ChildrenOf(getpid()); !pids.empty(); pids = ChildrenOf(getpid())) {
        for (const pid_t pid : pids) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    Reap();
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

std::vector<std::string> Orphanage::Left() const {
    std::vector<std::string> left;
    for (const pid_t pid : ChildrenOf(getpid())) {
        std::string words = ReadText("/proc/" + std::to_string(pid) + "/cmdline");
        std::replace(words.begin(), words.end(), '\0', ' ');
        left.push_back(std::to_string(pid) + ": " + words);
    }
    Reap();
    return left;
}

}  // namespace qartest
