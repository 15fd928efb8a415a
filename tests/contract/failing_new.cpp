#include "contract/failing_new.h"

#ifndef QAR_OPERATOR_NEW_IS_FIXED

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "LogSink.h"

namespace {

thread_local int until_failure = 0;  // 0: none is due
thread_local long blocks_held = 0;

// no std::string, as its allocations would count
thread_local char log_text[4096] = "";
thread_local std::size_t log_length = 0;

void* Allocate(std::size_t size) noexcept {
    void* block = std::malloc(size != 0 ? size : 1);
    if (block != nullptr) ++blocks_held;
    return block;
}

void Free(void* block) noexcept {
    if (block != nullptr) --blocks_held;
    std::free(block);
}

}  // namespace

// The program's definitions come before those of the shared libraries, for the libraries' own calls too.

void* operator new(std::size_t size) {
    if (until_failure > 0 && --until_failure == 0) throw std::bad_alloc();
    if (void* block = Allocate(size)) return block;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Free(block); }

void LogSinkWrite(int, const char*, const char* format, ...) {
    const std::size_t room = sizeof(log_text) - log_length;
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(log_text + log_length, room, format, values);
    va_end(values);
    if (length > 0 && static_cast<std::size_t>(length) < room) log_length += static_cast<std::size_t>(length);
}

namespace qar::contract_test {

NewFails::NewFails(int nth) { until_failure = nth; }
NewFails::~NewFails() { until_failure = 0; }

long BlocksHeld() { return blocks_held; }

std::string TakeLog() {
    std::string taken(log_text);
    log_text[0] = '\0';
    log_length = 0;
    return taken;
}

}  // namespace qar::contract_test

#endif
