// The smallest plug-in: it says hello once the library has answered it.
#include <qar/IPlatformAdapterInterface.h>
#include <qarhost/plugin_entry.h>

#include <string>

#ifndef HELLO_ABI_VERSION
#define HELLO_ABI_VERSION QARHOST_ABI_VERSION
#endif

namespace {

int Start(const qarhost_context_t* context) {
    if (!qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI()) {
        return 1;
    }
    context->report((std::string("hello from ") + context->plugin_id).c_str());
    return 0;
}

void Stop() {}

const qarhost_plugin_t kPlugin = {HELLO_ABI_VERSION, sizeof(qarhost_plugin_t), "hello", "1.0", &Start, &Stop};

}  // namespace

extern "C" __attribute__((visibility("default"))) const qarhost_plugin_t* qarhost_plugin_entry(void) {
    return &kPlugin;
}
