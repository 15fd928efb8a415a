#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define QAR_LEAK_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QAR_LEAK_SANITIZER 1
#endif
#endif

#ifdef QAR_LEAK_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace qar::internal {

/// Says that an object on the heap, and what it holds, is left to the end of the process on purpose. Only a build with
/// the leak sanitizer hears it.
inline void LeftToProcessEnd([[maybe_unused]] const void* object) {
#ifdef QAR_LEAK_SANITIZER
    __lsan_ignore_object(object);
#endif
}

}  // namespace qar::internal
