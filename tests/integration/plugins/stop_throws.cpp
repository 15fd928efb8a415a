// Stop throws.
#include <qarhost/plugin_entry.h>

#include <stdexcept>

namespace {

int Start(const qarhost_context_t*) { return 0; }
void Stop() { throw std::runtime_error("not in the mood"); }
const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "stop_throws", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
