#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "Backfill.h"
#include "Config.h"
#include "qarhost/plugin_entry.h"

namespace {

std::unique_ptr<backfill::Backfill> g_backfill;

int Begin(const backfill::Backfill::Report& report, const qarhost_context_t& context) {
    backfill::Config config;
    std::string error;
    if (!backfill::ReadConfig(context.config_json, context.data_dir, config, error)) {
        report(error);
        return 1;
    }
    auto plugin = std::make_unique<backfill::Backfill>(context.plugin_id, config, report);
    if (!plugin->Start(error)) {
        report(error);
        return 1;
    }
    g_backfill = std::move(plugin);
    return 0;
}

// no exception may cross the C entry
int Start(const qarhost_context_t* context) {
    try {
        return Begin([context](const std::string& message) { context->report(message.c_str()); }, *context);
    } catch (const std::exception& error) {
        context->report(error.what());
    } catch (...) {
        context->report("unknown exception");
    }
    return 1;
}

void Stop() { g_backfill.reset(); }

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "backfill", "1.0.0", Start, Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
