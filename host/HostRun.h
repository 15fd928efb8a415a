#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "host/ControlProtocol.h"
#include "host/ControlServer.h"
#include "host/DataDirLock.h"
#include "host/PluginSet.h"
#include "host/StopSignal.h"
#include "standalone/site/SiteFile.h"
#include "standalone/site/SiteStore.h"

namespace qarhost {

/// A host's life: the site's file and store, the platform's modules, the plug-ins, then the probes; stopped in the
/// reverse order. Once in a process, on its main thread.
class HostRun final : public HostControl {
public:
    /// @param plugin_dir  "" for the one beside the program
    /// @param signal      made before any thread; must outlive this
    /// @param out         gets the line that all is up and the line that all has stopped
    HostRun(std::string site_file, std::string plugin_dir, StopSignal& signal, std::ostream& out);
    HostRun(const HostRun&) = delete;
    HostRun& operator=(const HostRun&) = delete;

    /// Runs until asked to stop. @return what to exit with
    int Run();

    HostStatus Status() override;
    bool SetGuard(int device_id, bool guard, std::string& error) override;
    bool SetDatabaseDir(const std::string& dir, std::string& error) override;

private:
    using Step = int (HostRun::*)();

    /// A part of the host that has begun.
    struct End {
        const char* part;  ///< for people
        std::function<void()> stop;
    };

    int Start();
    void Stop();

    /// @return what may keep the stop waiting
    std::vector<std::string> StillRunning() const;

    // each does its step and names what ends it
    int ReadFile();
    int TakeDataDir();
    int OpenLog();
    int OpenStore();
    int SetClock();
    int StartSessions();
    int OpenDatabase();
    int LoadDevices();
    int StartPlugins();
    int StartFront();
    int StartProbes();
    int Listen();

    /// @return where users reach the host; "" without a front
    std::string FrontUrl() const;

    int Fail(int exit_code, const std::string& text);

    const std::string site_file_;
    const std::string plugin_dir_;
    StopSignal& signal_;
    std::ostream& out_;

    qarplatform::SiteFile file_;
    DataDirLock lock_;
    qarplatform::SiteStore store_;
    qarplatform::Site site_;
    int64_t origin_ms_ = 0;
    int64_t start_ms_ = 0;
    std::unique_ptr<PluginSet> plugins_;
    ControlServer control_;

    std::vector<End> ends_;
    bool clean_ = true;
};

}  // namespace qarhost
