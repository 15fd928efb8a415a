#include "host/PluginLoader.h"

#include <dlfcn.h>
#include <elf.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <fstream>

namespace qarhost {

namespace {

// Everything up to and with the last field of the first version.
constexpr std::size_t kSmallestSize = offsetof(qarhost_plugin_t, stop) + sizeof(qarhost_plugin_t::stop);

bool IsElf(const std::string& file) {
    std::array<char, SELFMAG> magic{};
    std::ifstream stream(file, std::ios::binary);
    return stream.read(magic.data(), magic.size()) && std::memcmp(magic.data(), ELFMAG, SELFMAG) == 0;
}

const qarhost_plugin_t* AskEntry(qarhost_plugin_entry_t entry, std::string& error) try {
    return entry();
} catch (const std::exception& e) {
    error = std::string(QARHOST_PLUGIN_ENTRY_NAME) + " threw: " + e.what();
    return nullptr;
} catch (...) {
    error = std::string(QARHOST_PLUGIN_ENTRY_NAME) + " threw what is no std::exception";
    return nullptr;
}

}  // namespace

bool CheckPlugin(const qarhost_plugin_t* plugin, std::string& error) {
    if (plugin == nullptr) {
        error = std::string(QARHOST_PLUGIN_ENTRY_NAME) + " gave null";
        return false;
    }
    if (plugin->abi_version != QARHOST_ABI_VERSION) {
        const bool newer = plugin->abi_version > QARHOST_ABI_VERSION;
        error = "built for version " + std::to_string(plugin->abi_version) + " of the plug-in entry, which is " +
                (newer ? "newer" : "older") + " than this host's version " + std::to_string(QARHOST_ABI_VERSION) +
                (newer ? ": take a newer host or build it again" : ": build it again");
        return false;
    }
    if (plugin->size < kSmallestSize) {
        error = "its description has " + std::to_string(plugin->size) + " bytes, at least " +
                std::to_string(kSmallestSize) + " are needed: build it again with plugin_entry.h of this host";
        return false;
    }
    if (plugin->start == nullptr) {
        error = "its description holds no start function";
        return false;
    }
    return true;
}

const qarhost_plugin_t* LoadPlugin(const std::string& file, std::string& error) {
    if (!IsElf(file)) {
        error = file + " is no shared library";
        return nullptr;
    }
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        error = std::string("cannot be loaded: ") + (reason != nullptr ? reason : file.c_str());
        return nullptr;
    }
    void* symbol = dlsym(library, QARHOST_PLUGIN_ENTRY_NAME);
    if (symbol == nullptr) {
        error = file + " does not export " QARHOST_PLUGIN_ENTRY_NAME ", so it is no plug-in";
        return nullptr;
    }
    qarhost_plugin_entry_t entry = nullptr;
    static_assert(sizeof entry == sizeof symbol);
    std::memcpy(&entry, &symbol, sizeof entry);
    const qarhost_plugin_t* plugin = AskEntry(entry, error);
    if (plugin == nullptr && !error.empty()) return nullptr;
    return CheckPlugin(plugin, error) ? plugin : nullptr;
}

}  // namespace qarhost
