#pragma once

#include <list>
#include <memory>

#include "ZELPlatform/BaseContent.h"

namespace qarplatform {

/// A pushed message's content, cut in two: a plug-in hands out its whole block as text, which is the text, one NUL, and
/// the binary part. Keeps the plug-in's content, whose memory it hands out.
class NotifyContent final : public ZELPlatform::CMsgBusContentBase {
public:
    explicit NotifyContent(std::shared_ptr<ZELPlatform::CMsgBusContentBase> block);

    bool GetTextContent(Buffer& buffer) override;
    bool GetBinaryContents(std::list<Buffer>& buffers) override;
    int ContentType() override;

private:
    const std::shared_ptr<ZELPlatform::CMsgBusContentBase> block_;
    bool has_block_ = false;
    int kind_ = ZELPlatform::kContentText;
    Buffer text_;
    Buffer binary_;
};

}  // namespace qarplatform
