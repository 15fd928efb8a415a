#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/auth/LoginGate.h"

namespace {

using namespace std::chrono_literals;
using qarplatform::LoginGate;
using qarplatform::SessionOptions;
using Outcome = LoginGate::Outcome;

class LoginGateTest : public testing::Test {
protected:
    static SessionOptions Options() {
        SessionOptions options;
        options.login_tries = 3;
        options.login_window = 60s;
        return options;
    }

    void Try(const std::string& user, const std::string& remote, Outcome outcome) {
        gate_.Begin(user, remote);
        gate_.End(user, remote, outcome, now_);
    }

    std::chrono::seconds Wait(const std::string& user, const std::string& remote) const {
        return gate_.Wait(user, remote, now_);
    }

    LoginGate gate_{Options()};
    LoginGate::TimePoint now_{std::chrono::hours(1000)};
};

TEST_F(LoginGateTest, UserIsRefusedAfterSoManyFailuresFromWherever) {
    for (const char* remote : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) {
        EXPECT_EQ(Wait("anna", remote), 0s);
        Try("anna", remote, Outcome::kWrong);
    }
    EXPECT_EQ(Wait("anna", "10.0.0.4"), 60s);
    EXPECT_EQ(Wait("bert", "10.0.0.4"), 0s);
}

TEST_F(LoginGateTest, AddressIsRefusedAfterSoManyFailuresOfWhomever) {
    for (const char* user : {"anna", "bert", "nobody"}) {
        EXPECT_EQ(Wait(user, "10.0.0.1"), 0s);
        Try(user, "10.0.0.1", Outcome::kWrong);
    }
    EXPECT_EQ(Wait("carl", "10.0.0.1"), 60s);
    EXPECT_EQ(Wait("carl", "10.0.0.2"), 0s);
}

TEST_F(LoginGateTest, RefusalEndsWhenTheFirstFailureIsAWindowAgo) {
    Try("anna", "a", Outcome::kWrong);
    now_ += 20s;
    Try("anna", "b", Outcome::kWrong);
    Try("anna", "c", Outcome::kWrong);
    EXPECT_EQ(Wait("anna", "d"), 40s);
    now_ += 39s + 1ms;
    EXPECT_EQ(Wait("anna", "d"), 1s);
    now_ += 999ms;
    EXPECT_EQ(Wait("anna", "d"), 0s);
    Try("anna", "d", Outcome::kWrong);
    EXPECT_EQ(Wait("anna", "e"), 20s);
}

TEST_F(LoginGateTest, RightPasswordForgetsTheFailuresOfTheUserAndNotOfTheAddress) {
    Try("anna", "10.0.0.1", Outcome::kWrong);
    Try("anna", "10.0.0.1", Outcome::kWrong);
    Try("anna", "10.0.0.1", Outcome::kRight);
    Try("bert", "10.0.0.1", Outcome::kWrong);
    EXPECT_EQ(Wait("anna", "10.0.0.2"), 0s);
    EXPECT_EQ(Wait("anna", "10.0.0.1"), 60s);
}

TEST_F(LoginGateTest, FaultOfTheStoreCountsForNobody) {
    for (int i = 0; i < 10; ++i) {
        Try("anna", "10.0.0.1", Outcome::kUnknown);
    }
    EXPECT_EQ(Wait("anna", "10.0.0.1"), 0s);
}

TEST_F(LoginGateTest, TriesUnderWayCountUntilTheyAreRight) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Wait("anna", "10.0.0.1"), 0s);
        gate_.Begin("anna", "10.0.0.1");
    }
    EXPECT_EQ(Wait("anna", "10.0.0.2"), 1s);
    EXPECT_EQ(Wait("bert", "10.0.0.1"), 1s);
    gate_.End("anna", "10.0.0.1", Outcome::kRight, now_);
    EXPECT_EQ(Wait("anna", "10.0.0.1"), 0s);
    gate_.End("anna", "10.0.0.1", Outcome::kWrong, now_);
    gate_.End("anna", "10.0.0.1", Outcome::kWrong, now_);
    EXPECT_EQ(Wait("anna", "10.0.0.1"), 0s);
}

TEST_F(LoginGateTest, AddressesOfOneNetworkOfIpv6CountTogether) {
    Try("a", "2001:db8:1:2::1", Outcome::kWrong);
    Try("b", "2001:db8:1:2:ffff::7", Outcome::kWrong);
    Try("c", "2001:db8:1:2:3:4:5:6", Outcome::kWrong);
    EXPECT_EQ(Wait("d", "2001:db8:1:2::99"), 60s);
    EXPECT_EQ(Wait("d", "2001:db8:1:3::1"), 0s);
}

TEST_F(LoginGateTest, Ipv4AddressesInIpv6AreToldApart) {
    for (const char* user : {"a", "b", "c"}) {
        Try(user, "::ffff:10.0.0.1", Outcome::kWrong);
    }
    EXPECT_EQ(Wait("d", "::ffff:10.0.0.1"), 60s);
    EXPECT_EQ(Wait("d", "::ffff:10.0.0.2"), 0s);
}

TEST_F(LoginGateTest, OfTooManyNamesTheOldestIsForgotten) {
    for (int i = 0; i < 3; ++i) {
        Try("oldest", "from oldest " + std::to_string(i), Outcome::kWrong);
        Try("newest", "from newest " + std::to_string(i), Outcome::kWrong);
        now_ += 1ms;
    }
    for (std::size_t i = 0; i < LoginGate::kMostNames - 2; ++i) {
        Try("user " + std::to_string(i), "from " + std::to_string(i), Outcome::kWrong);
    }
    EXPECT_NE(Wait("oldest", "x"), 0s);
    now_ += 1ms;
    Try("newest", "y", Outcome::kWrong);
    Try("one more", "z", Outcome::kWrong);
    EXPECT_EQ(Wait("oldest", "x"), 0s);
    EXPECT_NE(Wait("newest", "x"), 0s);
}

TEST_F(LoginGateTest, RefusalIsToldOnceUntilTheNextFailure) {
    for (int i = 0; i < 3; ++i) {
        Try("anna", "10.0.0.1", Outcome::kWrong);
    }
    EXPECT_TRUE(gate_.TellRefusal("anna", "10.0.0.1"));
    EXPECT_FALSE(gate_.TellRefusal("anna", "10.0.0.1"));
    EXPECT_FALSE(gate_.TellRefusal("somebody", "10.0.0.1"));
    now_ += 60s;
    Try("anna", "10.0.0.1", Outcome::kWrong);
    EXPECT_TRUE(gate_.TellRefusal("anna", "10.0.0.1"));
}

}  // namespace
