// The description holds no start.
#include <qarhost/plugin_entry.h>

namespace {

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "no_start", "1.0", nullptr, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
