#include "host/ClientCommands.h"

#include <chrono>
#include <filesystem>
#include <ostream>

#include "host/ControlClient.h"
#include "host/ControlProtocol.h"
#include "host/ExitCode.h"
#include "host/SiteReading.h"
#include "host/StatusText.h"

namespace qarhost {

namespace {

constexpr std::chrono::seconds kTimeout{10};

// Sends a request to the host of a site and reads its answer.
int Ask(const std::string& site_file, const std::string& request, std::string& answer, HostStatus* status,
        std::ostream& err) {
    const auto site = ReadSite(site_file, err);
    if (!site) return kExitSiteFile;
    std::string error;
    if (AskHost(site->data_dir, request, kTimeout, answer, error) && ReadControlAnswer(answer, status, error)) {
        return kExitOk;
    }
    err << "qarhost: " << error << "\n";
    return kExitFailure;
}

}  // namespace

int ShowStatus(const std::string& site_file, bool json, std::ostream& out, std::ostream& err) {
    std::string answer;
    HostStatus status;
    const int exit_code = Ask(site_file, StatusRequest(), answer, &status, err);
    if (exit_code == kExitOk) out << (json ? answer + "\n" : StatusText(status));
    return exit_code;
}

int SetGuard(const std::string& site_file, int device_id, bool guard, std::ostream& out, std::ostream& err) {
    std::string answer;
    const int exit_code = Ask(site_file, GuardRequest(device_id, guard), answer, nullptr, err);
    if (exit_code == kExitOk) out << "device " << device_id << ": guard " << (guard ? "on" : "off") << "\n";
    return exit_code;
}

int SetDatabaseDir(const std::string& site_file, const std::string& dir, std::ostream& out, std::ostream& err) {
    const std::string absolute = std::filesystem::absolute(dir).lexically_normal().string();
    std::string answer;
    const int exit_code = Ask(site_file, DatabaseRequest(absolute), answer, nullptr, err);
    if (exit_code == kExitOk) out << "database " << absolute << "\n";
    return exit_code;
}

}  // namespace qarhost
