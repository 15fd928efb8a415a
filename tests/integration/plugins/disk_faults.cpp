// No plug-in: put before the C library with LD_PRELOAD, it gives the files below the folder $DISK_FAULT_DIR a faulty
// disk: a full one as long as the file $DISK_FULL_SWITCH exists, one that is mounted for reading as long as the file
// $DISK_READONLY_SWITCH does.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

bool IsOn(const char* variable) {
    const char* file = std::getenv(variable);
    return file != nullptr && access(file, F_OK) == 0;
}

bool IsFaulty(const char* path) {
    const char* folder = std::getenv("DISK_FAULT_DIR");
    return folder != nullptr && std::strncmp(path, folder, std::strlen(folder)) == 0;
}

bool Full(int file) {
    if (!IsOn("DISK_FULL_SWITCH")) return false;
    char link[64] = "/proc/self/fd/";
    char digits[16];
    int count = 0;
    for (int rest = file; rest > 0 || count == 0; rest /= 10) digits[count++] = static_cast<char>('0' + rest % 10);
    char* end = link + std::strlen(link);
    while (count > 0) *end++ = digits[--count];
    *end = '\0';
    char path[4096];
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length <= 0) return false;
    path[length] = '\0';
    return IsFaulty(path);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t pwrite64(int file, const void* data, size_t size,
                                                                   off64_t offset) {
    using Function = ssize_t (*)(int, const void*, size_t, off64_t);
    static Function const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pwrite64"));
    if (Full(file)) {
        errno = ENOSPC;
        return -1;
    }
    return next(file, data, size, offset);
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int file, const void* data, size_t size) {
    using Function = ssize_t (*)(int, const void*, size_t);
    static Function const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "write"));
    if (Full(file)) {
        errno = ENOSPC;
        return -1;
    }
    return next(file, data, size);
}

extern "C" __attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
    using Function = int (*)(const char*, int, mode_t);
    static Function const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "open64"));
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if ((flags & O_ACCMODE) != O_RDONLY && IsFaulty(path) && IsOn("DISK_READONLY_SWITCH")) {
        errno = EROFS;
        return -1;
    }
    return next(path, flags, mode);
}
