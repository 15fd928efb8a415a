#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "standalone/http/ClientSubscriptions.h"
#include "standalone/http/PushCommand.h"

namespace qarplatform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

PushCommand CommandOf(const std::string& text) {
    PushCommand command;
    std::string error;
    EXPECT_TRUE(ParsePushCommand(text, command, error)) << error;
    return command;
}

std::string RefusalOf(const std::string& text) {
    PushCommand command;
    std::string error;
    return ParsePushCommand(text, command, error) ? "" : error;
}

TEST(PushCommandTest, EventsAreReadWithTheirResources) {
    const PushCommand command =
        CommandOf(R"({"subscribe":{"events":[2,1],"resource_types":[1001],"resource_ids":[7,4294967295]}})");
    EXPECT_TRUE(command.subscribe);
    EXPECT_TRUE(command.about_events);
    EXPECT_THAT(command.events, ElementsAre(1, 2));
    EXPECT_THAT(command.resource_types, ElementsAre(1001));
    EXPECT_THAT(command.resource_ids, ElementsAre(7U, 4294967295U));
    EXPECT_THAT(command.messages, IsEmpty());
}

TEST(PushCommandTest, MessagesAreRead) {
    const PushCommand command = CommandOf(R"({"unsubscribe":{"messages":[3,-4]}})");
    EXPECT_FALSE(command.subscribe);
    EXPECT_FALSE(command.about_events);
    EXPECT_THAT(command.messages, ElementsAre(-4, 3));
    EXPECT_THAT(command.events, IsEmpty());
}

TEST(PushCommandTest, ResourcesAloneStandForAllTheirEvents) {
    EXPECT_THAT(CommandOf(R"({"subscribe":{"resource_types":[1]}})").events, ElementsAre(-1));
    EXPECT_THAT(CommandOf(R"({"unsubscribe":{"resource_ids":[1]}})").events, ElementsAre(-1));
}

TEST(PushCommandTest, AnythingElseIsRefused) {
    EXPECT_EQ("Invalid value. At byte 0.", RefusalOf("hello"));
    EXPECT_EQ("The document is empty. At byte 0.", RefusalOf(""));
    EXPECT_EQ("no object with one key", RefusalOf("[]"));
    EXPECT_EQ("no object with one key", RefusalOf("{}"));
    EXPECT_EQ("no object with one key", RefusalOf(R"({"subscribe":{"events":[1]},"x":1})"));
    EXPECT_EQ("neither \"subscribe\" nor \"unsubscribe\"", RefusalOf(R"({"Subscribe":{"events":[1]}})"));
    EXPECT_EQ("it does not say of what", RefusalOf(R"({"subscribe":{}})"));
    EXPECT_EQ("it does not say of what", RefusalOf(R"({"subscribe":[1]})"));
    EXPECT_EQ("unknown key \"event\"", RefusalOf(R"({"subscribe":{"event":[1]}})"));
    EXPECT_EQ("\"events\" is no list of numbers", RefusalOf(R"({"subscribe":{"events":1}})"));
    EXPECT_EQ("\"messages\" is no list of numbers", RefusalOf(R"({"subscribe":{"messages":[]}})"));
    EXPECT_EQ("\"events\" holds what is no number of 32 bits", RefusalOf(R"({"subscribe":{"events":["1"]}})"));
    EXPECT_EQ("\"events\" holds what is no number of 32 bits", RefusalOf(R"({"subscribe":{"events":[2147483648]}})"));
    EXPECT_EQ("\"resource_ids\" holds what is no number of 32 bits",
              RefusalOf(R"({"subscribe":{"resource_ids":[-1]}})"));
}

TEST(PushCommandTest, DeepNestingIsRefused) {
    const std::string deep(32 * 1024, '[');
    EXPECT_EQ("\"events\" holds what is no number of 32 bits",
              RefusalOf(R"({"subscribe":{"events":)" + deep + std::string(deep.size(), ']') + "}}"));
}

class ClientSubscriptionsTest : public testing::Test {
protected:
    // @return how many there are afterwards; -1 when it was refused
    int Apply(const std::string& text) {
        return subscriptions_.Apply(CommandOf(text)) ? static_cast<int>(subscriptions_.Count()) : -1;
    }

    // @return those of the message types below ten that are subscribed to: what ending them takes away
    std::set<int> Messages() const {
        ClientSubscriptions rest = subscriptions_;
        std::set<int> types;
        for (int type = 0; type < 10; ++type) {
            const std::size_t before = rest.Count();
            PushCommand command;
            command.subscribe = false;
            command.messages = {type};
            EXPECT_TRUE(rest.Apply(command));
            if (rest.Count() < before) types.insert(type);
        }
        return types;
    }

