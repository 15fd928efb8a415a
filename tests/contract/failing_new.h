#pragma once

#include <string>

// The thread sanitizer lets nobody replace operator new; cases that need it are left out there.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QAR_OPERATOR_NEW_IS_FIXED
#endif
#endif

namespace qar::contract_test {

/// While it stands, the calling thread's n-th call of operator new from here on throws std::bad_alloc, once.
class NewFails {
public:
    explicit NewFails(int nth);
    ~NewFails();
    NewFails(const NewFails&) = delete;
    NewFails& operator=(const NewFails&) = delete;
};

/// @return blocks that the calling thread has allocated, less those it has freed
long BlocksHeld();

/// @return what the library has logged on the calling thread since the last call, each line's text behind the one
///         before, cut where the room for them ends
std::string TakeLog();

}  // namespace qar::contract_test
