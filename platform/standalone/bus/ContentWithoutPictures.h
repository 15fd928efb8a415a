#pragma once

#include <list>
#include <memory>
#include <utility>

#include "ZELPlatform/BaseContent.h"

namespace qarplatform {

/// An event's content for a subscriber that did not ask for pictures.
class ContentWithoutPictures final : public ZELPlatform::CEventBaseContent {
public:
    /// @return `content` itself unless it can have pictures
    static std::shared_ptr<ZELPlatform::CBaseContent> Of(const std::shared_ptr<ZELPlatform::CBaseContent>& content);

    explicit ContentWithoutPictures(std::shared_ptr<ZELPlatform::CEventBaseContent> content);

    bool GetContent(const char** data, int* size) override;
    int ContentType() override;
    std::list<std::pair<const char*, unsigned int>> GetExtendBuffers() override;
    /// @return false
    bool GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& pictures) override;

private:
    const std::shared_ptr<ZELPlatform::CEventBaseContent> content_;
};

}  // namespace qarplatform
