#include "nothrow_new.h"

#include <atomic>
#include <cstddef>
#include <new>

namespace {

std::atomic<bool> nothrow_new_fails{false};

}  // namespace

// The linker leads each call of the kind that does not throw here (--wrap). To replace the operator itself would clash
// with the sanitizers, which bring their own.
extern "C" {
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
    return nothrow_new_fails ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
}

namespace qar::history_test {

NothrowNewFails::NothrowNewFails() { nothrow_new_fails = true; }
NothrowNewFails::~NothrowNewFails() { nothrow_new_fails = false; }

}  // namespace qar::history_test
