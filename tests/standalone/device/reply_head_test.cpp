#include <gtest/gtest.h>

#include <string>

#include "standalone/device/ReplyHead.h"

namespace {

using qarplatform::ReplyHead;
using State = ReplyHead::State;

constexpr const char* kAnswer =
    "RTSP/1.0 200 OK\r\nCSeq: 1\r\nDATE: \t Sun, 06 Nov 1994 08:49:37 GMT \t\r\nDate: second\r\nPublic: OPTIONS\r\n\r\n";

State StateOf(const std::string& text, const char* protocol = "RTSP") { return ReplyHead(protocol).Add(text); }

TEST(ReplyHeadTest, WholeAnswerGivesItsFirstDate) {
    ReplyHead head("RTSP");
    EXPECT_EQ(head.Add(kAnswer), State::kWhole);
    EXPECT_EQ(head.Date(), "Sun, 06 Nov 1994 08:49:37 GMT");
}

TEST(ReplyHeadTest, PiecesOfAnySizeGiveTheSame) {
    const std::string answer = kAnswer;
    for (std::size_t cut = 1; cut < answer.size(); ++cut) {
        ReplyHead head("RTSP");
        for (std::size_t at = 0; at < answer.size(); at += cut) {
            const bool last = at + cut >= answer.size();
            ASSERT_EQ(head.Add(answer.substr(at, cut)), last ? State::kWhole : State::kNeedMore) << cut << " " << at;
        }
        ASSERT_EQ(head.Date(), "Sun, 06 Nov 1994 08:49:37 GMT");
    }
}

TEST(ReplyHeadTest, AnyStatusIsAnAnswer) {
    EXPECT_EQ(StateOf("RTSP/1.0 401 Unauthorized\r\n\r\n"), State::kWhole);
    EXPECT_EQ(StateOf("RTSP/2.0 999\r\n\r\n"), State::kWhole);
    EXPECT_EQ(StateOf("HTTP/1.1 500 \r\n\r\n", "HTTP"), State::kWhole);
    EXPECT_EQ(StateOf("HTTP/1.0 404 Not Found\n\n", "HTTP"), State::kWhole);
}

TEST(ReplyHeadTest, WithoutADateThereIsNone) {
    ReplyHead head("RTSP");
    EXPECT_EQ(head.Add("RTSP/1.0 200 OK\r\nDat: x\r\nDates: y\r\nX-Date: z\r\n\r\n"), State::kWhole);
    EXPECT_EQ(head.Date(), std::nullopt);
}

TEST(ReplyHeadTest, EmptyDateIsOne) {
    ReplyHead head("RTSP");
    EXPECT_EQ(head.Add("RTSP/1.0 200 OK\r\nDate:  \r\n\r\n"), State::kWhole);
    EXPECT_EQ(head.Date(), "");
}

TEST(ReplyHeadTest, RubbishIsKnownFromItsFirstByte) {
    EXPECT_EQ(StateOf("S"), State::kRubbish);
    EXPECT_EQ(StateOf("RTSP/"), State::kNeedMore);
    EXPECT_EQ(StateOf("RTSPX"), State::kRubbish);
    EXPECT_EQ(StateOf("HTTP/1.1 200 OK\r\n\r\n"), State::kRubbish);
    EXPECT_EQ(StateOf(std::string(1, '\0')), State::kRubbish);
    EXPECT_EQ(StateOf("\r\n"), State::kRubbish);
    EXPECT_EQ(StateOf("\n"), State::kRubbish);
}

TEST(ReplyHeadTest, StatusLineMustBeWellFormed) {
    for (const char* line : {"RTSP/1.0", "RTSP/1.0 ", "RTSP/1.0 20 OK", "RTSP/1.0 2000 OK", "RTSP/1.0 200OK",
                             "RTSP/1 200 OK", "RTSP/.0 200 OK", "RTSP/1. 200 OK", "RTSP/1.0  200 OK", "RTSP/"}) {
        EXPECT_EQ(StateOf(std::string(line) + "\r\n\r\n"), State::kRubbish) << line;
    }
}

TEST(ReplyHeadTest, HeadEndsWithin16KiB) {
    const std::string begin = "RTSP/1.0 200 OK\r\nX: ";
    const std::string end = "\r\n\r\n";
    const std::size_t room = ReplyHead::kLongest - begin.size() - end.size();
    EXPECT_EQ(StateOf(begin + std::string(room, 'x') + end), State::kWhole);
    EXPECT_EQ(StateOf(begin + std::string(room + 1, 'x') + end), State::kTooLong);
}

TEST(ReplyHeadTest, WhatFollowsTheHeadIsPassedOver) {
    ReplyHead head("RTSP");
    EXPECT_EQ(head.Add(std::string(kAnswer) + std::string(100000, 'x')), State::kWhole);
    EXPECT_EQ(head.Add("more"), State::kWhole);
}

}  // namespace
