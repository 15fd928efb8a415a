#include "zelplatformadaptor/MsgContent.h"

#include <list>

namespace qar {

CMsgContent::CMsgContent(const std::shared_ptr<ZELPlatform::CMsgPushInfo>& push_info) : ptr_push_info(push_info) {}

int CMsgContent::Type() const { return ptr_push_info != nullptr ? ptr_push_info->GetTypeValue() : 0; }
int CMsgContent::SourceType() const { return -1; }
unsigned int CMsgContent::SourceID() const { return 0xFFFFFFFF; }
const char* CMsgContent::Data() const { return nullptr; }
unsigned int CMsgContent::DataSize() const { return 0; }

bool CMsgContent::BinaryData() const {
    const auto content = Content();
    return content != nullptr && content->ContentType() == ZELPlatform::kContentBinary;
}

std::string CMsgContent::GetJsonTxt() const {
    const auto content = Content();
    ZELPlatform::CMsgBusContentBase::Buffer buffer;
    if (content == nullptr || !content->GetTextContent(buffer) || buffer.data == nullptr) return {};
    return std::string(buffer.data, buffer.size);
}

const char* CMsgContent::GetBinaryData() const {
    const auto content = Content();
    std::list<ZELPlatform::CMsgBusContentBase::Buffer> buffers;
    if (content == nullptr || !content->GetBinaryContents(buffers) || buffers.empty()) return nullptr;
    return buffers.front().data;
}

std::shared_ptr<ZELPlatform::CMsgBusContentBase> CMsgContent::Content() const {
    return ptr_push_info != nullptr ? ptr_push_info->GetMsgContent() : nullptr;
}

}  // namespace qar
