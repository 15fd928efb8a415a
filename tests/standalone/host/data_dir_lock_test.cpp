#include <gtest/gtest.h>
#include <unistd.h>

#include "host/DataDirLock.h"
#include "integration/support/temp_folder.h"

namespace qarhost {
namespace {

class DataDirLockTest : public testing::Test {
protected:
    qartest::TempFolder folder_;
    const std::string dir_ = folder_.Path().string();
    std::string error_;
};

TEST_F(DataDirLockTest, NobodyHoldsAFreshFolder) { EXPECT_FALSE(DataDirLock::Holder(dir_)); }

TEST_F(DataDirLockTest, HolderIsKnownByItsProcessId) {
    DataDirLock lock;
    ASSERT_TRUE(lock.Take(dir_, error_)) << error_;
    EXPECT_EQ(getpid(), DataDirLock::Holder(dir_));
}

TEST_F(DataDirLockTest, SecondTakerIsToldWhoHasTheFolder) {
    DataDirLock first;
    ASSERT_TRUE(first.Take(dir_, error_)) << error_;
    DataDirLock second;
    EXPECT_FALSE(second.Take(dir_, error_));
    EXPECT_EQ("another host (pid " + std::to_string(getpid()) + ") runs on " + dir_, error_);
}

TEST_F(DataDirLockTest, FolderIsFreeAgainWithItsHolderGone) {
    {
        DataDirLock first;
        ASSERT_TRUE(first.Take(dir_, error_)) << error_;
    }
    EXPECT_FALSE(DataDirLock::Holder(dir_));
    DataDirLock second;
    EXPECT_TRUE(second.Take(dir_, error_)) << error_;
}

TEST_F(DataDirLockTest, FolderThatIsNotThereIsToldWithItsPath) {
    DataDirLock lock;
    EXPECT_FALSE(lock.Take(dir_ + "/none", error_));
    EXPECT_NE(std::string::npos, error_.find(dir_ + "/none/qarhost.lock")) << error_;
}

}  // namespace
}  // namespace qarhost
