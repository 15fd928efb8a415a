#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "ZELPlatform/MsgBusNotify.h"
#include "platform/PlatformTest.h"

namespace platform_tests {
namespace notify {

/// A type behind all else, so that all before it is known to have come.
constexpr int kMark = 9999;

inline thread_local bool t_in_bus = false;  // inside an operation of the bus

/// A text and its NUL, as a message's content is one block.
class Text final : public ZELPlatform::CMsgBusContentBase {
public:
    explicit Text(std::string text) : text_(std::move(text)) {}
    bool GetTextContent(Buffer& buffer) override {
        buffer.data = text_.c_str();
        buffer.size = static_cast<unsigned int>(text_.size() + 1);
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>&) override { return false; }

private:
    const std::string text_;
};

inline std::string TextOf(ZELPlatform::CMsgPushInfo& info) {
    ZELPlatform::CMsgBusContentBase::Buffer buffer;
    const auto content = info.GetMsgContent();
    if (!content || !content->GetTextContent(buffer)) return "no text";
    return std::string(buffer.data, strnlen(buffer.data, buffer.size));
}

inline std::shared_ptr<ZELPlatform::CMsgPushInfo> Message(int type, const std::string& text = "text") {
    auto info = std::make_shared<ZELPlatform::CMsgPushInfo>();
    info->SetPublisher("publisher");
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValue(type);
    info->SetMsgContent(std::make_shared<Text>(text));
    return info;
}

/// What one callback of a subscriber got.
class Inbox {
public:
    void Add(const std::shared_ptr<ZELPlatform::CMsgPushInfo>& info) {
        if (t_in_bus) called_in_bus_ = true;
        std::lock_guard<std::mutex> lock(mutex_);
        received_.push_back(info);
    }
    std::vector<std::shared_ptr<ZELPlatform::CMsgPushInfo>> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }
    std::vector<int> Types() const {
        std::vector<int> types;
        for (const auto& info : All()) {
            if (info->GetTypeValue() != kMark) types.push_back(info->GetTypeValue());
        }
        return types;
    }
    std::size_t Marks() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return static_cast<std::size_t>(std::count_if(received_.begin(), received_.end(),
                                                      [](const auto& info) { return info->GetTypeValue() == kMark; }));
    }
    bool CalledInsideAnOperation() const { return called_in_bus_; }

private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<ZELPlatform::CMsgPushInfo>> received_;
    std::atomic<bool> called_in_bus_{false};
};

inline std::shared_ptr<ZELPlatform::CMsgSubscribedInfo> Subscription(
    const std::set<int>& types, const std::string& name,
    ZELPlatform::SubscriberType kind = ZELPlatform::kSubscriberPlugin) {
    auto info = std::make_shared<ZELPlatform::CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    info->SetSubscriber(name);
    info->SetSubscriberType(kind);
    return info;
}

inline bool Subscribe(const std::shared_ptr<Inbox>& inbox, const std::set<int>& types, const std::string& name,
                      ZELPlatform::SubscriberType kind = ZELPlatform::kSubscriberPlugin) {
    const auto info = Subscription(types, name, kind);
    info->SetCallback([inbox](const std::shared_ptr<ZELPlatform::CMsgPushInfo>& message) { inbox->Add(message); });
    t_in_bus = true;
    const bool done = ZELPlatform::MsgBus::SubscribeMsg(info);
    t_in_bus = false;
    return done;
}

inline bool Unsubscribe(const std::set<int>& types) {
    auto info = std::make_shared<ZELPlatform::CMsgSubscribedInfo>();
    info->SetMsgCategory(ZELPlatform::kMsgCategoryNotify);
    info->SetTypeValues(types);
    t_in_bus = true;
    const bool done = ZELPlatform::MsgBus::UnsubscribeMsg(info);
    t_in_bus = false;
    return done;
}

inline bool Push(const std::shared_ptr<ZELPlatform::CMsgPushInfo>& info) {
    t_in_bus = true;
    const bool pushed = ZELPlatform::MsgBus::PushMsgToSubscriber(info);
    t_in_bus = false;
    return pushed;
}

/// Base of the fixtures about notify messages.
class NotifyTest : public PlatformTest {
protected:
    /// All that was pushed before has come to the subscriber: its order is that of sending.
    bool WaitForMark(const Inbox& inbox, const std::string& name,
                     ZELPlatform::SubscriberType kind = ZELPlatform::kSubscriberPlugin) {
        const std::size_t before = inbox.Marks();
        EXPECT_TRUE(ZELPlatform::MsgBus::PushMsgToSpecifiedSubscribers({{kind, {name}}}, Message(kMark)));
        return WaitUntil([&] { return inbox.Marks() > before; });
    }
    static void ForgetError() { Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode()); }
    static bool ErrorIsSet() { return Mox::Base::Error::GetLastError() != Mox::Base::Error::ErrorCode(); }
    template <class Call>
    static void ExpectRefused(const Call& call) {
        ForgetError();
        EXPECT_FALSE(call());
        EXPECT_TRUE(ErrorIsSet());
    }
    const std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
    const std::shared_ptr<Inbox> other_ = std::make_shared<Inbox>();
};

}  // namespace notify
}  // namespace platform_tests
