#include <ctime>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "Mox/Base/Error.h"
#include "Mox/Base/GuidUtil.h"
#include "Mox/Base/Noncopyable.h"
#include "Mox/Base/Singleton.h"
#include "Mox/Base/StringUtil.h"
#include "Mox/Base/TimeUtil.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace {

using Mox::Base::Error;

class LastErrorTest : public PlatformTest {};

TEST_F(LastErrorTest, ThreadThatNeverFailedHasNone) {
    Error::ErrorCode seen(1, 1);
    std::thread([&seen] { seen = Error::GetLastError(); }).join();
    EXPECT_EQ(seen, Error::ErrorCode());
    EXPECT_EQ(seen.GetModule(), 0);
    EXPECT_EQ(seen.GetCode(), 0);
}

TEST_F(LastErrorTest, EachThreadKeepsItsOwn) {
    Error::SetLastError(Error::ErrorCode(1, 40945));
    Error::ErrorCode seen;
    std::thread([&seen] {
        Error::SetLastError(Error::ErrorCode(2, 7));
        seen = Error::GetLastError();
    }).join();
    EXPECT_EQ(seen, Error::ErrorCode(2, 7));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(1, 40945));
    EXPECT_EQ(Error::GetLastError(), Error::ErrorCode(1, 40945)) << "reading does not clear it";
}

TEST_F(LastErrorTest, CodesAreEqualWhenBothNumbersAre) {
    EXPECT_EQ(Error::ErrorCode(1, 2), Error::ErrorCode(1, 2));
    EXPECT_NE(Error::ErrorCode(1, 2), Error::ErrorCode(1, 3));
    EXPECT_NE(Error::ErrorCode(1, 2), Error::ErrorCode(0, 2));
}

class GuidTest : public PlatformTest {};

TEST_F(GuidTest, GuidsHaveTheirFormAndNoneComesTwice) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    std::mutex mutex;
    std::set<std::string> guids;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 250; ++k) {
                const std::string guid = Mox::Base::GuidUtil::CreateGuid();
                std::lock_guard<std::mutex> lock(mutex);
                EXPECT_TRUE(std::regex_match(guid, form)) << guid;
                guids.insert(guid);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(guids.size(), 1000u);
}

class StringTest : public PlatformTest {};

TEST_F(StringTest, TextIsFormattedAsByPrintf) {
    EXPECT_EQ(Mox::Base::StringUtil::str_fmt("%s:%04d:%lld:%5.2f|", "a", 7, 1LL << 40, 1.5),
              "a:0007:1099511627776: 1.50|");
    EXPECT_EQ(Mox::Base::StringUtil::str_fmt("%s", ""), "");
}

TEST_F(StringTest, TextOfAMegabyteIsWhole) {
    const std::string part(1 << 20, 'y');
    EXPECT_EQ(Mox::Base::StringUtil::str_fmt("<%s>%d", part.c_str(), 12), "<" + part + ">12");
}

TEST_F(StringTest, LengthsAroundPowersOfTwoAreWhole) {
    for (const std::size_t length : {126u, 127u, 128u, 255u, 256u, 257u, 1023u, 1024u, 1025u, 4095u, 4096u, 4097u}) {
        const std::string part(length, 'z');
        EXPECT_EQ(Mox::Base::StringUtil::str_fmt("%s", part.c_str()), part) << length;
    }
}

class TimeUtilTest : public PlatformTest {
protected:
    void SetServerZone(const char* tz) {
        setenv("TZ", tz, 1);
        tzset();
    }
};

TEST_F(TimeUtilTest, LocalTimeEastOfUtc) {
    SetServerZone("QAR-8");
    std::string text;
    int offset = 0;
    Mox::Base::TimeUtil::TimeT2LocalTime(text, offset, 1709251200);  // 2024-03-01 00:00:00 UTC
    EXPECT_EQ(text, "2024-03-01 08:00:00");
    EXPECT_EQ(offset, 28800);
    EXPECT_EQ(Mox::Base::TimeUtil::TimeT2LocalTimeStrISO(1709251200), "2024-03-01T08:00:00+08:00");
}

