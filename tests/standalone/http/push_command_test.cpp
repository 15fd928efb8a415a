#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

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

    ClientSubscriptions subscriptions_;
};

TEST_F(ClientSubscriptionsTest, EachPairOfTypeAndIdCounts) {
    EXPECT_EQ(1, Apply(R"({"subscribe":{"events":[1]}})"));
    EXPECT_EQ(13, Apply(R"({"subscribe":{"events":[1,2],"resource_types":[1,2],"resource_ids":[1,2,3]}})"));
    EXPECT_EQ(13, Apply(R"({"subscribe":{"events":[2],"resource_types":[2],"resource_ids":[3]}})"));
    EXPECT_EQ(14, Apply(R"({"subscribe":{"messages":[1]}})"));
    EXPECT_THAT(subscriptions_.Events(), ElementsAre(1, 2));
    EXPECT_THAT(subscriptions_.Messages(), ElementsAre(1));
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

}  // namespace
}  // namespace qarplatform
