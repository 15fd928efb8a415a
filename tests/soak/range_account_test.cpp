#include "soak/range_account.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace soak {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Two consumers of one camera, which are told its first contact and one outage, from 30000 to 40000.
class RangeAccountTest : public testing::Test {
protected:
    static constexpr std::int64_t kFirstS = 10000;

    RangeAccountTest() {
        for (const Consumer& consumer : {recorder_, backfill_}) TellAndDelete(consumer, kFirstS - kWeekS, kFirstS);
        account_.Made({101, 30000, 40000});
    }

    void TellAndDelete(const Consumer& consumer, std::int64_t begin_s, std::int64_t end_s) {
        account_.Told(consumer, 101, begin_s, end_s, end_s);
        account_.Gone(consumer, 101, begin_s, end_s, end_s);
    }
    void TellBoth(std::int64_t begin_s, std::int64_t end_s) {
        TellAndDelete(recorder_, begin_s, end_s);
        TellAndDelete(backfill_, begin_s, end_s);
    }

    /// Of an outage from 30000 to 40000.
    std::vector<std::string> FaultsOfAnOutageToldAs(std::int64_t begin_s, std::int64_t end_s) const {
        RangeAccount account({recorder_}, {101}, {600, 1800, 100});
        account.Told(recorder_, 101, kFirstS - kWeekS, kFirstS, 0);
        account.Gone(recorder_, 101, kFirstS - kWeekS, kFirstS, 0);
        account.Made({101, 30000, 40000});
        account.Told(recorder_, 101, begin_s, end_s, 0);
        account.Gone(recorder_, 101, begin_s, end_s, 0);
        return account.Judge().faults;
    }

    static constexpr std::int64_t kWeekS = RangeAccount::kWeekS;
    const Consumer recorder_{"recorder", 1};
    const Consumer backfill_{"backfill", 1};
    RangeAccount account_{{recorder_, backfill_}, {101}, {600, 1800, 100}};
};

TEST_F(RangeAccountTest, OutageToldOnceToEachIsInOrder) {
    TellBoth(29000, 40300);
    const Balance balance = account_.Judge();
    EXPECT_THAT(balance.faults, IsEmpty());
    EXPECT_EQ(2U, balance.outages);
    EXPECT_EQ(2U, balance.told);
    EXPECT_EQ(2U, balance.first);
    EXPECT_EQ(0U, balance.split);
}

TEST_F(RangeAccountTest, OutageThatOneWasNotToldIsAFault) {
    TellAndDelete(recorder_, 29000, 40300);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("backfill busi=1 camera=101 was not told the outage")));
}

TEST_F(RangeAccountTest, OutageThatDoesNotCountMayBeLostOrTold) {
    TellBoth(29000, 40300);
    account_.Made({101, 50000, 60000, false, 64000});
    EXPECT_THAT(account_.Judge().faults, IsEmpty());
    TellAndDelete(recorder_, 61900, 63000);
    const Balance balance = account_.Judge();
    EXPECT_THAT(balance.faults, IsEmpty());
    EXPECT_EQ(2U, balance.outages);
    EXPECT_EQ(2U, balance.uncounted);
    EXPECT_EQ(2U, balance.told);
    TellAndDelete(recorder_, 61900, 64101);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("was told what was no outage")));
}

TEST_F(RangeAccountTest, RangeWithoutAnOutageIsAFault) {
    TellBoth(29000, 40300);
    TellAndDelete(recorder_, 50000, 51000);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("was told what was no outage")));
}

TEST_F(RangeAccountTest, OutageToldInTwoRangesIsAFault) {
    TellBoth(29000, 40300);
    TellAndDelete(backfill_, 29001, 40250);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("was told what was no outage")));
}

