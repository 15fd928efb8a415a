#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/PluginContext.h"
#include "host/PluginFile.h"
#include "standalone/site/SiteRecords.h"

namespace qarhost {

struct PluginStatus {
    std::string id;
    std::string state;  ///< "waiting", "starting", "started", "failed", "stopping" or "stopped"
};

/// The plug-ins of a host, from their files to their stop. Start and stop on one thread; status on any.
class PluginSet {
public:
    /// @param data_dir  handed to the plug-ins
    PluginSet(const std::vector<qarplatform::PluginRecord>& records, PluginFolders folders, std::string data_dir);
    ~PluginSet();
    PluginSet(const PluginSet&) = delete;
    PluginSet& operator=(const PluginSet&) = delete;

    /// Loads and starts all, one after the other in the order of the records, up to the first failure.
    /// @param error  gets what failed, with the plug-in's id
    bool Start(std::string& error);

    /// Stops those that were started, the last one first.
    /// @return false when one threw, with a line told for it
    bool Stop();

    std::vector<PluginStatus> Status() const;

    /// Loads all without starting any, for a check.
    /// @return what is wrong, one line each, with the plug-in's id
    std::vector<std::string> Check();

private:
    struct Plugin;

    bool Load(Plugin& plugin, std::string& error);
    bool StartOne(Plugin& plugin, std::string& error);
    void SetState(Plugin& plugin, const char* state);

    const PluginFolders folders_;
    std::vector<std::unique_ptr<Plugin>> plugins_;
    mutable std::mutex lock_;  // of the states
};

}  // namespace qarhost
