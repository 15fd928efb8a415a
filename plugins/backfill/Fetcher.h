#pragma once

#include <string>

#include "ChildProcess.h"
#include "Config.h"
#include "RangeQueue.h"

namespace backfill {

/// Where a camera's own storage is reached.
struct CameraSource {
    std::string archive;  ///< URL of the device's storage
    std::string address;  ///< host of the device
    unsigned int port = 0;
};

struct FetchResult {
    bool success = false;
    std::string error;  ///< why not
    std::string file;   ///< what was fetched, in place
    long long bytes = 0;
};

/// Fetches ranges by running the configured command.
class Fetcher {
public:
    explicit Fetcher(const Config& config) : config_(config) {}

    /// Runs the command for a range and puts what it wrote in place:
    /// <out_dir>/camera_<id>/busi_<n>/<begin>-<end>.bin, seconds UTC of the device's clock. The file is on the disk
    /// when this returns with success; before, it has another name, and
    /// is removed where the fetch fails. Threads: any. Blocks until the command ends, its
    /// time is over or `stop` is set.
    FetchResult Fetch(const RangeQueue::Job& job, const CameraSource& source, const StopEvent& stop) const;

    /// @return the command for a range
    static std::vector<std::string> Command(const std::vector<std::string>& pattern, const RangeQueue::Job& job,
                                            const CameraSource& source, const std::string& out);

private:
    static void PutInPlace(const std::string& folder, const std::string& part, FetchResult& result);

    const Config& config_;
};

}  // namespace backfill
