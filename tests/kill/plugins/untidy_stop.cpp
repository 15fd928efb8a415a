// Ends as its configuration "way" says: "child" leaves a process behind, "report" has the words of a sanitizer on
// standard error.
#include <qarhost/plugin_entry.h>
#include <spawn.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

std::string way;

int Start(const qarhost_context_t* context) {
    way = context->config_json;
    return 0;
}

void Stop() {
    if (way.find("child") != std::string::npos) {
        char program[] = "/bin/sleep";
        char time[] = "600";
        char* const words[] = {program, time, nullptr};
        pid_t pid = 0;
        posix_spawn(&pid, program, nullptr, nullptr, words, environ);
    } else {
        std::fputs("==1==ERROR: AddressSanitizer: heap-use-after-free\n", stderr);
    }
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "untidy_stop", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
