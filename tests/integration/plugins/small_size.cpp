// Built with a description that lacks its last field.
#include <qarhost/plugin_entry.h>

#include <cstddef>

namespace {

int Start(const qarhost_context_t*) { return 0; }
const qarhost_plugin_t kPlugin = {
    QARHOST_ABI_VERSION, offsetof(qarhost_plugin_t, stop), "small_size", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
