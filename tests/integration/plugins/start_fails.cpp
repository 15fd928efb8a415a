// Start says why it cannot and gives 7.
#include <qarhost/plugin_entry.h>

namespace {

int Start(const qarhost_context_t* context) {
    context->report("the moon is full");
    return 7;
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "start_fails", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
