// Stop says that it has begun and does not return.
#include <qarhost/plugin_entry.h>
#include <unistd.h>

namespace {

void (*report)(const char*) = nullptr;

int Start(const qarhost_context_t* context) {
    report = context->report;
    return 0;
}

void Stop() {
    report("stop hangs");
    while (true) pause();
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "stop_hangs", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
