#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/PlatformUnderTest.h"

namespace platform_tests {

/// Makes an object that lives as long as the process, for user data of callbacks: one may be on its way at the end.
template <class T>
T& MakeForever() {
    static std::vector<std::unique_ptr<T>>& all = *new std::vector<std::unique_ptr<T>>;
    all.push_back(std::make_unique<T>());
    return *all.back();
}

/// Base of the suite's fixtures.
class PlatformTest : public ::testing::Test {
protected:
    bool WaitUntil(const std::function<bool()>& done) { return platform_->WaitUntil(done); }

    std::unique_ptr<PlatformUnderTest> platform_ = PlatformUnderTest::Make();
};

}  // namespace platform_tests
