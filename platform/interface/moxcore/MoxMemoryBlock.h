#pragma once

namespace moxcore {

/// A block of bytes, held by std::shared_ptr.
class IMoxMemoryBlock {
public:
    virtual ~IMoxMemoryBlock() {}

    /// @return the first byte; null for an empty block; valid while the block lives
    virtual const char* GetData() const = 0;

    /// @return bytes in the block
    virtual unsigned int GetSize() const = 0;
};

}  // namespace moxcore
