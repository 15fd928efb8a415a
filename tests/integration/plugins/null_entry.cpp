// The entry gives null.
#include <qarhost/plugin_entry.h>

const qarhost_plugin_t* qarhost_plugin_entry(void) { return nullptr; }
