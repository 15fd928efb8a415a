#pragma once

#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"

namespace qar::internal {

// The raw block of a message: the text, one NUL, then the binary part.

/// A block that somebody else owns.
struct BusMsgBlock {
    const char* p_data = nullptr;
    unsigned int n_data_size = 0;
};

/// @return the bytes up to the first NUL, all of them when there is none; "" for a null block
std::string BlockText(const char* data, unsigned int size);

/// @return what lies behind the first NUL, which may be the block's end; null for a null block or without a NUL
const char* BlockBinary(const char* data, unsigned int size);

/// @return the content's block, which lives as long as the content; a negative size counts as 0
BusMsgBlock ContentBlock(ZELPlatform::CBaseContent& content);

/// @return whether the content is more than text; true without a content
bool ContentIsBinary(const std::shared_ptr<ZELPlatform::CBaseContent>& content);

}  // namespace qar::internal
