// Needs a function that no library has.
#include <qarhost/plugin_entry.h>

extern "C" int function_that_nobody_has();

namespace {

int Start(const qarhost_context_t*) { return function_that_nobody_has(); }
const qarhost_plugin_t kPlugin = {
    QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "unresolved_symbol", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
