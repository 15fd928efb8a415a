// Ends the process as a sanitizer does: after 100 lines on standard error, at once, with a code of its own.
#include <qarhost/plugin_entry.h>
#include <unistd.h>

#include <cstdio>

namespace {

int Start(const qarhost_context_t*) {
    for (int line = 1; line <= 100; ++line) std::fprintf(stderr, "line %d\n", line);
    _exit(66);
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "ends_early", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
