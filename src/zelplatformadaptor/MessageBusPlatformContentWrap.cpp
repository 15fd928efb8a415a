#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"

#include <utility>

namespace qar {

namespace {

bool BlockOf(const std::shared_ptr<IBusMsg>& msg, const char** data, int* size) {
    if (msg == nullptr) return false;
    *data = msg->Data();
    *size = static_cast<int>(msg->DataSize());
    return true;
}

int KindOf(const IBusMsg& msg) { return msg.BinaryData() ? ZELPlatform::kContentBinary : ZELPlatform::kContentText; }

}  // namespace

CPlatformMsgContent::CPlatformMsgContent(std::shared_ptr<IBusMsg> msg) : ptr_msg(std::move(msg)) {}

bool CPlatformMsgContent::GetContent(const char** data, int* size) { return BlockOf(ptr_msg, data, size); }
int CPlatformMsgContent::ContentType() { return ptr_msg != nullptr ? KindOf(*ptr_msg) : 0; }

CPlatformMsgObserverContent::CPlatformMsgObserverContent(std::shared_ptr<IBusMsg> msg) : ptr_msg(std::move(msg)) {}

bool CPlatformMsgObserverContent::GetContent(const char** data, int* size) { return BlockOf(ptr_msg, data, size); }
int CPlatformMsgObserverContent::ContentType() { return ptr_msg != nullptr ? KindOf(*ptr_msg) : 0; }
int CPlatformMsgObserverContent::ObserverMsgType() { return ptr_msg != nullptr ? ptr_msg->Type() : -1; }

CNotifyMsgContent::CNotifyMsgContent(std::shared_ptr<IBusMsg> msg) : ptr_msg(std::move(msg)) {}

bool CNotifyMsgContent::GetTextContent(Buffer& buffer) {
    if (ptr_msg == nullptr) return false;
    buffer.data = ptr_msg->Data();
    buffer.size = ptr_msg->DataSize();
    return true;
}

bool CNotifyMsgContent::GetBinaryContents(std::list<Buffer>& buffers) {
    if (ptr_msg == nullptr) return false;
    Buffer buffer;
    buffer.data = ptr_msg->Data();
    buffer.size = ptr_msg->DataSize();
    buffers.push_back(buffer);
    return true;
}

int CNotifyMsgContent::ContentType() { return KindOf(*ptr_msg); }

CBusMsgExtendContentData::CBusMsgExtendContentData(const char* data, unsigned int size)
    : p_data(data), n_data_size(size) {}

const char* CBusMsgExtendContentData::GetData() const { return p_data; }
unsigned int CBusMsgExtendContentData::GetDataSize() const { return n_data_size; }

}  // namespace qar
