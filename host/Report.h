#pragma once

#include <string>

namespace qarhost {

/// Whether there is a log besides standard error. At first there is none.
void UseLog(bool use);

/// Tells the operator that something went wrong: one line to standard error and one of level 5 to the log.
void TellError(const std::string& text);

/// Tells the operator something: one line to standard error and one of level 3 to the log.
void TellNote(const std::string& text);

/// Writes one line of level 3 to the log.
void LogNote(const std::string& text);

}  // namespace qarhost
