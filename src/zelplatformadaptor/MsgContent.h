#pragma once

#include <memory>
#include <string>

#include "ZELPlatform/MsgPushInfo.h"
#include "qar/IBusMsg.h"

namespace qar {

/// A notify message received from the platform.
class CMsgContent final : public IBusMsg {
public:
    explicit CMsgContent(const std::shared_ptr<ZELPlatform::CMsgPushInfo>& push_info);

    int Type() const override;
    int SourceType() const override;
    unsigned int SourceID() const override;
    const char* Data() const override;
    unsigned int DataSize() const override;
    bool BinaryData() const override;
    std::string GetJsonTxt() const override;
    const char* GetBinaryData() const override;

private:
    std::shared_ptr<ZELPlatform::CMsgBusContentBase> Content() const;

    std::shared_ptr<ZELPlatform::CMsgPushInfo> ptr_push_info;
};

}  // namespace qar
