#include "zelplatformadaptor/BusMsgBlock.h"

#include <cstring>

namespace qar::internal {

namespace {

unsigned int TextLength(const char* data, unsigned int size) {
    return static_cast<unsigned int>(::strnlen(data, size));
}

}  // namespace

std::string BlockText(const char* data, unsigned int size) {
    if (data == nullptr) return {};
    return std::string(data, TextLength(data, size));
}

const char* BlockBinary(const char* data, unsigned int size) {
    if (data == nullptr) return nullptr;
    const unsigned int length = TextLength(data, size);
    return length < size ? data + length + 1 : nullptr;
}

BusMsgBlock ContentBlock(ZELPlatform::CBaseContent& content) {
    BusMsgBlock block;
    int size = 0;
    content.GetContent(&block.p_data, &size);  // what it wrote counts, whatever it answers
    if (size > 0) block.n_data_size = static_cast<unsigned int>(size);
    return block;
}

bool ContentIsBinary(const std::shared_ptr<ZELPlatform::CBaseContent>& content) {
    return content == nullptr || content->ContentType() != ZELPlatform::kContentText;
}

}  // namespace qar::internal
