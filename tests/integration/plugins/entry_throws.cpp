// The entry throws.
#include <qarhost/plugin_entry.h>

#include <stdexcept>

const qarhost_plugin_t* qarhost_plugin_entry(void) { throw std::runtime_error("no constant today"); }
