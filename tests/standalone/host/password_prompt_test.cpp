#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <future>
#include <sstream>
#include <string>
#include <thread>

#include "host/PasswordPrompt.h"

namespace qarhost {
namespace {

class PasswordPromptTest : public testing::Test {
protected:
    /// @return what is asked for a pipe that holds a text
    bool AskPipe(const std::string& text) {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        EXPECT_EQ(static_cast<ssize_t>(text.size()), write(ends[1], text.data(), text.size()));
        close(ends[1]);
        const bool got = AskPassword(ends[0], prompt_, password_, error_);
        close(ends[0]);
        EXPECT_EQ("", prompt_.str()) << "nobody is asked";
        return got;
    }

    void ExpectRefused(const std::string& text, const std::string& error) {
        EXPECT_FALSE(AskPipe(text)) << text;
        EXPECT_EQ(error, error_);
        EXPECT_EQ("", password_);
    }

    std::ostringstream prompt_;
    std::string password_;
    std::string error_;
};

TEST_F(PasswordPromptTest, OneLineIsReadFromWhatIsNoTerminal) {
    EXPECT_TRUE(AskPipe("correct horse\nanother line\n"));
    EXPECT_EQ("correct horse", password_);
    EXPECT_TRUE(AskPipe(" without its end "));
    EXPECT_EQ(" without its end ", password_);
}

TEST_F(PasswordPromptTest, CharactersAreCountedAndNotBytes) {
    EXPECT_TRUE(AskPipe("12345678"));
    EXPECT_TRUE(AskPipe("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F"));
    const std::string error = "a password has at least 8 characters";
    ExpectRefused("", error);
    ExpectRefused("\n12345678\n", error);
    ExpectRefused("1234567\n", error);
    ExpectRefused("\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\n", error);
}

TEST_F(PasswordPromptTest, PasswordMayHaveALimitedLength) {
    EXPECT_TRUE(AskPipe(std::string(1024, 'x') + "\n"));
    EXPECT_EQ(1024U, password_.size());
    ExpectRefused(std::string(1025, 'x') + "\n", "a password has at most 1024 bytes");
    ExpectRefused(std::string(20000, 'x'), "a password has at most 1024 bytes");
}

TEST_F(PasswordPromptTest, ControlCharactersAreRefused) {
    ExpectRefused("correct horse\r\n", "a password holds no control characters");
    ExpectRefused("correct\thorse\n", "a password holds no control characters");
    ExpectRefused(std::string("correct\0horse\n", 14), "a password holds no control characters");
}

TEST_F(PasswordPromptTest, InputThatCannotBeReadIsTold) {
    EXPECT_FALSE(AskPassword(-1, prompt_, password_, error_));
    EXPECT_EQ("the password cannot be read: Bad file descriptor", error_);
}

/// A person at a terminal.
class PasswordTerminalTest : public PasswordPromptTest {
protected:
    PasswordTerminalTest() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
        EXPECT_EQ(0, grantpt(master_));
        EXPECT_EQ(0, unlockpt(master_));
        terminal_ = open(ptsname(master_), O_RDWR | O_NOCTTY);
        EXPECT_GE(terminal_, 0);
    }
    ~PasswordTerminalTest() override {
        close(terminal_);
        close(master_);
    }

    bool Shows() const {
        termios modes{};
        EXPECT_EQ(0, tcgetattr(terminal_, &modes));
        return (modes.c_lflag & ECHO) != 0;
    }

    void WaitUntilHidden() const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (Shows() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        EXPECT_FALSE(Shows());
    }

    bool Ask(const std::string& typed) {
        auto asked = std::async(std::launch::async, [&] { return AskPassword(terminal_, prompt_, password_, error_); });
        WaitUntilHidden();
        EXPECT_EQ(static_cast<ssize_t>(typed.size()), write(master_, typed.data(), typed.size()));
        const bool got = asked.get();
        EXPECT_TRUE(Shows()) << "the terminal is as it was";
        return got;
    }

    int master_;
    int terminal_ = -1;
};

TEST_F(PasswordTerminalTest, PasswordIsAskedForTwiceAndNotShown) {
    EXPECT_TRUE(Ask("correct horse\ncorrect horse\n"));
    EXPECT_EQ("correct horse", password_);
    EXPECT_EQ("New password: \nAgain: \n", prompt_.str());
    ASSERT_EQ(0, fcntl(master_, F_SETFL, O_NONBLOCK));
    char shown = '\0';
    EXPECT_EQ(-1, read(master_, &shown, 1)) << "nothing is echoed";
}

TEST_F(PasswordTerminalTest, DifferentPasswordsAreRefused) {
    EXPECT_FALSE(Ask("correct horse\ncorrect house\n"));
    EXPECT_EQ("the two are not the same", error_);
    EXPECT_EQ("", password_);
}

TEST_F(PasswordTerminalTest, ShortPasswordIsNotAskedForAgain) {
    EXPECT_FALSE(Ask("short\n"));
    EXPECT_EQ("a password has at least 8 characters", error_);
    EXPECT_EQ("New password: \n", prompt_.str());
}

TEST_F(PasswordTerminalTest, SignalCancelsAndTheTerminalShowsAgain) {
    signal(SIGINT, SIG_IGN);  // one may come when the reading has ended
    std::promise<pthread_t> thread;
    auto asked = std::async(std::launch::async, [&] {
        thread.set_value(pthread_self());
        return AskPassword(terminal_, prompt_, password_, error_);
    });
    const pthread_t asking = thread.get_future().get();
    WaitUntilHidden();
    // One that comes before the reading has begun is not noticed.
    while (asked.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) pthread_kill(asking, SIGINT);
    EXPECT_FALSE(asked.get());
    EXPECT_EQ("cancelled", error_);
    EXPECT_TRUE(Shows());
}

}  // namespace
}  // namespace qarhost
