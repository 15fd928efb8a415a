#include "host/PluginContext.h"

#include <utility>

#include "host/Report.h"

namespace qarhost {

namespace {

thread_local std::string last_report;

void ReportOfPlugin(const char* message) noexcept try {
    last_report = message != nullptr ? message : "";
    TellNote(last_report);
} catch (...) {
    // out of memory: the line is lost, the plug-in goes on
}

}  // namespace

PluginContext::PluginContext(std::string plugin_id, std::string config_json, std::string data_dir)
    : plugin_id_(std::move(plugin_id)),
      config_json_(std::move(config_json)),
      data_dir_(std::move(data_dir)),
      context_{QARHOST_ABI_VERSION,  sizeof(qarhost_context_t), plugin_id_.c_str(),
               config_json_.c_str(), data_dir_.c_str(),         &ReportOfPlugin} {}

void PluginContext::ForgetReports() { last_report.clear(); }

const std::string& PluginContext::LastReport() { return last_report; }

}  // namespace qarhost
