#include "soak/process_watch.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "integration/support/eventually.h"
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
    std::promise<void> end;
    std::promise<void> end_of_first;
    std::thread first([&] { end_of_first.get_future().wait(); });  // a sanitizer makes one of its own beside the first
    const auto before = Looks(2);
    std::thread thread([&] { end.get_future().wait(); });
    EXPECT_EQ(before.threads + 1, Looks(2).threads);
    end.set_value();
    thread.join();
    // the system may list a thread for a moment after it was joined
    EXPECT_TRUE(qartest::Eventually([&] { return Looks(2).threads == before.threads; }));
    end_of_first.set_value();
    first.join();
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
