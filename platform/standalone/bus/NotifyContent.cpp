#include "standalone/bus/NotifyContent.h"

#include <cstring>
#include <utility>

namespace qarplatform {

NotifyContent::NotifyContent(std::shared_ptr<ZELPlatform::CMsgBusContentBase> block) : block_(std::move(block)) {
    has_block_ = block_->GetTextContent(text_);
    if (!has_block_) return;
    kind_ = block_->ContentType();
    const char* const end = text_.data + text_.size;
    const void* const nul = text_.size > 0 ? std::memchr(text_.data, 0, text_.size) : nullptr;
    if (nul == nullptr) return;
    text_.size = static_cast<unsigned int>(static_cast<const char*>(nul) - text_.data);
    binary_.data = text_.data + text_.size + 1;
    binary_.size = static_cast<unsigned int>(end - binary_.data);
}

bool NotifyContent::GetTextContent(Buffer& buffer) {
    if (has_block_) buffer = text_;
    return has_block_;
}

bool NotifyContent::GetBinaryContents(std::list<Buffer>& buffers) {
    if (binary_.size == 0) return false;
    buffers.push_back(binary_);
    return true;
}

int NotifyContent::ContentType() { return kind_; }

}  // namespace qarplatform
