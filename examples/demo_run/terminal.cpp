#include "demo_run/terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace demo {

TerminalAbilities AbilitiesOf(bool terminal, const char* term, const char* no_color, const std::string& codeset) {
    TerminalAbilities abilities;
    abilities.terminal = terminal;
    abilities.cursor = terminal && term != nullptr && *term != '\0' && std::strcmp(term, "dumb") != 0;
    abilities.style.colour = abilities.cursor && (no_color == nullptr || *no_color == '\0');
    abilities.style.utf8 = codeset == "UTF-8";
    return abilities;
}

TerminalAbilities DetectTerminal() {
    std::setlocale(LC_CTYPE, "");
    TerminalAbilities abilities =
        AbilitiesOf(isatty(STDOUT_FILENO) == 1, std::getenv("TERM"), std::getenv("NO_COLOR"), nl_langinfo(CODESET));
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        abilities.style.columns = size.ws_col;
        abilities.style.lines = size.ws_row;
    }
    return abilities;
}

Terminal::Terminal(const TerminalAbilities& abilities) : abilities_(abilities) {}

Terminal::~Terminal() {
    if (abilities_.cursor && !first_) {
        std::fputs("\x1b[?25h", stdout);
        std::fflush(stdout);
    }
}

void Terminal::Show(const std::vector<std::string>& lines) {
    std::string text;
    if (abilities_.cursor) {
        text = first_ ? "\x1b[?25l\x1b[2J\x1b[H" : "\x1b[H";
    }
    first_ = false;
    for (const std::string& line : lines) {
        text += line + (abilities_.cursor ? "\x1b[K\n" : "\n");
    }
    text += abilities_.cursor ? "\x1b[J" : "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

}  // namespace demo
