#pragma once

#include <string>
#include <vector>

#include "demo_run/screen.h"

namespace demo {

/// What the process's standard output and environment allow.
struct TerminalAbilities {
    bool terminal = false;  // standard output is one
    bool cursor = false;    // it can be drawn over; else each picture goes below the last
    ScreenStyle style;
};

/// Decides from plain values, as DetectTerminal reads them.
/// @param term      value of TERM, or null
/// @param no_color  value of NO_COLOR, or null
/// @param codeset   of the locale, as "UTF-8"
TerminalAbilities AbilitiesOf(bool terminal, const char* term, const char* no_color, const std::string& codeset);

/// Looks at standard output, TERM, NO_COLOR, the locale and the window's size. Sets the C library's locale for
/// characters.
TerminalAbilities DetectTerminal();

/// Shows pictures on standard output, each over the last where the terminal can do that.
class Terminal {
public:
    explicit Terminal(const TerminalAbilities& abilities);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    /// Shows the cursor again.
    ~Terminal();

    void Show(const std::vector<std::string>& lines);

private:
    TerminalAbilities abilities_;
    bool first_ = true;
};

}  // namespace demo
