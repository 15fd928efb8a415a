#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "demo_cameras/recording.h"

namespace demo {

/// Compares a fetched file with what the camera recorded in [begin, end), second by second.
/// @return "" where they are equal, else what is wrong
std::string CompareWithRecording(const std::filesystem::path& file, const Recording& recording, std::int64_t begin,
                                 std::int64_t end);

/// Seconds [begin, end) whose bytes a fetched file holds, as its name "<begin>-<end>.bin" says.
struct FetchedFile {
    std::filesystem::path path;
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

/// The whole files that `backfill` wrote for a camera and business type below its output folder, in the order of their
/// begin. Files of another name, such as those not yet whole, are left out.
std::vector<FetchedFile> FetchedFiles(const std::filesystem::path& out_dir, int camera, int busi);

}  // namespace demo
