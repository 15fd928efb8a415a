#include "zelplatformadaptor/PluginMsgBusEvent.h"

#include <utility>

#include "internal/Log.h"
#include "zelplatformadaptor/BusMsgBlock.h"
#include "zelplatformadaptor/MessageBusPlatformContentWrap.h"

namespace qar {

using internal::kLogWarning;
using internal::kModuleCommon;
using ZELPlatform::CEventBaseContent;
using ZELPlatform::kContentTextAndBinary;

CPluginMsgBusEvent::CPluginMsgBusEvent(int type, int source_type, unsigned int source_id,
                                       std::shared_ptr<ZELPlatform::CBaseContent> content)
    : ptr_content(std::move(content)),
      n_type(type),
      n_source_type(source_type),
      n_source_id(source_id),
      p_data(nullptr),
      n_data_size(0) {
    if (ptr_content == nullptr) return;
    const internal::BusMsgBlock block = internal::ContentBlock(*ptr_content);
    p_data = block.p_data;
    n_data_size = block.n_data_size;
}

int CPluginMsgBusEvent::Type() const { return n_type; }
int CPluginMsgBusEvent::SourceType() const { return n_source_type; }
unsigned int CPluginMsgBusEvent::SourceID() const { return n_source_id; }
const char* CPluginMsgBusEvent::Data() const { return p_data; }
unsigned int CPluginMsgBusEvent::DataSize() const { return n_data_size; }
bool CPluginMsgBusEvent::BinaryData() const { return internal::ContentIsBinary(ptr_content); }
std::string CPluginMsgBusEvent::GetJsonTxt() const { return internal::BlockText(p_data, n_data_size); }
const char* CPluginMsgBusEvent::GetBinaryData() const { return internal::BlockBinary(p_data, n_data_size); }

void CPluginMsgBusEvent::GetExtendContentDatas(std::list<std::shared_ptr<IBusMsgExtendContentData>>& datas) {
    if (ptr_content == nullptr) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]platform msg empty[%s(%d)]");
        return;
    }
    const int kind = ptr_content->ContentType();
    if (kind != kContentTextAndBinary) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]event type not text_and_binary_type [%d:%d][%s(%d)]", kind,
                static_cast<int>(kContentTextAndBinary));
        return;
    }
    const auto event = std::dynamic_pointer_cast<CEventBaseContent>(ptr_content);
    if (event == nullptr) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]cast to CEventBaseContent failed[%s(%d)]");
        return;
    }
    for (const auto& [data, size] : event->GetExtendBuffers()) {
        datas.push_back(std::make_shared<CBusMsgExtendContentData>(data, size));
    }
}

void CPluginMsgBusEvent::GetPictureBinaryDatas(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) {
    if (ptr_content == nullptr) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]platform msg empty[%s(%d)]");
        return;
    }
    const int kind = ptr_content->ContentType();
    if (kind != kContentTextAndBinary) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]event type not text_and_binary_type [%d:%d][%s(%d)]", kind,
                static_cast<int>(kContentTextAndBinary));
        return;
    }
    const auto event = std::dynamic_pointer_cast<CEventBaseContent>(ptr_content);
    if (event == nullptr) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]cast to CEventBaseContent failed[%s(%d)]");
        return;
    }
    if (!event->GetPictureBinaryData(pictures)) {
        QAR_LOG(kLogWarning, kModuleCommon, "[%s]GetPictureBinaryData failed.[%s(%d)]");
    }
}

}  // namespace qar
