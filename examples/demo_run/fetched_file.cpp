#include "demo_run/fetched_file.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <string_view>
#include <tuple>

namespace demo {

namespace {

/// Reads "<begin>-<end>.bin".
bool ReadName(const std::string& name, FetchedFile& file) {
    const char* const last = name.data() + name.size();
    const auto [dash, begin_error] = std::from_chars(name.data(), last, file.begin);
    if (begin_error != std::errc() || dash == last || *dash != '-') {
        return false;
    }
    const auto [dot, end_error] = std::from_chars(dash + 1, last, file.end);
    return end_error == std::errc() && std::string_view(dot, static_cast<std::size_t>(last - dot)) == ".bin";
}

}  // namespace

std::vector<FetchedFile> FetchedFiles(const std::filesystem::path& out_dir, int camera, int busi) {
    const std::filesystem::path folder =
        out_dir / ("camera_" + std::to_string(camera)) / ("busi_" + std::to_string(busi));
    std::vector<FetchedFile> files;
    std::error_code no_folder;
    for (const auto& entry : std::filesystem::directory_iterator(folder, no_folder)) {
        FetchedFile file{entry.path()};
        if (ReadName(entry.path().filename().string(), file)) {
            files.push_back(std::move(file));
        }
    }
    std::sort(files.begin(), files.end(), [](const FetchedFile& a, const FetchedFile& b) {
        return std::tie(a.begin, a.end) < std::tie(b.begin, b.end);
    });
    return files;
}

std::string CompareWithRecording(const std::filesystem::path& file, const Recording& recording, std::int64_t begin,
                                 std::int64_t end) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error) {
        return "cannot be read: " + error.message();
    }
    const auto expected =
        static_cast<std::uintmax_t>(std::max<std::int64_t>(end - begin, 0) * Recording::kBytesPerSecond);
    if (size != expected) {
        return "has " + std::to_string(size) + " bytes instead of " + std::to_string(expected);
    }
    constexpr std::int64_t kChunkS = 65536;
    std::ifstream in(file, std::ios::binary);
    for (std::int64_t from = begin; from < end; from += kChunkS) {
        const std::string recorded = recording.Bytes(from, std::min(from + kChunkS, end));
        std::string fetched(recorded.size(), '\0');
        if (!in.read(fetched.data(), static_cast<std::streamsize>(fetched.size()))) {
            return "cannot be read to its end";
        }
        const auto [a, b] = std::mismatch(recorded.begin(), recorded.end(), fetched.begin());
        if (a != recorded.end()) {
            return "differs from the recording at second " +
                   std::to_string(from + (a - recorded.begin()) / Recording::kBytesPerSecond);
        }
    }
    return "";
}

}  // namespace demo
