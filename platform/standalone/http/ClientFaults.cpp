#include "standalone/http/ClientFaults.h"

#include "standalone/log/PlatformLog.h"

namespace qarplatform {

namespace {

constexpr std::chrono::seconds kBetweenLines(1);

}  // namespace

void ClientFaults::Tell(const std::string& kind, const std::string& remote) {
    const std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    uint64_t left_out = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto [found, is_new] = kinds_.try_emplace(kind);
        if (!is_new && now - found->second.told < kBetweenLines) {
            ++found->second.left_out;
            return;
        }
        left_out = found->second.left_out;
        found->second = {now, 0};
    }
    const std::string client = remote.empty() ? "" : ", client " + remote;
    if (left_out == 0) {
        LogSinkWrite(kLogWarning, kModulePlatform, "http: %s%s", kind.c_str(), client.c_str());
    } else {
        LogSinkWrite(kLogWarning, kModulePlatform, "http: %s%s; %llu before it without a line", kind.c_str(),
                     client.c_str(), static_cast<unsigned long long>(left_out));
    }
}

void ClientFaults::TellLeftOut() {
    std::map<std::string, Kind> kinds;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        kinds.swap(kinds_);
    }
    for (const auto& [name, kind] : kinds) {
        if (kind.left_out != 0) {
            LogSinkWrite(kLogWarning, kModulePlatform, "http: %s; %llu more times without a line", name.c_str(),
                         static_cast<unsigned long long>(kind.left_out));
        }
    }
}

}  // namespace qarplatform
