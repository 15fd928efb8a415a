#pragma once

#include <cstddef>
#include <cstring>

namespace test_support {

/// @return the slot of a virtual member function, counted from 0; -1 for a function that is not virtual
/// In the Itanium C++ ABI a pointer to a virtual member function holds the slot's offset in bytes, plus one.
template <class Member>
std::ptrdiff_t SlotOf(Member member) {
    std::ptrdiff_t words[2];
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(words, &member, sizeof(words));
    return words[0] % 2 == 1 ? words[0] / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

}  // namespace test_support
