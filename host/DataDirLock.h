#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace qarhost {

/// The lock that keeps a second host off a data folder: a lock on the file qarhost.lock in it, which also tells the
/// holder's process id. It ends with the process, however that ends, and is not passed on to child processes.
class DataDirLock {
public:
    DataDirLock() = default;
    ~DataDirLock();
    DataDirLock(const DataDirLock&) = delete;
    DataDirLock& operator=(const DataDirLock&) = delete;

    /// @param error  gets why not, with the folder and, where another host has it, that one's process id
    bool Take(const std::string& data_dir, std::string& error);

    /// @return the process id of the host that has the folder; 0 where it cannot be read; nothing where none has it
    static std::optional<pid_t> Holder(const std::string& data_dir);

private:
    int file_ = -1;
};

}  // namespace qarhost
