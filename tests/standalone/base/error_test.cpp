#include "Mox/Base/Error.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using Mox::Base::Error;

TEST(ErrorTest, ThreadThatNeverFailedHasZeroes) { EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(0, 0)); }

TEST(ErrorTest, LastErrorIsWhatWasSetLast) {
    Error::SetLastError(Error::ErrorCode(1, 2));
    Error::SetLastError(Error::ErrorCode(3, 40945));
    EXPECT_EQ(Error::GetLastError().GetModule(), 3);
    EXPECT_EQ(Error::GetLastError().GetCode(), 40945);
}

TEST(ErrorTest, ThreadsDoNotSeeEachOthersErrors) {
    Error::SetLastError(Error::ErrorCode(1, 2));
    Error::ErrorCode seen_at_start(9, 9);
    std::thread([&] {
        seen_at_start = Error::GetLastError();
        Error::SetLastError(Error::ErrorCode(5, 6));
    }).join();
    EXPECT_EQ(seen_at_start, Error::ErrorCode(0, 0));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(1, 2));
}

}  // namespace
