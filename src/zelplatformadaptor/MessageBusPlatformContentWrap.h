#pragma once

#include <list>
#include <memory>

#include "ZELPlatform/BaseContent.h"
#include "qar/IBusMsg.h"

namespace qar {

// Wrappers that give a message the look of a platform's content. Each keeps its message alive.

/// A message as the content of an event or a push.
class CPlatformMsgContent final : public ZELPlatform::CBaseContent {
public:
    explicit CPlatformMsgContent(std::shared_ptr<IBusMsg> msg);

    bool GetContent(const char** data, int* size) override;
    int ContentType() override;

private:
    std::shared_ptr<IBusMsg> ptr_msg;
};

/// A message as the content of an observer message.
class CPlatformMsgObserverContent final : public ZELPlatform::CObserverBaseContent {
public:
    explicit CPlatformMsgObserverContent(std::shared_ptr<IBusMsg> msg);

    bool GetContent(const char** data, int* size) override;
    int ContentType() override;
    int ObserverMsgType() override;

private:
    std::shared_ptr<IBusMsg> ptr_msg;
};

/// A message as the content of a notify message. It hands out the message's whole block as text and as binary part; the
/// platform cuts it at the NUL.
class CNotifyMsgContent final : public ZELPlatform::CMsgBusContentBase {
public:
    explicit CNotifyMsgContent(std::shared_ptr<IBusMsg> msg);

    bool GetTextContent(Buffer& buffer) override;
    bool GetBinaryContents(std::list<Buffer>& buffers) override;
    /// Must not be called without a message.
    int ContentType() override;

private:
    std::shared_ptr<IBusMsg> ptr_msg;
};

/// A buffer of an event. Does not own the memory: valid while the message that it came from lives.
class CBusMsgExtendContentData final : public IBusMsgExtendContentData {
public:
    CBusMsgExtendContentData(const char* data, unsigned int size);

    const char* GetData() const override;
    unsigned int GetDataSize() const override;

private:
    const char* p_data;
    unsigned int n_data_size;
};

}  // namespace qar
