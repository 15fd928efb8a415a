#include <gtest/gtest.h>

#include <fstream>

#include "demo_run/fetched_file.h"
#include "tests/standalone/demo/demo_temporary_folder.h"

namespace demo {
namespace {

class DemoFetchedFileTest : public testing::Test {
protected:
    std::string Compare(const std::string& bytes, std::int64_t begin, std::int64_t end) const {
        std::ofstream(File(), std::ios::binary) << bytes;
        return CompareWithRecording(File(), recording_, begin, end);
    }

    std::filesystem::path File() const { return folder_.Path() / "fetched.bin"; }

    const TemporaryFolder folder_;
    const Recording recording_{1, 101};
};

TEST_F(DemoFetchedFileTest, TheRecordedBytesAreEqual) {
    EXPECT_EQ(Compare(recording_.Bytes(1000, 200000), 1000, 200000), "");
    EXPECT_EQ(Compare("", 1000, 1000), "");
}

TEST_F(DemoFetchedFileTest, AMissingEndIsFound) {
    EXPECT_EQ(Compare(recording_.Bytes(1000, 1099), 1000, 1100), "has 396 bytes instead of 400");
}

TEST_F(DemoFetchedFileTest, AWrongSecondIsFoundAndNamed) {
    std::string bytes = recording_.Bytes(1000, 200000);
    bytes[4 * 150000 + 3] = static_cast<char>(bytes[4 * 150000 + 3] + 1);
    EXPECT_EQ(Compare(bytes, 1000, 200000), "differs from the recording at second 151000");
}

TEST_F(DemoFetchedFileTest, TheSecondsOfAnotherStretchAreWrong) {
    EXPECT_EQ(Compare(recording_.Bytes(1001, 1101), 1000, 1100), "differs from the recording at second 1000");
}

TEST_F(DemoFetchedFileTest, AMissingFileIsTold) {
    EXPECT_EQ(CompareWithRecording(File(), recording_, 0, 1), "cannot be read: No such file or directory");
}

TEST_F(DemoFetchedFileTest, WholeFilesAreListedWithTheSecondsInTheirNames) {
    const std::filesystem::path folder = folder_.Path() / "camera_101" / "busi_1";
    std::filesystem::create_directories(folder);
    for (const char* name : {"2000-3000.bin", "1000-2000.bin", "1000-1500.bin.part", "x-1.bin", "5-.bin", "12.bin"}) {
        std::ofstream(folder / name) << "x";
    }
    const auto files = FetchedFiles(folder_.Path(), 101, 1);
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].path, folder / "1000-2000.bin");
    EXPECT_EQ(files[0].begin, 1000);
    EXPECT_EQ(files[1].end, 3000);
    EXPECT_TRUE(FetchedFiles(folder_.Path(), 102, 1).empty());
}

}  // namespace
}  // namespace demo
