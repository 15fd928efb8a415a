#include "standalone/http/BodySpool.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace qarplatform {

BodySpool::~BodySpool() { Close(); }

int BodySpool::Open(const std::string& folder) {
    fd_ = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd_ >= 0) {
        return 0;
    }
    if (errno != EOPNOTSUPP && errno != EISDIR) {
        return errno;
    }
    // A file system without nameless files.
    std::string name = folder + "/body-XXXXXX";
    fd_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd_ < 0 || ::unlink(name.c_str()) != 0) {
        return errno;
    }
    return 0;
}

int BodySpool::Append(std::string_view data) {
    while (!data.empty()) {
        const ssize_t written = ::write(fd_, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        size_ += static_cast<std::size_t>(written);
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

std::shared_ptr<const void> BodySpool::Map(std::string_view& body, int& error) {
    void* const memory = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd_, 0);
    if (memory == MAP_FAILED) {
        error = errno;
        return nullptr;
    }
    Close();
    body = {static_cast<const char*>(memory), size_};
    return {memory, [size = size_](const void* mapped) { ::munmap(const_cast<void*>(mapped), size); }};
}

void BodySpool::Close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace qarplatform
