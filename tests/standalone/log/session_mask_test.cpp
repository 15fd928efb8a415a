#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>

#include "LogSink.h"
#include "standalone/log/SessionMask.h"
#include "standalone/log/temp_log.h"

namespace {

using qarplatform::MaskInLog;
using qarplatform::SessionMask;
using qarplatform::UnmaskInLog;
using testing::ElementsAre;

const std::string kId = "ABCDEFghijkl0123456789mnopUVWXYZ";
const std::string kMasked = "ABCDEF**********UVWXYZ";
const std::string kOther = "zzzzzzghijkl0123456789mnopqrstuv";

class SessionMaskTest : public testing::Test {
protected:
    std::string Applied(std::string text) const {
        mask_.Apply(text);
        std::string again = text;
        mask_.Apply(again);
        EXPECT_EQ(again, text) << "masked twice";
        return text;
    }

    SessionMask mask_;
};

TEST_F(SessionMaskTest, ValueBehindSidIsMasked) {
    EXPECT_EQ(Applied("GET /x?SID=" + kId + "&y=1"), "GET /x?SID=" + kMasked + "&y=1");
    EXPECT_EQ(Applied("GET /x?a=b&SID=" + kId), "GET /x?a=b&SID=" + kMasked);
    EXPECT_EQ(Applied("url[/x?SID=" + kId + "], cost"), "url[/x?SID=" + kMasked + "], cost");
    EXPECT_EQ(Applied("\"SID=" + kId + "\"\n"), "\"SID=" + kMasked + "\"\n");
    EXPECT_EQ(Applied("/x%3FSID%3D" + kId), "/x%3FSID%3D" + kMasked);
    EXPECT_EQ(Applied("/x%3fSID%3d" + kId), "/x%3fSID%3d" + kMasked);
    EXPECT_EQ(Applied("SID=" + kId + "&SID=" + kOther), "SID=" + kMasked + "&SID=zzzzzz**********qrstuv");
}

TEST_F(SessionMaskTest, ValueOfAnotherLengthLosesItsMiddle) {
    EXPECT_EQ(Applied("SID=a"), "SID=*");
    EXPECT_EQ(Applied("SID=ab"), "SID=*b");
    EXPECT_EQ(Applied("SID=abc&d"), "SID=a*c&d");
    EXPECT_EQ(Applied("SID=abcdefghij"), "SID=abc***ghij");
    EXPECT_EQ(Applied("SID=" + kId.substr(1)), "SID=BCDEFghijkl*********9mnopUVWXYZ");
    EXPECT_EQ(Applied("SID=a.b-c_d~%41"), "SID=a.b-***~%41");
}

TEST_F(SessionMaskTest, TextWithoutAValueStays) {
    for (const std::string& text : {std::string(), std::string("SID"), std::string("SID="), std::string("SID=&x=1"),
                                    std::string("SID=]"), std::string("SID%3D"), "sid=" + kId, "SID:" + kId,
                                    "SID " + kId, std::string("a line of the log, with nothing in it")}) {
        EXPECT_EQ(Applied(text), text);
    }
}

TEST_F(SessionMaskTest, WhatIsMaskedAlreadyStays) {
    for (const std::string& text : {"SID=" + kMasked, "SID=" + kMasked + "&x", std::string("SID=a*c"),
                                    std::string("SID=*"), std::string("SID=%20a***bcde")}) {
        EXPECT_EQ(Applied(text), text);
    }
}

TEST_F(SessionMaskTest, KnownIdIsMaskedWhereverItStandsAlone) {
    mask_.Add(kId);
    EXPECT_EQ(Applied(kId), kMasked);
    EXPECT_EQ(Applied("session " + kId + " ended"), "session " + kMasked + " ended");
    EXPECT_EQ(Applied(kId + "," + kOther + "," + kId), kMasked + "," + kOther + "," + kMasked);
    EXPECT_EQ(Applied("_" + kId + "_"), "_" + kMasked + "_");
    EXPECT_EQ(Applied("SID=" + kId + "*"), "SID=" + kMasked + "*");
    EXPECT_EQ(Applied("SID=" + kId + ".x"), "SID=" + kMasked + ".x");
}

TEST_F(SessionMaskTest, RunsThatAreNotExactlyAKnownIdStay) {
    mask_.Add(kId);
    for (const std::string& text : {kOther, "a" + kId, kId + "1", kId + kId, kId.substr(1), kId.substr(0, 31) + "_",
                                    std::string(32, 'x'), std::string(100, 'A')}) {
        EXPECT_EQ(Applied(text), text);
    }
}

TEST_F(SessionMaskTest, ForgottenIdStays) {
    mask_.Add(kId);
    mask_.Add(kOther);
    mask_.Remove(kId);
    EXPECT_EQ(Applied(kId), kId);
    EXPECT_EQ(Applied(kOther), "zzzzzz**********qrstuv");
}

TEST_F(SessionMaskTest, EachKnownIdIsFoundAmongRandomTexts) {
    mask_.Add(kId);
    std::mt19937 random(20261122);
    const std::string characters = "ab1 ,=*S\n";
    for (int i = 0; i < 20000; ++i) {
        std::string before(random() % 70, ' ');
        std::string after(random() % 70, ' ');
        for (std::string* text : {&before, &after}) {
            for (char& c : *text) {
                c = characters[random() % characters.size()];
            }
        }
        const auto is_alone = [&] {
            const auto is_of_an_id = [](char c) { return std::string("ab1S").find(c) != std::string::npos; };
            return (before.empty() || !is_of_an_id(before.back())) && (after.empty() || !is_of_an_id(after.front()));
        };
        const std::string text = before + kId + after;
        ASSERT_EQ(Applied(text), is_alone() ? before + kMasked + after : text);
    }
}

TEST(SessionMaskInLogTest, LinesAreMaskedBeforeTheLogStartsAndAfter) {
    MaskInLog(kId);
    testing::internal::CaptureStderr();
    LogSinkWrite(5, "m", "to stderr %s", kId.c_str());
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::EndsWith("E [m] to stderr " + kMasked + "\n"));

    TempLog log;
    LogSinkWrite(3, "m", "%s\nSID=%s", kId.c_str(), kOther.c_str());
    UnmaskInLog(kId);
    LogSinkWrite(3, "m", "%s", kId.c_str());
    EXPECT_THAT(log.Lines(), ElementsAre("I [m] " + kMasked, "    SID=zzzzzz**********qrstuv", "I [m] " + kId));
}

TEST(SessionMaskInLogTest, IdsMayComeAndGoWhileOthersLog) {
    TempLog log;
    std::thread changes([] {
        for (int i = 0; i < 500; ++i) {
            MaskInLog(kOther);
            UnmaskInLog(kOther);
        }
    });
    MaskInLog(kId);
    for (int i = 0; i < 500; ++i) {
        LogSinkWrite(3, "m", "%s", kId.c_str());
    }
    changes.join();
    EXPECT_THAT(log.Lines(), testing::AllOf(testing::SizeIs(500), testing::Each("I [m] " + kMasked)));
}

}  // namespace
