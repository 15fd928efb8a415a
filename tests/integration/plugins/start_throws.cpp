// Start throws: an exception, or with "odd" in its configuration something else.
#include <qarhost/plugin_entry.h>

#include <cstring>
#include <stdexcept>

namespace {

int Start(const qarhost_context_t* context) {
    if (std::strstr(context->config_json, "odd") != nullptr) throw 42;
    throw std::runtime_error("the moon is full");
}

const qarhost_plugin_t kPlugin = {
    QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "start_throws", "1.0", &Start, nullptr};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