    ClientSubscriptions subscriptions_;
};

TEST_F(ClientSubscriptionsTest, EachPairOfTypeAndIdCounts) {
    EXPECT_EQ(1, Apply(R"({"subscribe":{"events":[1]}})"));
    EXPECT_EQ(13, Apply(R"({"subscribe":{"events":[1,2],"resource_types":[1,2],"resource_ids":[1,2,3]}})"));
    EXPECT_EQ(13, Apply(R"({"subscribe":{"events":[2],"resource_types":[2],"resource_ids":[3]}})"));
    EXPECT_EQ(14, Apply(R"({"subscribe":{"messages":[1]}})"));
    EXPECT_THAT(subscriptions_.Events(), ElementsAre(1, 2));
    EXPECT_THAT(Messages(), ElementsAre(1));
}

TEST_F(ClientSubscriptionsTest, EndingWithoutTypesOrIdsEndsThoseOfAny) {
    Apply(R"({"subscribe":{"events":[1,2],"resource_types":[1,2],"resource_ids":[1,2]}})");
    EXPECT_EQ(7, Apply(R"({"unsubscribe":{"events":[1],"resource_types":[1],"resource_ids":[1]}})"));
    EXPECT_EQ(6, Apply(R"({"unsubscribe":{"events":[1],"resource_types":[1]}})"));
    EXPECT_EQ(5, Apply(R"({"unsubscribe":{"events":[1],"resource_ids":[2]}})"));
    EXPECT_EQ(4, Apply(R"({"unsubscribe":{"events":[1]}})"));
    EXPECT_THAT(subscriptions_.Events(), ElementsAre(2));
    EXPECT_EQ(4, Apply(R"({"unsubscribe":{"events":[3],"messages":[3]}})"));
}

TEST_F(ClientSubscriptionsTest, TenThousandAreTakenAndOneMoreIsRefused) {
    std::string ids = "0";
    for (int i = 1; i < 9998; ++i) ids += "," + std::to_string(i);
    EXPECT_EQ(9998, Apply(R"({"subscribe":{"events":[1],"resource_ids":[)" + ids + "]}}"));
    EXPECT_EQ(10000, Apply(R"({"subscribe":{"messages":[1],"events":[2]}})"));
    EXPECT_EQ(-1, Apply(R"({"subscribe":{"messages":[2]}})"));
    EXPECT_EQ(-1, Apply(R"({"subscribe":{"events":[3]}})"));
    EXPECT_EQ(10000, Apply(R"({"subscribe":{"events":[2]}})"));
    EXPECT_EQ(-1, Apply(R"({"subscribe":{"events":[1,2],"resource_ids":[)" + ids + "]}}"));
    EXPECT_EQ(2, Apply(R"({"unsubscribe":{"events":[1]}})"));
}

// @return a command about the ids from `first` on, of one event
PushCommand IdsOf(bool subscribe, int event, unsigned int first, unsigned int count) {
    PushCommand command;
    command.subscribe = subscribe;
    command.about_events = true;
    command.events = {event};
    for (unsigned int id = first; id < first + count; ++id) command.resource_ids.insert(id);
    return command;
}

TEST_F(ClientSubscriptionsTest, RefusedCommandLeavesAllAsItWas) {
    ASSERT_TRUE(subscriptions_.Apply(IdsOf(true, 1, 0, 9990)));
    ASSERT_EQ(9992, Apply(R"({"subscribe":{"messages":[1,2]}})"));

    PushCommand grown = IdsOf(true, 1, 9985, 10);  // five of them are there
    grown.events.insert(2);
    grown.messages = {2, 3};
    EXPECT_FALSE(subscriptions_.Apply(grown));
    EXPECT_FALSE(subscriptions_.Apply(IdsOf(true, 3, 0, 10001)));
    PushCommand ended = IdsOf(false, 1, 0, 10000);
    ended.messages = {1};
    EXPECT_FALSE(subscriptions_.Apply(ended));

    EXPECT_EQ(9992U, subscriptions_.Count());
    EXPECT_THAT(subscriptions_.Events(), ElementsAre(1));
    EXPECT_THAT(Messages(), ElementsAre(1, 2));
    ASSERT_TRUE(subscriptions_.Apply(IdsOf(false, 1, 9990, 5)));
    EXPECT_EQ(9992U, subscriptions_.Count()) << "none of the new ones is there";
    ASSERT_TRUE(subscriptions_.Apply(IdsOf(false, 1, 0, 9990)));
    EXPECT_EQ(2U, subscriptions_.Count()) << "all of the old ones were there";
}

