#include "soak/process_watch.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "integration/support/temp_folder.h"

namespace soak {
namespace {

// It watches the test's own process.
class ProcessWatchTest : public testing::Test {
protected:
    ResourceSample Looks(int count) {
        for (int i = 0; i < count; ++i) watch_.Look();
        return watch_.EndStretch().value_or(ResourceSample{});
    }

    ProcessWatch watch_{getpid()};
};

TEST_F(ProcessWatchTest, DescriptorLeftOpenShows) {
    const auto before = Looks(2);
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    EXPECT_EQ(before.descriptors + 2, Looks(2).descriptors);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(before.descriptors, Looks(2).descriptors);
}

TEST_F(ProcessWatchTest, DescriptorThatIsNotOpenAllTheTimeDoesNotShow) {
    const auto before = Looks(2);
    std::array<int, 2> ends{};
    ASSERT_EQ(0, pipe(ends.data()));
    watch_.Look();
    close(ends[0]);
    close(ends[1]);
    ASSERT_EQ(0, pipe(ends.data()));  // the same numbers, another pipe
    EXPECT_EQ(before.descriptors, Looks(1).descriptors);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ProcessWatchTest, DescriptorsOfTheDatabaseAreCountedApart) {
    const qartest::TempFolder folder;
    const auto before = Looks(1);
    const std::ofstream inside(folder.Path() / "a.db");
    ProcessWatch watch(getpid(), folder.Path());
    watch.Look();
    const auto sample = watch.EndStretch();
    ASSERT_TRUE(sample);
    EXPECT_EQ(1U, sample->database_descriptors);
    EXPECT_EQ(before.descriptors, sample->descriptors);
    EXPECT_EQ(before.descriptors + 1, Looks(1).descriptors);
}

TEST_F(ProcessWatchTest, ThreadThatStaysShows) {
    const auto before = Looks(2);
    std::mutex lock;
    std::condition_variable changed;
    bool end = false;
    std::thread thread([&] {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return end; });
    });
    EXPECT_EQ(before.threads + 1, Looks(2).threads);
    {
        const std::lock_guard<std::mutex> guard(lock);
        end = true;
    }
    changed.notify_all();
    thread.join();
    EXPECT_EQ(before.threads, Looks(2).threads);
}

TEST_F(ProcessWatchTest, MemoryIsTheLeastThatWasSeen) {
    constexpr std::int64_t kMuchKib = 65536;
    const auto before = Looks(1);
    // mapped, as what a sanitizer's heap gets back stays in memory
    constexpr std::size_t kBytes = static_cast<std::size_t>(kMuchKib) * 1024;
    void* const much = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(much, MAP_FAILED);
    std::memset(much, 'x', kBytes);
    EXPECT_GT(Looks(1).memory_kib, before.memory_kib + kMuchKib / 2);
    watch_.Look();
    munmap(much, kBytes);
    EXPECT_LT(Looks(1).memory_kib, before.memory_kib + kMuchKib / 2);
}

TEST_F(ProcessWatchTest, StretchWithoutALookGivesNothing) { EXPECT_FALSE(watch_.EndStretch()); }

TEST_F(ProcessWatchTest, ProcessThatIsGoneIsTold) {
    EXPECT_THROW(ProcessWatch(pid_t{0x7ffffff0}).Look(), std::runtime_error);
}

}  // namespace
}  // namespace soak
