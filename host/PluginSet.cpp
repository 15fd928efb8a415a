#include "host/PluginSet.h"

#include <exception>
#include <utility>

#include "host/PluginLoader.h"
#include "host/Report.h"

namespace qarhost {

struct PluginSet::Plugin {
    std::string id;
    std::string path;
    PluginContext context;
    std::string state = "waiting";
    const qarhost_plugin_t* entry = nullptr;

    Plugin(const qarplatform::PluginRecord& record, const std::string& data_dir)
        : id(record.id), path(record.path), context(record.id, record.config_json, data_dir) {}
};

namespace {

std::string Quoted(const std::string& id) { return "plug-in \"" + id + "\""; }

std::string TextOf(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

PluginSet::PluginSet(const std::vector<qarplatform::PluginRecord>& records, PluginFolders folders, std::string data_dir)
    : folders_(std::move(folders)) {
    for (const auto& record : records) plugins_.push_back(std::make_unique<Plugin>(record, data_dir));
}

PluginSet::~PluginSet() = default;

bool PluginSet::Start(std::string& error) {
    for (const auto& plugin : plugins_) {
        SetState(*plugin, "starting");
        if (!Load(*plugin, error) || !StartOne(*plugin, error)) {
            SetState(*plugin, "failed");
            error.insert(0, Quoted(plugin->id) + ": ");
            return false;
        }
        SetState(*plugin, "started");
        LogNote(Quoted(plugin->id) + " started: " + TextOf(plugin->entry->name) + " " + TextOf(plugin->entry->version));
    }
    return true;
}

bool PluginSet::Stop() {
    bool clean = true;
    for (auto it = plugins_.rbegin(); it != plugins_.rend(); ++it) {
        Plugin& plugin = **it;
        if (plugin.state != "started") continue;
        SetState(plugin, "stopping");
        try {
            if (plugin.entry->stop != nullptr) plugin.entry->stop();
        } catch (const std::exception& e) {
            clean = false;
            TellError(Quoted(plugin.id) + ": stop threw: " + e.what());
        } catch (...) {
            clean = false;
            TellError(Quoted(plugin.id) + ": stop threw what is no std::exception");
        }
        SetState(plugin, "stopped");
        LogNote(Quoted(plugin.id) + " stopped");
    }
    return clean;
}

std::vector<PluginStatus> PluginSet::Status() const {
    const std::lock_guard guard(lock_);
    std::vector<PluginStatus> status;
    for (const auto& plugin : plugins_) status.push_back({plugin->id, plugin->state});
    return status;
}

std::vector<std::string> PluginSet::Check() {
    std::vector<std::string> wrong;
    for (const auto& plugin : plugins_) {
        std::string error;
        if (!Load(*plugin, error)) wrong.push_back(Quoted(plugin->id) + ": " + error);
    }
    return wrong;
}

bool PluginSet::Load(Plugin& plugin, std::string& error) {
    const auto file = FindPluginFile(plugin.path, folders_, error);
    if (!file) return false;
    const qarhost_plugin_t* entry = LoadPlugin(*file, error);
    if (entry == nullptr) return false;
    for (const auto& other : plugins_) {
        if (other->entry == entry) {
            error = *file + " is already loaded as " + Quoted(other->id) + "; a plug-in runs once in a host";
            return false;
        }
    }
    plugin.entry = entry;
    return true;
}

bool PluginSet::StartOne(Plugin& plugin, std::string& error) try {
    PluginContext::ForgetReports();
    const int result = plugin.entry->start(plugin.context.Get());
    if (result == 0) return true;
    error = "start gave " + std::to_string(result);
    if (!PluginContext::LastReport().empty()) error += ": " + PluginContext::LastReport();
    return false;
} catch (const std::exception& e) {
    error = std::string("start threw: ") + e.what();
    return false;
} catch (...) {
    error = "start threw what is no std::exception";
    return false;
}

void PluginSet::SetState(Plugin& plugin, const char* state) {
    const std::lock_guard guard(lock_);
    plugin.state = state;
}

}  // namespace qarhost
