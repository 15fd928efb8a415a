#include <gtest/gtest.h>

#include "standalone/http/AnswerText.h"

namespace qarplatform {
namespace {

// The date's text is kept from one answer to the next.
TEST(AnswerTextTest, EachHeadBearsTheDateOfItsOwnSecond) {
    const auto text_at = [](std::time_t now) { return AnswerHeadText(AnswerHead(), 2, 11, true, now); };
    const std::string begin = "HTTP/1.1 200 OK\r\nDate: ";
    const std::string end = " GMT\r\nServer: qarhost\r\nX-Content-Type-Options: nosniff\r\nContent-Length: 2\r\n\r\n";
    EXPECT_EQ(text_at(784111777), begin + "Sun, 06 Nov 1994 08:49:37" + end);
    EXPECT_EQ(text_at(784111777), begin + "Sun, 06 Nov 1994 08:49:37" + end);
    EXPECT_EQ(text_at(784111778), begin + "Sun, 06 Nov 1994 08:49:38" + end);
    EXPECT_EQ(text_at(0), begin + "Thu, 01 Jan 1970 00:00:00" + end);
}

}  // namespace
}  // namespace qarplatform
