// What producers of events are told of those who want them.
#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusEvents.h"
#include "platform/EventParty.h"

namespace platform_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using ZELPlatform::kSubscribe;
using ZELPlatform::SubScribeType;
using namespace ZELPlatform::MsgBus;
using namespace events;

/// What one function of a producer was told, as "+7" for event 7 that is wanted and "-7" for one no longer wanted.
class News {
public:
    void Add(SubScribeType type, const std::string& what) {
        if (t_in_bus) told_in_bus_ = true;
        std::lock_guard<std::mutex> lock(mutex_);
        told_.push_back((type == kSubscribe ? "+" : "-") + what);
    }
    std::vector<std::string> All() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return told_;
    }
    bool ToldInsideAnOperation() const { return told_in_bus_; }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> told_;
    std::atomic<bool> told_in_bus_{false};
};

std::string Text(const std::set<unsigned int>& ids) {
    std::string text;
    for (const unsigned int id : ids) text += (text.empty() ? "" : ",") + std::to_string(id);
    return "[" + text + "]";
}

std::shared_ptr<News> Produce(const std::set<int>& events) {
    auto news = std::make_shared<News>();
    t_in_bus = true;
    EXPECT_TRUE(
        RegistMsgCapacity(events, [news](SubScribeType type, int event, const std::set<unsigned int>& resources) {
            EXPECT_TRUE(resources.empty());
            news->Add(type, std::to_string(event));
        }));
    t_in_bus = false;
    return news;
}

/// As "+7 1001 [5,6]" for event 7 on the resources 5 and 6 of type 1001.
std::shared_ptr<News> ProduceOnResources(const std::map<int, std::set<int>>& events) {
    auto news = std::make_shared<News>();
    t_in_bus = true;
    EXPECT_TRUE(RegistMsgResourceCapacity(
        events, [news](SubScribeType type, int event, int resource_type, const std::set<unsigned int>& resources) {
            news->Add(type, std::to_string(event) + " " + std::to_string(resource_type) + " " + Text(resources));
        }));
    t_in_bus = false;
    return news;
}

/// As "+1001 [5,6]".
std::shared_ptr<News> ProduceOfTypes(const std::set<int>& resource_types) {
    auto news = std::make_shared<News>();
    t_in_bus = true;
    EXPECT_TRUE(RegistResourceCapacity(
        resource_types, [news](SubScribeType type, int resource_type, const std::set<unsigned int>& resources) {
            news->Add(type, std::to_string(resource_type) + " " + Text(resources));
        }));
    t_in_bus = false;
    return news;
}

constexpr int kLast = 9000;  // wanted behind all else, so that all before it is known to have been told

class EventCapacityTest : public EventTest {
protected:
    bool WaitForNews(const News& news, std::size_t count) {
        return WaitUntil([&] { return news.All().size() >= count; });
    }
    static std::set<int> AndLast(std::set<int> events) {
        events.insert(kLast);
        return events;
    }
    /// @return what a function was told up to the moment when kLast is wanted
    std::vector<std::string> UpToNow(const News& news) {
        const std::string mark = "+" + std::to_string(kLast);
        EXPECT_TRUE(Update({other_.Row(kLast)}));
        const auto told = [&] {
            const auto all = news.All();
            return !all.empty() && all.back() == mark;
        };
        EXPECT_TRUE(WaitUntil(told));
        auto all = news.All();
        all.pop_back();
        return all;
    }
};

TEST_F(EventCapacityTest, EmptyFunctionsAreRefusedWithALastError) {
    ForgetError();
    EXPECT_FALSE(RegistMsgCapacity({1}, nullptr));
    EXPECT_TRUE(ErrorIsSet());
    ForgetError();
    EXPECT_FALSE(RegistMsgResourceCapacity({{1, {1001}}}, nullptr));
    EXPECT_TRUE(ErrorIsSet());
    ForgetError();
    EXPECT_FALSE(RegistResourceCapacity({1001}, nullptr));
    EXPECT_TRUE(ErrorIsSet());
}

TEST_F(EventCapacityTest, ProducerIsToldOfTheFirstWhoWantsAnEventAndOfTheLastWhoNoLongerDoes) {
    const auto news = Produce(AndLast({7, 8}));
    ASSERT_TRUE(Update({plugin_.Row(7)}));
    ASSERT_TRUE(Update({other_.Row(7), client_.Row(7, {{1001}, {5}})}));
    ASSERT_TRUE(Update({client_.Row(8)}));
    ASSERT_TRUE(Update({plugin_.CancelRow(7), client_.CancelRow(8)}));
    ASSERT_TRUE(Update({other_.CancelRow(7)}));
    ASSERT_TRUE(Update({client_.CancelRow(7)}));
    EXPECT_THAT(UpToNow(*news), ElementsAre("+7", "+8", "-8", "-7"));
}

TEST_F(EventCapacityTest, ProducerIsToldOfPairsAsOfOneWish) {
    const auto news = Produce(AndLast({7}));
    ASSERT_TRUE(Update({plugin_.Row(7, {{5, 6}, {10, 11}})}));
    ASSERT_TRUE(Update({plugin_.Row(7)}));
    ASSERT_TRUE(Update({plugin_.CancelRow(7, {{5}, {10}})}));
    EXPECT_THAT(UpToNow(*news), ElementsAre("+7"));
}

