#pragma once

#include <list>
#include <memory>
#include <string>

#include "qar/Export.h"

namespace moxcore {
class IMoxMemoryBlock;
}

namespace qar {

/// A further buffer of an event. Valid while the message that it came from lives.
class QARCOMMON_API IBusMsgExtendContentData {
public:
    virtual ~IBusMsgExtendContentData();

    virtual const char* GetData() const = 0;
    /// @return bytes behind GetData()
    virtual unsigned int GetDataSize() const = 0;
};

/// A message, whatever road it took. The raw block is the text, one NUL, then the binary part; without a binary part it
/// is the text and its NUL, without a text it begins with the NUL.
/// A message does not change once it is made, so threads may read it together. It lives in a std::shared_ptr for one
/// dispatch; who keeps the pointer keeps the message and its block.
class QARCOMMON_API IBusMsg {
public:
    virtual ~IBusMsg();

    /// @return event type, change type or message type
    virtual int Type() const = 0;
    /// @return type of the resource that the message is about; -1 when unknown
    virtual int SourceType() const = 0;
    /// @return id of that resource; 0xFFFFFFFF when unknown
    virtual unsigned int SourceID() const = 0;
    /// @return the raw block, which lives as long as the message; may be null
    virtual const char* Data() const = 0;
    /// @return bytes in the raw block
    virtual unsigned int DataSize() const = 0;
    /// @return whether the block is more than plain text
    virtual bool BinaryData() const = 0;
    /// @return the text part; "" when there is none
    virtual std::string GetJsonTxt() const = 0;
    /// @return the binary part, behind the text's NUL; null when there is none
    virtual const char* GetBinaryData() const = 0;
    /// @return the sending plug-in; "not provide" when it is not told
    virtual std::string PluginID() const;
    /// Appends an event's further buffers; other kinds of messages have none.
    virtual void GetExtendContentDatas(std::list<std::shared_ptr<IBusMsgExtendContentData>>& datas);
    /// Appends an event's pictures; other kinds of messages have none.
    virtual void GetPictureBinaryDatas(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures);
};

/// A message that a plug-in makes itself. It copies what it is given.
class QARCOMMON_API CBusMsgCommon : public IBusMsg {
public:
    /// @param type         message type
    /// @param source_type  type of the resource that the message is about
    /// @param source_id    id of that resource
    /// @param json         text part; a message with an empty text is a binary one
    /// @param binary       binary part; may be null, it counts as zeros then
    /// @param binary_size  bytes at `binary`
    CBusMsgCommon(int type, int source_type, unsigned int source_id, const std::string& json, const char* binary,
                  unsigned int binary_size);
    /// @param plugin_id  the sending plug-in
    CBusMsgCommon(int type, int source_type, unsigned int source_id, const std::string& json, const char* binary,
                  unsigned int binary_size, const std::string& plugin_id);
    /// The copy's block is one byte longer than the source's; plug-ins rely on that DataSize(). What the last byte
    /// holds is not said.
    CBusMsgCommon(const CBusMsgCommon& other);
    /// As the copy constructor. The block that the target had before stays in memory to the end of the process, so that
    /// a Data() pointer taken from it stays readable: do not assign in a loop.
    CBusMsgCommon& operator=(const CBusMsgCommon& other);
    ~CBusMsgCommon() override;

    int Type() const override;
    int SourceType() const override;
    unsigned int SourceID() const override;
    const char* Data() const override;
    unsigned int DataSize() const override;
    bool BinaryData() const override;
    std::string GetJsonTxt() const override;
    const char* GetBinaryData() const override;
    std::string PluginID() const override;

private:
    class Impl;
    Impl* ptr_impl_;
};

}  // namespace qar