TEST_F(RangeAccountTest, RangesMayBeOffByAProbePeriodAndTheMachinesLateness) {
    for (const auto& [begin, end] :
         {std::pair(30700, 40000), std::pair(28100, 40000), std::pair(30000, 39400), std::pair(30000, 40700)}) {
        EXPECT_THAT(FaultsOfAnOutageToldAs(begin, end), IsEmpty()) << begin << " " << end;
    }
}

TEST_F(RangeAccountTest, RangesThatAreOffByMoreAreNotThoseOfTheOutage) {
    for (const auto& [begin, end] :
         {std::pair(30701, 40000), std::pair(28099, 40000), std::pair(30000, 39399), std::pair(30000, 40701)}) {
        EXPECT_EQ(2U, FaultsOfAnOutageToldAs(begin, end).size()) << begin << " " << end;
    }
}

TEST_F(RangeAccountTest, TailOfASplitContactIsPartOfItsOutage) {
    TellBoth(29000, 40300);
    TellAndDelete(recorder_, 40300, 40400);
    TellAndDelete(backfill_, 29000, 40400);
    const Balance balance = account_.Judge();
    EXPECT_THAT(balance.faults, IsEmpty());
    EXPECT_EQ(2U, balance.split);
    TellAndDelete(recorder_, 40400, 40501);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("was told what was no outage")));
}

TEST_F(RangeAccountTest, FirstContactMayBeToldForEachOfItsThreeEvents) {
    TellBoth(29000, 40300);
    TellAndDelete(recorder_, kFirstS + 2 - kWeekS, kFirstS + 2);
    TellAndDelete(recorder_, kFirstS + 3 - kWeekS, kFirstS + 3);
    EXPECT_THAT(account_.Judge().faults, IsEmpty());
    TellAndDelete(recorder_, kFirstS + 4 - kWeekS, kFirstS + 4);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("was told 4 first contacts")));
}

TEST_F(RangeAccountTest, FirstContactThatExpiryHasShortenedIsTheSame) {
    TellBoth(29000, 40300);
    TellAndDelete(recorder_, kFirstS + 7200 - kWeekS, kFirstS);
    const Balance balance = account_.Judge();
    EXPECT_THAT(balance.faults, IsEmpty());
    EXPECT_EQ(2U, balance.first);
}

TEST_F(RangeAccountTest, FirstContactThatWasNotToldIsAFault) {
    const RangeAccount account({recorder_}, {101}, {600, 1800, 100});
    EXPECT_THAT(account.Judge().faults, ElementsAre(HasSubstr("was not told the week")));
}

TEST_F(RangeAccountTest, RangeMayBeToldAgainUntilItIsDeletedAndAnHourLater) {
    TellBoth(29000, 40300);
    account_.Told(recorder_, 101, 29000, 40300, 40300 + 3600);
    EXPECT_THAT(account_.Judge().faults, IsEmpty());
    account_.Told(recorder_, 101, 29000, 40300, 40300 + 3601);
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("told again after it was deleted")));
}

TEST_F(RangeAccountTest, RangeThatStaysOpenIsAFault) {
    TellAndDelete(backfill_, 29000, 40300);
    EXPECT_EQ(0U, account_.Open());
    account_.Told(recorder_, 101, 29000, 40300, 0);
    account_.Told(recorder_, 101, 29000, 40300, 3600);
    EXPECT_EQ(1U, account_.Open());
    EXPECT_EQ(4U, account_.Told());
    EXPECT_THAT(account_.Judge().faults, ElementsAre(HasSubstr("open to the end")));
}

TEST_F(RangeAccountTest, RangeOfAStrangeCameraOrTypeIsAFault) {
    TellBoth(29000, 40300);
    account_.Told(recorder_, 102, 1, 2, 0);
    account_.Told({"recorder", 2}, 101, 1, 2, 0);
    EXPECT_THAT(account_.Judge().faults,
                ElementsAre(HasSubstr("was told of camera 102"), HasSubstr("busi=2 was told of camera 101")));
}

}  // namespace
}  // namespace soak
