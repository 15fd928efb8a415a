#pragma once

#include <iosfwd>
#include <string>

namespace qarhost {

/// Shortest password in characters.
constexpr std::size_t kShortestPassword = 8;

/// Gets a new password: from a terminal asked for twice and not shown, from anything else as one line.
/// @param input   descriptor
/// @param prompt  gets the questions
/// @param error   gets why there is none: too short, not the same twice, cancelled, ...
bool AskPassword(int input, std::ostream& prompt, std::string& password, std::string& error);

}  // namespace qarhost
