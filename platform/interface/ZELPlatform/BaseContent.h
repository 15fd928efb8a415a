#pragma once

#include <list>
#include <memory>
#include <string>
#include <utility>

#include "moxcore/MoxMemoryBlock.h"

namespace ZELPlatform {

/// Kinds of a message's content.
enum ContentKind {
    kContentText = 1,           ///< text and its NUL
    kContentBinary = 2,         ///< text, one NUL, then the binary part
    kContentTextAndBinary = 3,  ///< text and binary in separate parts, a CEventBaseContent
};

/// Content of a message. Immutable once posted, so read from any thread.
class CBaseContent {
public:
    virtual ~CBaseContent() {}

    /// @param data  gets the content's block, which lives as long as the content; may become null
    /// @param size  gets the bytes in it
    /// @return false when there is no block; both may have been written all the same
    virtual bool GetContent(const char** data, int* size) = 0;

    /// @return a ContentKind
    virtual int ContentType() { return kContentText; }
};

/// Content of an observer message.
class CObserverBaseContent : public CBaseContent {
public:
    /// @return the type of the observer message
    virtual int ObserverMsgType() = 0;
};

/// Base of the topics' parameter classes: an observer message with a type and a text.
class CObserverParam : public CObserverBaseContent {
public:
    CObserverParam() : n_observer_msg_type_(-1) {}

    bool GetContent(const char** data, int* size) override {
        *data = str_text_.c_str();
        *size = static_cast<int>(str_text_.size()) + 1;
        return true;
    }
    int ObserverMsgType() override { return n_observer_msg_type_; }

    void SetObserverMsgType(int type) { n_observer_msg_type_ = type; }
    /// @param text  for the log, usually JSON; must not change once the message is posted
    void SetText(const std::string& text) { str_text_ = text; }

private:
    int n_observer_msg_type_;
    std::string str_text_;
};

/// Content of an event with text and binary in separate parts. Made by the platform.
class CEventBaseContent : public CBaseContent {
public:
    int ContentType() override { return kContentTextAndBinary; }

    /// @return the extend buffers, address and bytes, in order; the memory lives as long as the content
    virtual std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() = 0;

    /// Appends the event's pictures. @return false when they cannot be had; the list is as it was then
    virtual bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) = 0;
};

/// Content of a notify message.
class CMsgBusContentBase {
public:
    /// Address and bytes of a part of the content; the memory lives as long as the content.
    struct Buffer {
        Buffer() : data(nullptr), size(0) {}
        const char* data;
        unsigned int size;
    };

    /// @return false when there is no text; the buffer is as it was then
    virtual bool GetTextContent(Buffer& buffer) = 0;
    /// Appends the binary parts. @return false when there is none
    virtual bool GetBinaryContents(std::list<Buffer>& buffers) = 0;
    /// @return a ContentKind
    virtual int ContentType() { return kContentText; }

protected:
    ~CMsgBusContentBase() = default;
};

}  // namespace ZELPlatform
