#pragma once

#include <list>
#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"
#include "qar/IBusMsg.h"

namespace qar {

/// An event received from the platform. Borrows the content's block and keeps the content alive.
class CPluginMsgBusEvent final : public IBusMsg {
public:
    CPluginMsgBusEvent(int type, int source_type, unsigned int source_id,
                       std::shared_ptr<ZELPlatform::CBaseContent> content);

    int Type() const override;
    int SourceType() const override;
    unsigned int SourceID() const override;
    const char* Data() const override;
    unsigned int DataSize() const override;
    bool BinaryData() const override;
    std::string GetJsonTxt() const override;
    const char* GetBinaryData() const override;
    void GetExtendContentDatas(std::list<std::shared_ptr<IBusMsgExtendContentData>>& datas) override;
    void GetPictureBinaryDatas(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) override;

private:
    std::shared_ptr<ZELPlatform::CBaseContent> ptr_content;
    int n_type;
    int n_source_type;
    unsigned int n_source_id;
    const char* p_data;
    unsigned int n_data_size;
};

}  // namespace qar