TEST_F(EventCapacityTest, ProducerIsToldOfThoseWhoWantedItsEventsBefore) {
    ASSERT_TRUE(Update({plugin_.Row(7), client_.Row(8), plugin_.Row(9), plugin_.CancelRow(9)}));
    const auto news = Produce(AndLast({7, 8, 9}));
    EXPECT_THAT(UpToNow(*news), UnorderedElementsAre("+7", "+8"));
}

TEST_F(EventCapacityTest, ProducerIsToldOfItsOwnEventsAlone) {
    const auto news = Produce(AndLast({7}));
    ASSERT_TRUE(Update({plugin_.Row(1)}));
    EXPECT_THAT(UpToNow(*news), ElementsAre());
}

TEST_F(EventCapacityTest, SeveralProducersOfAnEventAreToldEach) {
    const auto first = Produce({7});
    const auto second = Produce({7, 8});
    ASSERT_TRUE(Update({plugin_.Row(7)}));
    EXPECT_TRUE(WaitForNews(*first, 1));
    EXPECT_TRUE(WaitForNews(*second, 1));
}

TEST_F(EventCapacityTest, ProducersAreNeverToldInsideAnOperation) {
    ASSERT_TRUE(Update({plugin_.Row(7), client_.Row(7, {{1001}, {5}}), client_.Row(kAllEvents, {{1001}, {5}})}));
    const auto events = Produce({7, 8});
    const auto both = ProduceOnResources({{7, {1001}}});
    const auto types = ProduceOfTypes({1001});
    ASSERT_TRUE(Update({plugin_.Row(8), client_.Row(7, {{1001}, {6}}), client_.Row(kAllEvents, {{1001}, {6}})}));
    ASSERT_TRUE(Update({client_.CancelRow(7), client_.CancelRow(kAllEvents)}));
    ASSERT_TRUE(WaitForNews(*events, 2));
    ASSERT_TRUE(WaitUntil([&] { return !both->All().empty() && both->All().back()[0] == '-'; }));
    ASSERT_TRUE(WaitUntil([&] { return !types->All().empty() && types->All().back()[0] == '-'; }));
    EXPECT_FALSE(events->ToldInsideAnOperation());
    EXPECT_FALSE(both->ToldInsideAnOperation());
    EXPECT_FALSE(types->ToldInsideAnOperation());
}

TEST_F(EventCapacityTest, WhatAProducersFunctionThrowsCostsItNothing) {
    auto told = std::make_shared<News>();
    ASSERT_TRUE(RegistMsgCapacity({7, 8}, [told](SubScribeType type, int event, const std::set<unsigned int>&) {
        told->Add(type, std::to_string(event));
        throw std::runtime_error("on purpose");
    }));
    ASSERT_TRUE(Update({plugin_.Row(7)}));
    ASSERT_TRUE(Update({plugin_.Row(8)}));
    ASSERT_TRUE(WaitForNews(*told, 2));
    EXPECT_THAT(told->All(), ElementsAre("+7", "+8"));
}

TEST_F(EventCapacityTest, ProducersFunctionMaySubscribeAndPost) {
    const Party plugin = plugin_;
    ASSERT_TRUE(RegistMsgCapacity({7}, [plugin](SubScribeType, int, const std::set<unsigned int>&) {
        std::list<CMsgSubScribeErrorInfo> errors;
        UpdateSubscribeList(errors, {plugin.Row(8)});
        MsgNotifyBySubscription(8, 0, 0, nullptr, "plugin", 0);
    }));
    ASSERT_TRUE(Update({other_.Row(7)}));
    EXPECT_TRUE(WaitUntil([this] { return plugin_.Types() == std::vector<int>{8}; }));
}

TEST_F(EventCapacityTest, ClientsResourcesOfAnEventAreTold) {
    const auto news = ProduceOnResources({{7, {1001, 1002}}});
    ASSERT_TRUE(Update({client_.Row(7, {{1001}, {5, 0xFFFFFFFEu}})}));
    ASSERT_TRUE(Update({client_.CancelRow(7, {{1001}, {5}})}));
    ASSERT_TRUE(WaitForNews(*news, 2));
    EXPECT_THAT(news->All(), ElementsAre("+7 1001 [5,4294967294]", "-7 1001 [5]"));
}

TEST_F(EventCapacityTest, PluginsAndOtherEventsAndTypesAreNoMatterOfResources) {
    const auto news = ProduceOnResources({{7, {1001}}});
    ASSERT_TRUE(Update({plugin_.Row(7, {{1001}, {1}}), client_.Row(8, {{1001}, {2}}), client_.Row(7, {{1002}, {3}}),
                        client_.Row(7, {{1001}, {4}})}));
    ASSERT_TRUE(WaitForNews(*news, 1));
    EXPECT_THAT(news->All(), ElementsAre("+7 1001 [4]"));
}

TEST_F(EventCapacityTest, ClientsResourcesOfAllEventsAreTold) {
    const auto news = ProduceOfTypes({1001});
    ASSERT_TRUE(Update({plugin_.Row(kAllEvents, {{1001}, {1}}), client_.Row(7, {{1001}, {2}}),
                        client_.Row(kAllEvents, {{1002}, {3}}), client_.Row(kAllEvents, {{1001}, {5, 6}})}));
    ASSERT_TRUE(Update({client_.CancelRow(kAllEvents, {{1001}, {6}})}));
    ASSERT_TRUE(WaitForNews(*news, 2));
    EXPECT_THAT(news->All(), ElementsAre("+1001 [5,6]", "-1001 [6]"));
}

}  // namespace
}  // namespace platform_tests
