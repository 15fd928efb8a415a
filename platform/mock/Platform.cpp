#include "mock/Platform.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "Mox/Base/Error.h"

namespace qarmock {

namespace {

std::atomic<Platform*> g_installed{nullptr};

[[noreturn]] void Fail(const char* text) {
    std::fprintf(stderr, "mock platform: %s\n", text);
    std::abort();
}

}  // namespace

Platform::Platform() : resources(site), time_zone(site), devices(site) {
    Platform* none = nullptr;
    if (!g_installed.compare_exchange_strong(none, this)) Fail("there is one already");
    Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode());
}

Platform::~Platform() { g_installed.store(nullptr); }

Platform& Platform::Current() {
    Platform* installed = Installed();
    if (installed == nullptr) Fail("none stands; make a qarmock::Platform in the test's fixture");
    return *installed;
}

Platform* Platform::Installed() { return g_installed.load(); }

}  // namespace qarmock