TEST_F(ClientSubscriptionsTest, WhatIsThereAlreadyCountsNotAgainAtTheLimit) {
    ASSERT_TRUE(subscriptions_.Apply(IdsOf(true, 1, 0, 9995)));
    EXPECT_TRUE(subscriptions_.Apply(IdsOf(true, 1, 5000, 5000)));
    EXPECT_EQ(10000U, subscriptions_.Count());
    EXPECT_TRUE(subscriptions_.Apply(IdsOf(true, 1, 0, 10000)));
    EXPECT_FALSE(subscriptions_.Apply(IdsOf(true, 1, 10000, 1)));
    EXPECT_EQ(10000U, subscriptions_.Count());
}

// The rules once more, without any thought of their cost.
class PlainAccount {
public:
    bool Apply(const PushCommand& command) {
        const auto any_types = command.resource_types.empty() ? 1 : command.resource_types.size();
        const auto any_ids = command.resource_ids.empty() ? 1 : command.resource_ids.size();
        if (command.events.size() * any_types * any_ids + command.messages.size() > ClientSubscriptions::kMax) {
            return false;
        }
        PlainAccount after = *this;
        for (const int event : command.events) after.Change(command, event);
        for (const int type : command.messages) {
            if (command.subscribe) {
                after.messages.insert(type);
            } else {
                after.messages.erase(type);
            }
        }
        if (command.subscribe && after.Count() > ClientSubscriptions::kMax) return false;
        *this = std::move(after);
        return true;
    }

    std::size_t Count() const { return pairs.size() + messages.size(); }
    std::set<int> Events() const {
        std::set<int> events;
        for (const Pair& pair : pairs) events.insert(pair.event);
        return events;
    }

    std::set<int> messages;

private:
    struct Pair {
        int event;
        std::optional<int> type;
        std::optional<unsigned int> id;
        auto operator<=>(const Pair&) const = default;
    };

    void Change(const PushCommand& command, int event) {
        if (!command.subscribe) {
            std::erase_if(pairs, [&](const Pair& pair) {
                return pair.event == event &&
                       (command.resource_types.empty() || (pair.type && command.resource_types.count(*pair.type))) &&
                       (command.resource_ids.empty() || (pair.id && command.resource_ids.count(*pair.id)));
            });
            return;
        }
        std::vector<std::optional<int>> types(command.resource_types.begin(), command.resource_types.end());
        std::vector<std::optional<unsigned int>> ids(command.resource_ids.begin(), command.resource_ids.end());
        if (types.empty()) types.emplace_back();
        if (ids.empty()) ids.emplace_back();
        for (const auto& type : types) {
            for (const auto& id : ids) pairs.insert({event, type, id});
        }
    }

    std::set<Pair> pairs;
};

class RandomCommands {
public:
    PushCommand Next() {
        PushCommand command;
        command.subscribe = Below(2) == 0;
        command.about_events = Below(4) != 0;
        if (command.about_events) {
            for (int i = Below(3); i >= 0; --i) command.events.insert(Below(4) - 1);
            for (int i = Below(3); i > 0; --i) command.resource_types.insert(kEdges[Below(5)]);
            for (int i = Below(4); i > 0; --i) command.resource_ids.insert(static_cast<unsigned>(kEdges[Below(5)]));
        }
        for (int i = Below(3); i > 0; --i) command.messages.insert(Below(5));
        return command;
    }

private:
    static constexpr int kEdges[] = {INT32_MIN, -1, 0, 1, INT32_MAX};  // an id of -1 is the greatest one

    int Below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }

    std::mt19937 random_{7};
};

TEST_F(ClientSubscriptionsTest, RandomCommandsNearTheLimitLeaveWhatTheRulesSay) {
    RandomCommands random;
    PlainAccount expected;
    ASSERT_TRUE(expected.Apply(IdsOf(true, 100, 0, 9950)));
    ASSERT_TRUE(subscriptions_.Apply(IdsOf(true, 100, 0, 9950)));
    int refused = 0;
    for (int i = 0; i < 300; ++i) {
        const PushCommand command = random.Next();
        const bool taken = expected.Apply(command);
        refused += taken ? 0 : 1;
        ASSERT_EQ(taken, subscriptions_.Apply(command)) << "command " << i;
        ASSERT_EQ(expected.Count(), subscriptions_.Count()) << "command " << i;
        ASSERT_EQ(expected.Events(), subscriptions_.Events()) << "command " << i;
        ASSERT_EQ(expected.messages, Messages()) << "command " << i;
    }
    EXPECT_GT(refused, 0);
}

}  // namespace
}  // namespace qarplatform
