#pragma once

#include <cstddef>

namespace qarutil {

/// Fills `count` bytes of `dest` with `value`.
/// @param dest_size  bytes that may be written
/// @return 0; or non-zero, with nothing written, when `dest` is null or `count` is above `dest_size`
int memset_s(void* dest, std::size_t dest_size, int value, std::size_t count);

/// Copies `count` bytes from `src` to `dest`, which must not overlap.
/// @param dest_size  bytes that may be written
/// @return 0; or non-zero when `dest` is null (nothing written), or when `src` is null or `count` is above `dest_size`
///         (`dest_size` bytes are zeroed)
int memcpy_s(void* dest, std::size_t dest_size, const void* src, std::size_t count);

}  // namespace qarutil
