#include "host/StoreOpening.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "host/SiteReading.h"

namespace qarhost {

namespace fs = std::filesystem;

namespace {

int64_t RealNowMs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace

bool MakeFolder(const std::string& dir, std::string& error) {
    std::error_code failed;
    fs::create_directories(fs::path(dir).parent_path(), failed);
    if (!failed && mkdir(dir.c_str(), S_IRWXU) != 0 && errno != EEXIST) failed.assign(errno, std::generic_category());
    if (!failed && !fs::is_directory(dir)) failed = std::make_error_code(std::errc::not_a_directory);
    if (failed) error = dir + ": " + failed.message();
    return !failed;
}

bool OpenStore(const qarplatform::SiteFile& file, qarplatform::SiteStore& store, std::string& error) {
    if (!store.Open(StorePath(file.data_dir), error)) return false;
    if (!store.Imported()) {
        const int64_t origin_ms = file.clock_origin_ms.value_or(RealNowMs());
        const bool imported = store.Import(file.site, origin_ms, file.clock_start_ms.value_or(origin_ms), error);
        // Another process may have been first.
        if (!imported && !store.Imported()) return false;
    }
    return store.ImportUsers(file.site, error);
}

}  // namespace qarhost
