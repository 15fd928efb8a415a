// Built for a newer version of the entry than there is.
#include <qarhost/plugin_entry.h>

namespace {

int Start(const qarhost_context_t*) { return 0; }
const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION + 1, sizeof(qarhost_plugin_t), "version", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
