#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>

namespace qartest {

/// What the state history's tasks are at.
struct Activity {
    std::atomic<int> sweeps_begun;  ///< over all cameras
    std::atomic<int> sweeps_ended;
    std::atomic<int> events;  ///< of devices, handled
};

/// An Activity in a file that a host writes and a test reads meanwhile.
class SharedActivity {
public:
    /// A file that is missing is made, with zeros in it.
    explicit SharedActivity(const std::string& file) {
        const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        void* memory = MAP_FAILED;
        if (fd >= 0 && ftruncate(fd, sizeof(Activity)) == 0) {
            memory = mmap(nullptr, sizeof(Activity), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        }
        const int error = errno;
        if (fd >= 0) close(fd);
        if (memory == MAP_FAILED) throw std::system_error(error, std::generic_category(), file);
        activity_ = static_cast<Activity*>(memory);
    }
    ~SharedActivity() { munmap(activity_, sizeof(Activity)); }
    SharedActivity(const SharedActivity&) = delete;
    SharedActivity& operator=(const SharedActivity&) = delete;

    Activity* operator->() const { return activity_; }

private:
    Activity* activity_;
};

}  // namespace qartest
