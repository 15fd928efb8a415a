#include "host/PasswordPrompt.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <utility>

#include "standalone/auth/PasswordHash.h"

namespace qarhost {

namespace {

using qarplatform::ForgetPassword;

/// A terminal that shows nothing of what is typed. Signals that would end the process end the reading instead, so that
/// the terminal never stays like that.
class HiddenTyping {
public:
    explicit HiddenTyping(int terminal) : terminal_(terminal) {
        struct sigaction interrupt {};
        interrupt.sa_handler = [](int) {};
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            sigaction(kSignals[i], kSignals[i] == SIGTSTP ? &ignore : &interrupt, &actions_[i]);
        }
        is_hidden_ = tcgetattr(terminal, &shown_) == 0;
        termios hidden = shown_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
        is_hidden_ = is_hidden_ && tcsetattr(terminal, TCSAFLUSH, &hidden) == 0;
    }
    ~HiddenTyping() {
        if (is_hidden_) tcsetattr(terminal_, TCSAFLUSH, &shown_);
        for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &actions_[i], nullptr);
    }
    HiddenTyping(const HiddenTyping&) = delete;
    HiddenTyping& operator=(const HiddenTyping&) = delete;

    bool IsHidden() const { return is_hidden_; }

private:
    static constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

    const int terminal_;
    termios shown_{};
    bool is_hidden_ = false;
    std::array<struct sigaction, kSignals.size()> actions_{};
};

/// Reads up to the end of the line or of the input; what is longer than any password is cut behind that.
bool ReadLine(int input, std::string& line, std::string& error) {
    line.clear();
    line.reserve(qarplatform::kLongestPassword + 1);  // never moved, so that no copy stays behind
    char c = '\0';
    for (;;) {
        const ssize_t count = read(input, &c, 1);
        if (count < 0) {
            error = errno == EINTR ? "cancelled" : std::string("the password cannot be read: ") + std::strerror(errno);
            return false;
        }
        if (count == 0 || c == '\n') return true;
        if (line.size() <= qarplatform::kLongestPassword) line += c;
    }
}

bool IsGood(const std::string& password, std::string& error) {
    const auto is_character = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };  // of UTF-8
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; };
    const auto characters = std::count_if(password.begin(), password.end(), is_character);
    if (static_cast<std::size_t>(characters) < kShortestPassword) {
        error = "a password has at least " + std::to_string(kShortestPassword) + " characters";
    } else if (password.size() > qarplatform::kLongestPassword) {
        error = "a password has at most " + std::to_string(qarplatform::kLongestPassword) + " bytes";
    } else if (std::any_of(password.begin(), password.end(), is_control)) {
        error = "a password holds no control characters";
    } else {
        return true;
    }
    return false;
}

bool AskHidden(int terminal, std::ostream& prompt, const char* question, std::string& password, std::string& error) {
    prompt << question << std::flush;
    const bool read = ReadLine(terminal, password, error);
    prompt << "\n" << std::flush;
    return read;
}

bool AskTwice(int terminal, std::ostream& prompt, std::string& password, std::string& error) {
    const HiddenTyping typing(terminal);
    if (!typing.IsHidden()) {
        error = "the terminal cannot hide what is typed";
        return false;
    }
    if (!AskHidden(terminal, prompt, "New password: ", password, error) || !IsGood(password, error)) return false;
    std::string again;
    const bool read = AskHidden(terminal, prompt, "Again: ", again, error);
    const bool same = read && again == password;
    if (read && !same) error = "the two are not the same";
    ForgetPassword(again);
    return same;
}

}  // namespace

bool AskPassword(int input, std::ostream& prompt, std::string& password, std::string& error) {
    const bool got = isatty(input) != 0 ? AskTwice(input, prompt, password, error)
                                        : ReadLine(input, password, error) && IsGood(password, error);
    if (!got) ForgetPassword(password);
    return got;
}

}  // namespace qarhost
