#include "standalone/bus/ContentWithoutPictures.h"

namespace qarplatform {

using ZELPlatform::CBaseContent;
using ZELPlatform::CEventBaseContent;

std::shared_ptr<CBaseContent> ContentWithoutPictures::Of(const std::shared_ptr<CBaseContent>& content) {
    if (auto event_content = std::dynamic_pointer_cast<CEventBaseContent>(content)) {
        return std::make_shared<ContentWithoutPictures>(std::move(event_content));
    }
    return content;
}

ContentWithoutPictures::ContentWithoutPictures(std::shared_ptr<CEventBaseContent> content)
    : content_(std::move(content)) {}

bool ContentWithoutPictures::GetContent(const char** data, int* size) { return content_->GetContent(data, size); }

int ContentWithoutPictures::ContentType() { return content_->ContentType(); }

std::list<std::pair<const char*, unsigned int>> ContentWithoutPictures::GetExtendBuffers() {
    return content_->GetExtendBuffers();
}

bool ContentWithoutPictures::GetPictureBinaryData(std::list<std::shared_ptr<moxcore::IMoxMemoryBlock>>& /*pictures*/) {
    return false;
}

}  // namespace qarplatform