TEST_F(TimeUtilTest, LocalTimeWestOfUtcByAHalfHour) {
    SetServerZone("QAR5:30");
    std::string text;
    int offset = 0;
    Mox::Base::TimeUtil::TimeT2LocalTime(text, offset, 1709251200);
    EXPECT_EQ(text, "2024-02-29 18:30:00");
    EXPECT_EQ(offset, -19800);
    EXPECT_EQ(Mox::Base::TimeUtil::TimeT2LocalTimeStrISO(1709251200), "2024-02-29T18:30:00-05:30");
}

TEST_F(TimeUtilTest, OffsetIsThatOfTheMomentAsked) {
    SetServerZone("QAR-1QARS,M3.5.0,M10.5.0/3");
    std::string text;
    int offset = 0;
    Mox::Base::TimeUtil::TimeT2LocalTime(text, offset, 1704067200);  // 2024-01-01 00:00:00 UTC
    EXPECT_EQ(text, "2024-01-01 01:00:00");
    EXPECT_EQ(offset, 3600);
    Mox::Base::TimeUtil::TimeT2LocalTime(text, offset, 1719792000);  // 2024-07-01 00:00:00 UTC
    EXPECT_EQ(text, "2024-07-01 02:00:00");
    EXPECT_EQ(offset, 7200);
}

TEST_F(TimeUtilTest, MomentBefore1970) {
    SetServerZone("UTC0");
    std::string text;
    int offset = -1;
    Mox::Base::TimeUtil::TimeT2LocalTime(text, offset, -1);
    EXPECT_EQ(text, "1969-12-31 23:59:59");
    EXPECT_EQ(offset, 0);
}

TEST_F(TimeUtilTest, DifferenceHasSignHoursAndMinutes) {
    using Mox::Base::TimeUtil::TimeDifference2Str;
    EXPECT_EQ(TimeDifference2Str(28800), "+08:00");
    EXPECT_EQ(TimeDifference2Str(-19800), "-05:30");
    EXPECT_EQ(TimeDifference2Str(-1800), "-00:30");
    EXPECT_EQ(TimeDifference2Str(0), "+00:00");
    EXPECT_EQ(TimeDifference2Str(45900), "+12:45");
    EXPECT_EQ(TimeDifference2Str(-39600), "-11:00");
}

struct OnceMade {
    OnceMade() { ++made; }
    static int made;
};
int OnceMade::made = 0;

struct MadeAtTheSecondTry {
    MadeAtTheSecondTry() {
        if (++tries == 1) throw std::runtime_error("not yet");
    }
    static int tries;
};
int MadeAtTheSecondTry::tries = 0;

class SingletonTest : public PlatformTest {};

TEST_F(SingletonTest, ThreadsThatAskAtOnceGetOneObject) {
    std::mutex mutex;
    std::set<OnceMade*> seen;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            OnceMade* instance = Mox::Base::CSingleton<OnceMade>::Instance();
            std::lock_guard<std::mutex> lock(mutex);
            seen.insert(instance);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(seen.size(), 1u);
    EXPECT_EQ(OnceMade::made, 1);
    EXPECT_NE(*seen.begin(), nullptr);
}

TEST_F(SingletonTest, ConstructorThatThrowsIsTriedAgain) {
    EXPECT_THROW(Mox::Base::CSingleton<MadeAtTheSecondTry>::Instance(), std::runtime_error);
    EXPECT_NE(Mox::Base::CSingleton<MadeAtTheSecondTry>::Instance(), nullptr);
    EXPECT_EQ(MadeAtTheSecondTry::tries, 2);
}

TEST_F(SingletonTest, SingletonsCannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible<Mox::Base::CSingleton<OnceMade>>::value);
    EXPECT_FALSE(std::is_copy_assignable<Mox::Base::CNoncopyable>::value);
}

}  // namespace
}  // namespace platform_tests
