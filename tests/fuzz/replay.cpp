// Runs a fuzz target over the files of the folders given, for builds without libFuzzer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

int main(int count, char** folders) {
    int inputs = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folders[i])) {
            if (!entry.is_regular_file()) {
                continue;
            }
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);  // the last line names the input that crashes
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++inputs;
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs == 0 ? 1 : 0;
}
