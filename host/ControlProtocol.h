#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/PluginSet.h"
#include "standalone/base/TimerStatus.h"
#include "standalone/device/DeviceLayer.h"

namespace qarhost {

/// What a running host tells of itself.
struct HostStatus {
    std::string site;
    pid_t pid = 0;
    double clock_scale = 1.0;
    int64_t clock_now_ms = 0;  ///< scaled moment, milliseconds since 1970 UTC
    std::string database_dir;
    std::string front;  ///< "https://127.0.0.1:8443"; "" without one
    std::vector<qarplatform::TimerStatus> timers;
    std::vector<qarplatform::DeviceStatus> devices;
    std::vector<PluginStatus> plugins;
};

/// What can be asked of a running host.
class HostControl {
public:
    virtual ~HostControl() = default;

    virtual HostStatus Status() = 0;
    /// @param error  gets why not
    virtual bool SetGuard(int device_id, bool guard, std::string& error) = 0;
    /// @param dir    absolute path
    /// @param error  gets why not
    virtual bool SetDatabaseDir(const std::string& dir, std::string& error) = 0;
};

/// Answers a request, one line of JSON each without the newline:
///     {"command":"status"}
///     {"command":"guard","device":1,"on":true}
///     {"command":"database","dir":"/path"}
/// @return {"ok":true,…} or what ControlError gives
std::string AnswerControl(HostControl& host, const std::string& request);

/// @return {"ok":false,"error":"…"}
std::string ControlError(const std::string& text);

/// The requests, as a client sends them.
std::string StatusRequest();
std::string GuardRequest(int device_id, bool guard);
std::string DatabaseRequest(const std::string& dir);

/// Reads an answer.
/// @param error   gets the host's own words, or that the answer cannot be understood
/// @param status  where not null, gets what a status answer tells
/// @return whether the host did what was asked
bool ReadControlAnswer(const std::string& answer, HostStatus* status, std::string& error);

}  // namespace qarhost
