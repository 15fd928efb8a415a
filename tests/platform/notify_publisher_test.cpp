// What publishers of notify messages are told of those who want them.
#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ZELPlatform/MsgBusNotify.h"
#include "platform/NotifyParty.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using ZELPlatform::CMsgPublishInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::kMsgCategoryNotify;
using ZELPlatform::kSubscribe;
using ZELPlatform::kSubscriberClient;
using ZELPlatform::kSubscriberPlugin;
using ZELPlatform::SubscriberType;
using ZELPlatform::SubScribeType;
using namespace ZELPlatform::MsgBus;
using namespace notify;

/// What one callback of a publisher was told, as "+plugin 1,2" for types that a subscriber began to want.
class News {
public:
    void Add(SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info) {
        if (t_in_bus) told_in_bus_ = true;
        std::string text = (type == kSubscribe ? "+" : "-") + info->GetSubscriber();
        for (const int value : info->GetTypeValues()) {
            text += (value == *info->GetTypeValues().begin() ? " " : ",") + std::to_string(value);
        }
        std::lock_guard<std::mutex> lock(mutex_);
        told_.push_back(text);
        kinds_.push_back(info->GetSubscriberType());
    }
    std::vector<std::string> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return told_;
    }
    std::vector<SubscriberType> Kinds() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return kinds_;
    }
    bool ToldInsideAnOperation() const { return told_in_bus_; }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> told_;
    std::vector<SubscriberType> kinds_;
    std::atomic<bool> told_in_bus_{false};
};

std::shared_ptr<CMsgPublishInfo> Publisher(const std::set<int>& types, CMsgPublishInfo::Callback callback) {
    auto info = std::make_shared<CMsgPublishInfo>();
    info->SetPublisher("publisher");
    info->SetMsgCategory(kMsgCategoryNotify);
    info->SetTypeValues(types);
    info->SetCallback(std::move(callback));
    return info;
}

std::shared_ptr<News> Publish(const std::set<int>& types) {
    auto news = std::make_shared<News>();
    t_in_bus = true;
    EXPECT_TRUE(
        PublishMsg(Publisher(types, [news](SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info) {
            news->Add(type, info);
        })));
    t_in_bus = false;
    return news;
}

class NotifyPublisherTest : public NotifyTest {
protected:
    bool WaitForNews(const News& news, std::size_t count) {
        return WaitUntil([&] { return news.All().size() >= count; });
    }
};

TEST_F(NotifyPublisherTest, PublisherWithoutNameOrCallbackIsRefused) {
    const auto ignore = [](SubScribeType, const std::shared_ptr<CMsgSubscribedInfo>&) {};
    const auto nameless = Publisher({1}, ignore);
    nameless->SetPublisher("");
    ExpectRefused([&] { return PublishMsg(nameless); });
    ExpectRefused([&] { return PublishMsg(Publisher({1}, nullptr)); });
}

TEST_F(NotifyPublisherTest, PublisherIsToldOfSubscriptionsThatBeginAndEnd) {
    const auto news = Publish({1, 2, 3});
    ASSERT_TRUE(Subscribe(inbox_, {1, 2, 77}, "plugin"));
    ASSERT_TRUE(Subscribe(inbox_, {2, 3}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {1}, "client", kSubscriberClient));
    ASSERT_TRUE(UnsubscribeMsg(Subscription({2, 77}, "plugin")));
    ASSERT_TRUE(Unsubscribe({3}));
    ASSERT_TRUE(WaitForNews(*news, 5));
    EXPECT_THAT(news->All(), ElementsAre("+plugin 1,2", "+plugin 3", "+client 1", "-plugin 2", "-plugin 3"));
    EXPECT_THAT(news->Kinds(), ElementsAre(kSubscriberPlugin, kSubscriberPlugin, kSubscriberClient, kSubscriberPlugin,
                                           kSubscriberPlugin));
}

TEST_F(NotifyPublisherTest, PublisherIsToldOfEachSubscriberThatAnUnsubscribeEnds) {
    const auto news = Publish({1});
    ASSERT_TRUE(Subscribe(inbox_, {1}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {1}, "other"));
    ASSERT_TRUE(Unsubscribe({1}));
    ASSERT_TRUE(WaitForNews(*news, 4));
    EXPECT_THAT(news->All(), UnorderedElementsAre("+plugin 1", "+other 1", "-plugin 1", "-other 1"));
}

TEST_F(NotifyPublisherTest, PublisherIsToldOfSubscriptionsThatStoodBefore) {
    ASSERT_TRUE(Subscribe(inbox_, {1, 77}, "plugin"));
    ASSERT_TRUE(Subscribe(other_, {2}, "other"));
    ASSERT_TRUE(UnsubscribeMsg(Subscription({2}, "other")));
    const auto news = Publish({1, 2});
    ASSERT_TRUE(Subscribe(other_, {1}, "last"));
    ASSERT_TRUE(WaitForNews(*news, 2));
    EXPECT_THAT(news->All(), ElementsAre("+plugin 1", "+last 1"));
}

TEST_F(NotifyPublisherTest, SecondPublishAddsTypesAndKeepsBothCallbacks) {
    const auto first = Publish({1});
    const auto second = Publish({2});
    ASSERT_TRUE(Subscribe(inbox_, {1, 2}, "plugin"));
    ASSERT_TRUE(WaitForNews(*first, 1));
    ASSERT_TRUE(WaitForNews(*second, 1));
    EXPECT_THAT(first->All(), ElementsAre("+plugin 1,2"));
    EXPECT_THAT(second->All(), ElementsAre("+plugin 1,2"));
}

TEST_F(NotifyPublisherTest, PublisherIsNeverToldInsideAnOperation) {
    ASSERT_TRUE(Subscribe(inbox_, {1}, "plugin"));
    const auto news = Publish({1, 2});
    ASSERT_TRUE(Subscribe(inbox_, {2}, "plugin"));
    ASSERT_TRUE(Unsubscribe({1}));
    ASSERT_TRUE(WaitForNews(*news, 3));
    EXPECT_FALSE(news->ToldInsideAnOperation());
}

TEST_F(NotifyPublisherTest, WhatAPublishersCallbackThrowsCostsItNothing) {
    auto told = std::make_shared<News>();
    ASSERT_TRUE(
        PublishMsg(Publisher({1, 2}, [told](SubScribeType type, const std::shared_ptr<CMsgSubscribedInfo>& info) {
            told->Add(type, info);
            throw std::runtime_error("on purpose");
        })));
    ASSERT_TRUE(Subscribe(inbox_, {1}, "plugin"));
    ASSERT_TRUE(Subscribe(inbox_, {2}, "plugin"));
    ASSERT_TRUE(WaitForNews(*told, 2));
    EXPECT_THAT(told->All(), ElementsAre("+plugin 1", "+plugin 2"));
}

}  // namespace
}  // namespace platform_tests
