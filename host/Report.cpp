#include "host/Report.h"

#include <algorithm>
#include <atomic>
#include <iostream>

#include "LogSink.h"

namespace qarhost {

namespace {

constexpr int kLogInformation = 3;
constexpr int kLogError = 5;
constexpr const char* kModule = "qarhost";

std::atomic<bool> use_log{false};

// A text may come from a plug-in: what breaks a line or steers a terminal becomes a blank.
std::string OneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return text;
}

void Tell(int level, const std::string& text) {
    const std::string line = OneLine(text);
    std::cerr << "qarhost: " + line + "\n" << std::flush;
    if (use_log) LogSinkWrite(level, kModule, "%s", line.c_str());
}

}  // namespace

void UseLog(bool use) { use_log = use; }

void TellError(const std::string& text) { Tell(kLogError, text); }

void TellNote(const std::string& text) { Tell(kLogInformation, text); }

void LogNote(const std::string& text) { LogSinkWrite(kLogInformation, kModule, "%s", OneLine(text).c_str()); }

}  // namespace qarhost
