#include "standalone/http/PushFrame.h"

#include <cstddef>
#include <list>
#include <string_view>
#include <utility>

#include "standalone/http/Utf8.h"

namespace qarplatform {

namespace {

// @param block  text with its NUL
PushFrame TextFrame(std::string block) {
    std::string_view text = block;
    if (!text.empty() && text.back() == '\0') text.remove_suffix(1);
    PushFrame frame;
    frame.text = IsUtf8(text);
    if (frame.text) block.resize(text.size());
    frame.data = std::make_shared<const std::string>(std::move(block));
    return frame;
}

PushFrame BinaryFrame(std::string block) {
    PushFrame frame;
    frame.data = std::make_shared<const std::string>(std::move(block));
    return frame;
}

}  // namespace

PushFrame MakeFrame(ZELPlatform::CBaseContent& content) {
    const char* data = nullptr;
    int size = 0;
    if (!content.GetContent(&data, &size) || data == nullptr || size <= 0) return {};
    std::string block(data, static_cast<std::size_t>(size));
    return content.ContentType() == ZELPlatform::kContentText ? TextFrame(std::move(block))
                                                              : BinaryFrame(std::move(block));
}

PushFrame MakeFrame(ZELPlatform::CMsgBusContentBase& content) {
    using Buffer = ZELPlatform::CMsgBusContentBase::Buffer;
    Buffer text;
    std::list<Buffer> binaries;
    const bool has_text = content.GetTextContent(text) && text.data != nullptr;
    const bool has_binary = content.GetBinaryContents(binaries);
    if (!has_text && !has_binary) return {};
    std::string block = has_text ? std::string(text.data, text.size) : std::string();
    if (!has_binary) return TextFrame(std::move(block));
    // the text may come with its NUL or without
    if (block.empty() || block.back() != '\0') block += '\0';
    for (const Buffer& binary : binaries) {
        if (binary.data != nullptr) block.append(binary.data, binary.size);
    }
    return BinaryFrame(std::move(block));
}

}  // namespace qarplatform
