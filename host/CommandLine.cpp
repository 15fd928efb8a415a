#include "host/CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <iostream>
#include <limits>

#include "host/CheckCommand.h"
#include "host/ClientCommands.h"
#include "host/ExitCode.h"
#include "host/HostRun.h"
#include "host/PasswordCommand.h"
#include "host/StopSignal.h"

namespace qarhost {

namespace {

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done; run: stopped by SIGTERM or SIGINT, cleanly\n"
    "  1  something failed while running, or no host answers\n"
    "  2  the command line is wrong\n"
    "  3  the site file is missing or wrong\n"
    "  4  a plug-in could not be loaded or started\n"
    "  5  the site store or the database failed; check: a history table holds rows that cannot be right";

void AddSite(CLI::App& command, CommandLine& result) {
    command.add_option("--site", result.site, "Site file (TOML)")->required()->type_name("FILE");
}

void AddPlugins(CLI::App& command, CommandLine& result) {
    command.add_option("--plugins", result.plugin_dir, "Folder of plug-ins; default: ../lib/qarhost/plugins")
        ->type_name("DIR");
}

}  // namespace

bool ParseCommandLine(int argc, const char* const* argv, const std::string& version, std::ostream& out,
                      std::ostream& err, CommandLine& result, int& exit_code) {
    using Command = CommandLine::Command;
    CLI::App app("Runs plug-ins on a site of devices", "qarhost");
    app.set_version_flag("--version", "qarhost " + version);
    app.footer(kExitCodes);
    app.require_subcommand(0, 1);
    // "-h" is no GNU long option, but what hands type first.
    app.set_help_flag("-h,--help", "Print this help and exit");

    CLI::App* run = app.add_subcommand("run", "Run the site until SIGTERM or SIGINT");
    AddSite(*run, result);
    AddPlugins(*run, result);

    CLI::App* check = app.add_subcommand("check", "Check a site file, its plug-ins and its history tables");
    AddSite(*check, result);
    AddPlugins(*check, result);

    CLI::App* status = app.add_subcommand("status", "Show what a running host knows");
    AddSite(*status, result);
    status->add_flag("--json", result.json, "Print the host's own answer, one line of JSON");

    CLI::App* guard = app.add_subcommand("guard", "Set a device's guard on a running host");
    AddSite(*guard, result);
    guard->add_option("DEVICE", result.device, "Id of the device")
        ->required()
        ->check(CLI::Range(1, std::numeric_limits<int>::max()));
    std::string on_off;
    guard->add_option("STATE", on_off, "on or off")->required();

    CLI::App* database = app.add_subcommand("database", "Point a running host to another database folder");
    AddSite(*database, result);
    database->add_option("--dir", result.database_dir, "Folder with one file for each schema")
        ->required()
        ->type_name("PATH")
        ->check([](const std::string& dir) { return dir.empty() ? "must not be empty" : std::string(); });

    CLI::App* password = app.add_subcommand(
        "password", "Set a user's password, asked for or read as one line; ends the user's sessions");
    AddSite(*password, result);
    password->add_option("USER", result.user, "Name of the user")->required();

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
        if (guard->parsed() && on_off != "on" && on_off != "off") {
            throw CLI::ValidationError("STATE must be on or off, not '" + on_off + "'");
        }
    } catch (const CLI::ParseError& e) {
        exit_code = app.exit(e, out, err) == 0 ? kExitOk : kExitCommandLine;
        return false;
    }
    result.command = run->parsed()        ? Command::kRun
                     : check->parsed()    ? Command::kCheck
                     : status->parsed()   ? Command::kStatus
                     : guard->parsed()    ? Command::kGuard
                     : database->parsed() ? Command::kDatabase
                                          : Command::kPassword;
    result.guard = on_off == "on";
    return true;
}

int RunCommandLine(int argc, const char* const* argv, const std::string& version) try {
    CommandLine command_line;
    int exit_code = kExitOk;
    if (!ParseCommandLine(argc, argv, version, std::cout, std::cerr, command_line, exit_code)) return exit_code;
    switch (command_line.command) {
        case CommandLine::Command::kRun: {
            StopSignal signal;
            return HostRun(command_line.site, command_line.plugin_dir, signal, std::cout).Run();
        }
        case CommandLine::Command::kCheck:
            return CheckSite(command_line.site, command_line.plugin_dir, std::cout, std::cerr);
        case CommandLine::Command::kStatus:
            return ShowStatus(command_line.site, command_line.json, std::cout, std::cerr);
        case CommandLine::Command::kGuard:
            return SetGuard(command_line.site, command_line.device, command_line.guard, std::cout, std::cerr);
        case CommandLine::Command::kDatabase:
            return SetDatabaseDir(command_line.site, command_line.database_dir, std::cout, std::cerr);
        case CommandLine::Command::kPassword:
            return SetPassword(command_line.site, command_line.user, std::cout, std::cerr);
    }
    return kExitCommandLine;
} catch (const std::exception& e) {
    std::cerr << "qarhost: " << e.what() << "\n";
    return kExitFailure;
}

}  // namespace qarhost
