#pragma once

#include <qarhost/plugin_entry.h>

#include <string>

namespace qarhost {

/// What a plug-in is handed, with the texts that it points to.
class PluginContext {
public:
    PluginContext(std::string plugin_id, std::string config_json, std::string data_dir);
    PluginContext(const PluginContext&) = delete;
    PluginContext& operator=(const PluginContext&) = delete;

    const qarhost_context_t* Get() const { return &context_; }

    /// Forgets what was reported on this thread.
    static void ForgetReports();
    /// @return the last line reported on this thread; "" where there was none
    static const std::string& LastReport();

private:
    const std::string plugin_id_;
    const std::string config_json_;
    const std::string data_dir_;
    const qarhost_context_t context_;
};

}  // namespace qarhost
