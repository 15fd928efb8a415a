#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/auth/SessionTable.h"

namespace {

using namespace std::chrono_literals;
using qarplatform::Session;
using qarplatform::SessionTable;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using namespace ZELPlatform::InterfaceCommonData::UserSession;

class SessionTableTest : public testing::Test {
protected:
    void Add(const std::string& id, int64_t number, unsigned int user, ClientType client_type = kClientTypeWeb) {
        table_.Add({id, user, "user", client_type, kAccountUser, user}, number, now_);
    }
    void AddPerson(const std::string& id, int64_t number, unsigned int user, unsigned int person) {
        table_.Add({id, user, "user", kClientTypeMobile, kAccountPerson, person}, number, now_);
    }

    SessionTable table_{60s};
    SessionTable::TimePoint now_{std::chrono::hours(1000)};
};

TEST_F(SessionTableTest, SessionIsFoundUntilItWasNotUsedForTheIdleTime) {
    Add("a", 1, 7);
    now_ += 59s;
    ASSERT_NE(table_.Use("a", now_), nullptr);
    EXPECT_EQ(table_.Use("a", now_)->user, 7U);
    now_ += 59s;
    EXPECT_NE(table_.Find("a", now_), nullptr);
    now_ += 1s;
    EXPECT_EQ(table_.Find("a", now_), nullptr) << "finding it is no use";
    EXPECT_EQ(table_.Use("a", now_), nullptr);
    EXPECT_EQ(table_.Use("b", now_), nullptr);
}

TEST_F(SessionTableTest, UnusedSessionsAreTakenOnceAndListedNowhere) {
    Add("a", 1, 7);
    now_ += 30s;
    Add("b", 2, 7);
    now_ += 30s;
    EXPECT_THAT(table_.OfAccount(kAccountUser, 7, {}, now_), ElementsAre("b"));
    EXPECT_THAT(table_.OfClientType(kClientTypeWeb, now_), ElementsAre("b"));
    const auto unused = table_.TakeUnused(now_);
    ASSERT_THAT(unused, SizeIs(1));
    EXPECT_EQ(unused[0].id, "a");
    EXPECT_THAT(table_.TakeUnused(now_), IsEmpty());
    EXPECT_THAT(table_.All(), ElementsAre("b"));
}

TEST_F(SessionTableTest, RemovedSessionIsGivenOnceAndGone) {
    Add("a", 1, 7);
    const auto removed = table_.Remove("a");
    ASSERT_TRUE(removed.has_value());
    EXPECT_EQ(removed->id, "a");
    EXPECT_FALSE(table_.Remove("a").has_value());
    EXPECT_EQ(table_.Use("a", now_), nullptr);
    EXPECT_THAT(table_.OfAccount(kAccountUser, 7, {}, now_), IsEmpty());
}

TEST_F(SessionTableTest, SessionsOfAnAccountAreListedInTheOrderOfTheirLogins) {
    Add("z", 1, 7, kClientTypeWeb);
    Add("m", 3, 7, kClientTypeDesktop);
    Add("a", 2, 7, kClientTypeMobile);
    Add("other", 4, 8);
    EXPECT_THAT(table_.OfAccount(kAccountUser, 7, {}, now_), ElementsAre("z", "a", "m"));
    EXPECT_THAT(table_.OfAccount(kAccountUser, 7, {kClientTypeDesktop, kClientTypeWeb}, now_), ElementsAre("z", "m"));
    EXPECT_THAT(table_.OfAccount(kAccountUser, 9, {}, now_), IsEmpty());
    EXPECT_THAT(table_.OfClientType(kClientTypeWeb, now_), ElementsAre("z", "other"));
}

TEST_F(SessionTableTest, PersonsAndUsersOfOneNumberAreToldApart) {
    Add("user", 1, 7);
    AddPerson("person", 2, 9, 7);
    EXPECT_THAT(table_.OfAccount(kAccountUser, 7, {}, now_), ElementsAre("user"));
    EXPECT_THAT(table_.OfAccount(kAccountPerson, 7, {}, now_), ElementsAre("person"));
    EXPECT_THAT(table_.OfAccount(kAccountUser, 9, {}, now_), IsEmpty());
}

TEST_F(SessionTableTest, SessionsUsedLongestAgoMakeRoom) {
    Add("a", 1, 7);
    Add("b", 2, 7);
    now_ += 1s;
    Add("c", 3, 7);
    Add("other", 4, 8);
    table_.Use("a", now_ + 1s);
    EXPECT_THAT(table_.TooMany(7, 4), IsEmpty());
    EXPECT_THAT(table_.TooMany(7, 3), ElementsAre("b"));
    EXPECT_THAT(table_.TooMany(7, 2), ElementsAre("b", "c"));
}

TEST_F(SessionTableTest, UsesAreUnsavedUntilTheyAreSaved) {
    Add("a", 1, 7);
    Add("b", 2, 7);
    EXPECT_THAT(table_.Unsaved(), IsEmpty());
    now_ += 1s;
    table_.Use("b", now_);
    const auto uses = table_.Unsaved();
    EXPECT_THAT(uses, ElementsAre(Pair(2, now_)));
    EXPECT_THAT(table_.Unsaved(), SizeIs(1));
    table_.Saved(uses);
    EXPECT_THAT(table_.Unsaved(), IsEmpty());
}

TEST_F(SessionTableTest, UseDuringTheSavingStaysUnsaved) {
    Add("a", 1, 7);
    now_ += 1s;
    table_.Use("a", now_);
    const auto uses = table_.Unsaved();
    now_ += 1s;
    table_.Use("a", now_);
    table_.Saved(uses);
    EXPECT_THAT(table_.Unsaved(), ElementsAre(Pair(1, now_)));
}

}  // namespace
