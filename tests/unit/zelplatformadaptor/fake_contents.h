#pragma once

#include <list>
#include <memory>
#include <string>
#include <utility>

#include "ZELPlatform/BaseContent.h"

namespace qar::test {

/// A platform content that answers as its fields say.
class FakeContent : public ZELPlatform::CBaseContent {
public:
    FakeContent() = default;
    explicit FakeContent(std::string text) : block(std::move(text)) {
        data = block.data();
        size = static_cast<int>(block.size());
    }

    bool GetContent(const char** content_data, int* content_size) override {
        *content_data = data;
        *content_size = size;
        return answer;
    }
    int ContentType() override { return kind; }

    std::string block;
    const char* data = nullptr;
    int size = 0;
    int kind = ZELPlatform::kContentText;
    bool answer = true;
};

/// A content that writes nothing.
class SilentContent : public ZELPlatform::CBaseContent {
public:
    bool GetContent(const char**, int*) override { return true; }
};

}  // namespace qar::test
