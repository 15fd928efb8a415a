#pragma once

#include <iosfwd>
#include <string>

namespace qarhost {

/// What the command line asks for.
struct CommandLine {
    enum class Command { kRun, kCheck, kStatus, kGuard, kDatabase, kPassword };

    Command command = Command::kRun;
    std::string site;          ///< path of the site file
    std::string plugin_dir;    ///< run, check: folder of plug-ins; "" for the one beside the program
    bool json = false;         ///< status
    int device = 0;            ///< guard
    bool guard = false;        ///< guard: on
    std::string database_dir;  ///< database, as it was written
    std::string user;          ///< password: name of the user
};

/// Reads the command line.
/// @param version  text that --version prints
/// @param out      gets what --help and --version print
/// @param err      gets what is wrong
/// @param result   what is asked for, where the call gives true
/// @param exit_code  what to exit with, where it gives false: kExitOk after --help and --version, else kExitCommandLine
/// @return whether there is something to do
bool ParseCommandLine(int argc, const char* const* argv, const std::string& version, std::ostream& out,
                      std::ostream& err, CommandLine& result, int& exit_code);

/// Does what the command line asks for. @return what to exit with
int RunCommandLine(int argc, const char* const* argv, const std::string& version);

}  // namespace qarhost
