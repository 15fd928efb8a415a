#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Mox/Base/Error.h"
#include "standalone/http/HttpErrors.h"
#include "standalone/http/PushBoard.h"
#include "standalone/http/http_fakes.h"

namespace qarplatform {
namespace {

using http_test::FakeChannel;
using Mox::Base::Error;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using ZELPlatform::CBaseContent;
using ZELPlatform::CMsgPushInfo;
using ZELPlatform::CMsgSubscribedInfo;
using ZELPlatform::MsgBus::CMsgSubScribeErrorInfo;
using ZELPlatform::MsgBus::CMsgSubscribeInfo;

class Content : public CBaseContent {
public:
    Content(std::string block, int kind) : block_(std::move(block)), kind_(kind) {}
    bool GetContent(const char** data, int* size) override {
        *data = block_.data();
        *size = static_cast<int>(block_.size());
        return true;
    }
    int ContentType() override { return kind_; }

private:
    const std::string block_;
    const int kind_;
};

class NoContent : public CBaseContent {
public:
    bool GetContent(const char**, int*) override { return false; }
};

class NotifyText final : public ZELPlatform::CMsgBusContentBase {
public:
    NotifyText(std::string text, std::string binary) : text_(std::move(text)), binary_(std::move(binary)) {}
    bool GetTextContent(Buffer& buffer) override {
        buffer.data = text_.data();
        buffer.size = static_cast<unsigned int>(text_.size());
        return true;
    }
    bool GetBinaryContents(std::list<Buffer>& buffers) override {
        if (binary_.empty()) return false;
        Buffer buffer;
        buffer.data = binary_.data();
        buffer.size = static_cast<unsigned int>(binary_.size());
        buffers.push_back(buffer);
        return true;
    }

private:
    const std::string text_;
    const std::string binary_;
};

std::shared_ptr<CBaseContent> Text(const std::string& text) {
    return std::make_shared<Content>(text + '\0', ZELPlatform::kContentText);
}

template <class Number>
std::string Join(const std::set<Number>& numbers) {
    std::string joined;
    for (const Number number : numbers) joined += (joined.empty() ? "" : ",") + std::to_string(number);
    return joined;
}

/// A board whose calls of the bus are written down.
class PushBoardTest : public testing::Test {
protected:
    PushBoardTest() : board_(MakeBus()) {
        board_.Start([this](const std::string& session) { return sessions_.count(session) > 0; });
    }

    PushBoard::Bus MakeBus() {
        PushBoard::Bus bus;
        bus.update_subscribe_list = [this](std::list<CMsgSubScribeErrorInfo>&,
                                           const std::list<CMsgSubscribeInfo>& rows) {
            for (const CMsgSubscribeInfo& row : rows) {
                EXPECT_EQ(ZELPlatform::kSubscriberClient, row.GetValsubscriber().GetValsubscribeType());
                const bool begins = row.GetValsubscribeType() == ZELPlatform::kSubscribe;
                calls_.push_back(row.GetValsubscriber().GetSubscriberId() + (begins ? " +" : " -") + "event " +
                                 std::to_string(row.GetValeventType()) + " types " + Join(row.GetValresourceTypes()) +
                                 " ids " + Join(row.GetValresourceIDs()));
                if (begins) event_function_ = row.GetValsubscriber().GetValcallbackFunction();
            }
            if (fails_) throw std::bad_alloc();
            return takes_;
        };
        bus.subscribe_msg = [this](const std::shared_ptr<CMsgSubscribedInfo>& info) {
            notify_function_ = info->GetCallback();
            return Note(" +messages ", *info);
        };
        bus.unsubscribe_msg = [this](const std::shared_ptr<CMsgSubscribedInfo>& info) {
            return Note(" -messages ", *info);
        };
        return bus;
    }

    bool Note(const std::string& what, const CMsgSubscribedInfo& info) {
        EXPECT_TRUE(info.HasSubscriber());
        EXPECT_EQ(ZELPlatform::kSubscriberClient, info.GetSubscriberType());
        EXPECT_EQ(ZELPlatform::kMsgCategoryNotify, info.GetMsgCategory());
        calls_.push_back(info.GetSubscriber() + what + Join(info.GetTypeValues()));
        return takes_;
    }

    struct Client {
        std::shared_ptr<PushListener> listener;
        std::shared_ptr<FakeChannel> channel = std::make_shared<FakeChannel>();
    };
    Client Open(const std::string& session, unsigned int user = 7) {
        Client client;
        client.listener = board_.NewListener(session, user);
        client.listener->Opened(client.channel);
        return client;
    }

    bool Push(const std::vector<std::string>& sessions, const std::shared_ptr<CBaseContent>& content) {
        return board_.Push(sessions, 1, content);
    }

    std::vector<std::string> TakeCalls() { return std::exchange(calls_, {}); }

    std::set<std::string> sessions_{"a", "b"};
    std::vector<std::string> calls_;
    bool takes_ = true;
    bool fails_ = false;
    ZELPlatform::MsgBus::EventNotifyFunc event_function_;
    CMsgSubscribedInfo::Callback notify_function_;
    PushBoard board_;
};

TEST_F(PushBoardTest, TextGoesAsTextWithoutItsNul) {
    const Client client = Open("a");
    EXPECT_TRUE(Push({"a"}, Text("hello")));
    EXPECT_TRUE(Push({"a"}, Text("")));
    EXPECT_TRUE(Push({"a"}, std::make_shared<Content>("no nul", ZELPlatform::kContentText)));
    EXPECT_THAT(client.channel->Texts(), ElementsAre("hello", "", "no nul"));
}

TEST_F(PushBoardTest, EverythingElseGoesAsItsWholeBlock) {
    const Client client = Open("a");
    const std::string block("text\0binary\0", 12);
    EXPECT_TRUE(Push({"a"}, std::make_shared<Content>(block, ZELPlatform::kContentBinary)));
    EXPECT_TRUE(Push({"a"}, std::make_shared<Content>(block, ZELPlatform::kContentTextAndBinary)));
    EXPECT_TRUE(Push({"a"}, Text("\xE4")));
    EXPECT_THAT(client.channel->Texts(),
                ElementsAre("binary:" + block, "binary:" + block, std::string("binary:\xE4\0", 9)));
}

TEST_F(PushBoardTest, EverySocketOfTheSessionsGetsTheSameData) {
    const Client first = Open("a");
    const Client second = Open("a");
    const Client third = Open("b");
    EXPECT_TRUE(Push({"a", "unknown", "b"}, Text("x")));
    ASSERT_THAT(first.channel->Frames(), SizeIs(1));
    ASSERT_THAT(second.channel->Frames(), SizeIs(1));
    ASSERT_THAT(third.channel->Frames(), SizeIs(1));
    EXPECT_EQ(first.channel->Frames()[0].data, second.channel->Frames()[0].data);
    EXPECT_EQ(first.channel->Frames()[0].data, third.channel->Frames()[0].data);
}

TEST_F(PushBoardTest, SessionThatIsNamedTwiceGetsItTwice) {
    const Client client = Open("a");
    EXPECT_TRUE(Push({"a", "b", "a"}, Text("x")));
    EXPECT_THAT(client.channel->Texts(), ElementsAre("x", "x"));
}

TEST_F(PushBoardTest, NobodyThereIsNoFailure) {
    EXPECT_TRUE(Push({}, Text("x")));
    EXPECT_TRUE(Push({"a"}, Text("x")));
}

TEST_F(PushBoardTest, NothingToPushIsAFailure) {
    const Error::ErrorCode expected(kErrorModuleHttp, kHttpErrorNoContent);
    EXPECT_FALSE(Push({"a"}, nullptr));
    EXPECT_EQ(expected, Error::GetLastError());
    Error::SetLastError(Error::ErrorCode());
    EXPECT_FALSE(Push({}, std::make_shared<NoContent>()));
    EXPECT_EQ(expected, Error::GetLastError());
    EXPECT_FALSE(Push({"a"}, std::make_shared<Content>("", ZELPlatform::kContentText)));
}

TEST_F(PushBoardTest, SocketThatTakesNothingCostsTheOthersNothing) {
    const Client dead = Open("a");
    const Client alive = Open("a");
    dead.channel->Close(1006, "");
    EXPECT_TRUE(Push({"a"}, Text("x")));
    EXPECT_THAT(alive.channel->Texts(), ElementsAre("x"));
}

TEST_F(PushBoardTest, FirstSocketMakesTheSessionAClientOfTheBusAndTheLastEndsIt) {
    const Client first = Open("a");
    EXPECT_THAT(TakeCalls(), ElementsAre("a +messages "));
    const Client second = Open("a");
    first.listener->Closed();
    EXPECT_THAT(TakeCalls(), IsEmpty());
    second.listener->Closed();
    EXPECT_THAT(TakeCalls(), ElementsAre("a -messages "));
    EXPECT_TRUE(Push({"a"}, Text("x")));
    EXPECT_THAT(second.channel->Frames(), IsEmpty());
    const Client third = Open("a");
    EXPECT_THAT(TakeCalls(), ElementsAre("a +messages "));
}

TEST_F(PushBoardTest, NotifyMessagesOfTheBusArePushed) {
    const Client client = Open("a");
    const auto info = std::make_shared<CMsgPushInfo>();
    notify_function_(info);  // without a content
    for (const auto& content :
         {std::make_shared<NotifyText>("one", ""), std::make_shared<NotifyText>(std::string("two\0", 4), ""),
          std::make_shared<NotifyText>("three", std::string("\0\1", 2)),
          std::make_shared<NotifyText>(std::string("four\0", 5), "b")}) {
        info->SetMsgContent(content);
        notify_function_(info);
    }
    EXPECT_THAT(client.channel->Texts(),
                ElementsAre("one", "two", std::string("binary:three\0\0\1", 15), std::string("binary:four\0b", 13)));
}

TEST_F(PushBoardTest, EventsAreSubscribedRowByRowAndPushed) {
    const Client client = Open("a");
    TakeCalls();
    client.listener->Received(R"({"subscribe":{"events":[2,1],"resource_types":[1001],"resource_ids":[7,8]}})");
    EXPECT_THAT(TakeCalls(), ElementsAre("a +event 1 types 1001 ids 7,8", "a +event 2 types 1001 ids 7,8"));
    event_function_(1, 1001, 7, Text("event"));
    EXPECT_THAT(client.channel->Texts(), ElementsAre("event"));
    client.listener->Received(R"({"subscribe":{"resource_ids":[9]}})");
    client.listener->Received(R"({"unsubscribe":{"events":[1]}})");
    EXPECT_THAT(TakeCalls(), ElementsAre("a +event -1 types  ids 9", "a -event 1 types  ids "));
    client.listener->Closed();
    EXPECT_THAT(TakeCalls(), ElementsAre("a -event -1 types  ids ", "a -event 2 types  ids ", "a -messages "));
    event_function_(1, 1001, 7, Text("late"));
    EXPECT_THAT(client.channel->Frames(), SizeIs(1));
}

TEST_F(PushBoardTest, MessageTypesAreSubscribed) {
    const Client client = Open("a");
    TakeCalls();
    client.listener->Received(R"({"subscribe":{"messages":[4,3]}})");
    client.listener->Received(R"({"unsubscribe":{"messages":[4]}})");
    EXPECT_THAT(TakeCalls(), ElementsAre("a +messages 3,4", "a -messages 4"));
    client.listener->Closed();
    EXPECT_THAT(TakeCalls(), ElementsAre("a -messages "));
}

TEST_F(PushBoardTest, WhatIsNoCommandIsAnsweredWithAnError) {
    const Client client = Open("a");
    const Client other = Open("a");
    TakeCalls();
    client.listener->Received(R"({"subscribe":{"event":[1]}})");
    EXPECT_THAT(client.channel->Texts(), ElementsAre(R"({"error":"unknown key \"event\""})"));
    EXPECT_THAT(other.channel->Frames(), IsEmpty());
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PushBoardTest, TooManySubscriptionsAreAnsweredWithAnErrorAndReachNotTheBus) {
    const Client client = Open("a");
    TakeCalls();
    std::string ids = "0";
    for (int i = 1; i <= 10000; ++i) ids += "," + std::to_string(i);
    client.listener->Received(R"({"subscribe":{"events":[1],"resource_ids":[)" + ids + "]}}");
    EXPECT_THAT(client.channel->Texts(), ElementsAre(R"({"error":"more than 10000 subscriptions"})"));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

// The pairs that a small message can name would keep the server's thread busy for minutes.
TEST_F(PushBoardTest, EndingMoreSubscriptionsThanASessionMayHaveIsAnsweredWithAnErrorToo) {
    const Client client = Open("a");
    TakeCalls();
    std::string numbers = "0";
    for (int i = 1; i <= 100; ++i) numbers += "," + std::to_string(i);
    client.listener->Received(R"({"unsubscribe":{"events":[1],"resource_types":[)" + numbers + R"(],"resource_ids":[)" +
                              numbers + "]}}");
    EXPECT_THAT(client.channel->Texts(), ElementsAre(R"({"error":"more than 10000 subscriptions"})"));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PushBoardTest, RefusalOfTheBusIsTold) {
    const Client client = Open("a");
    takes_ = false;
    client.listener->Received(R"({"subscribe":{"events":[1]}})");
    client.listener->Received(R"({"subscribe":{"messages":[1]}})");
    const std::string refusal = R"({"error":"the bus takes no subscriptions any more"})";
    EXPECT_THAT(client.channel->Texts(), ElementsAre(refusal, refusal));
}

TEST_F(PushBoardTest, RefusedCommandChangesNothingOfWhatIsEndedLater) {
    const Client client = Open("a");
    std::string ids = "0";
    for (int i = 1; i < 9999; ++i) ids += "," + std::to_string(i);
    client.listener->Received(R"({"subscribe":{"events":[1],"resource_ids":[)" + ids + "]}}");
    TakeCalls();
    client.listener->Received(R"({"subscribe":{"events":[2,3]}})");
    client.listener->Received(R"({"subscribe":{"events":[4],"messages":[1]}})");
    client.listener->Received(R"({"unsubscribe":{"events":[1],"resource_types":[1,2],"resource_ids":[)" + ids + "]}}");
    const std::string refusal = R"({"error":"more than 10000 subscriptions"})";
    EXPECT_THAT(client.channel->Texts(), ElementsAre(refusal, refusal, refusal));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    client.listener->Received(R"({"subscribe":{"events":[5]}})");
    EXPECT_THAT(client.channel->Texts(), SizeIs(3)) << "there is room for one still";
    TakeCalls();
    client.listener->Closed();
    EXPECT_THAT(TakeCalls(), ElementsAre("a -event 1 types  ids ", "a -event 5 types  ids ", "a -messages "));
}

TEST_F(PushBoardTest, WhatTheBusDidNotGetToIsEndedWithTheSocket) {
    const Client client = Open("a");
    client.listener->Received(R"({"subscribe":{"events":[1]}})");
    fails_ = true;
    for (const char* const text : {R"({"unsubscribe":{"events":[1]}})", R"({"subscribe":{"events":[2]}})"}) {
        try {
            client.listener->Received(text);
        } catch (const std::bad_alloc&) {  // what becomes of it is the server's
        }
    }
    fails_ = false;
    TakeCalls();
    client.listener->Closed();
    EXPECT_THAT(TakeCalls(), ElementsAre("a -event 1 types  ids ", "a -event 2 types  ids ", "a -messages "));
}

TEST_F(PushBoardTest, EndOfTheSessionClosesItsSocketsAndEndsItsSubscriptions) {
    const Client first = Open("a");
    const Client second = Open("a");
    const Client other = Open("b");
    first.listener->Received(R"({"subscribe":{"events":[5]}})");
    TakeCalls();
    board_.EndSession("a");
    EXPECT_EQ("1008 the session has ended", first.channel->ClosedWith());
    EXPECT_EQ("1008 the session has ended", second.channel->ClosedWith());
    EXPECT_EQ("", other.channel->ClosedWith());
    EXPECT_THAT(TakeCalls(), ElementsAre("a -event 5 types  ids ", "a -messages "));
    first.listener->Closed();
    second.listener->Closed();
    board_.EndSession("a");
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_TRUE(Push({"a"}, Text("x")));
    EXPECT_THAT(first.channel->Frames(), IsEmpty());
}

TEST_F(PushBoardTest, SeventeenthSocketOfAUserIsClosedUntilAnotherOneHasEnded) {
    std::vector<Client> open;
    for (int i = 0; i < 8; ++i) {
        open.push_back(Open("a"));
        open.push_back(Open("b"));
    }
    TakeCalls();
    sessions_.insert("c");
    for (const char* session : {"a", "c"}) {
        const Client refused = Open(session);
        EXPECT_EQ("1008 the user has too many WebSockets open", refused.channel->ClosedWith());
        EXPECT_TRUE(Push({session}, Text("x")));
        EXPECT_THAT(refused.channel->Frames(), IsEmpty());
        refused.listener->Closed();
    }
    EXPECT_THAT(TakeCalls(), IsEmpty());
    for (const Client& client : open) EXPECT_EQ("", client.channel->ClosedWith());
    EXPECT_THAT(open[0].channel->Texts(), ElementsAre("x"));

    open[3].listener->Closed();
    const Client next = Open("c");
    EXPECT_EQ("", next.channel->ClosedWith());
    const Client beyond = Open("b");
    EXPECT_EQ("1008 the user has too many WebSockets open", beyond.channel->ClosedWith());
    board_.EndSession("c");
    EXPECT_EQ("", Open("b").channel->ClosedWith());
}

TEST_F(PushBoardTest, SocketsOfOtherUsersDoNotCount) {
    std::vector<Client> open;
    for (std::size_t i = 0; i < PushBoard::kMostOfAUser; ++i) open.push_back(Open("a", 7));
    EXPECT_EQ("", Open("b", 8).channel->ClosedWith());
    EXPECT_EQ("1008 the user has too many WebSockets open", Open("a", 7).channel->ClosedWith());
}

TEST_F(PushBoardTest, SocketOfASessionThatEndedMeanwhileIsClosed) {
    sessions_.erase("a");
    const Client late = Open("a");
    EXPECT_EQ("1008 the session has ended", late.channel->ClosedWith());
    EXPECT_THAT(TakeCalls(), ElementsAre("a +messages ", "a -messages "));
}

TEST_F(PushBoardTest, MessageOfASessionThatHasEndedClosesItsSockets) {
    const Client client = Open("a");
    sessions_.erase("a");
    client.listener->Received(R"({"subscribe":{"events":[5]}})");
    EXPECT_EQ("1008 the session has ended", client.channel->ClosedWith());
    EXPECT_THAT(client.channel->Frames(), IsEmpty());
}

TEST_F(PushBoardTest, StopEndsAllAndRefusesMore) {
    const Client client = Open("a");
    TakeCalls();
    board_.Stop();
    EXPECT_EQ("1001 the server stops", client.channel->ClosedWith());
    EXPECT_THAT(TakeCalls(), ElementsAre("a -messages "));
    EXPECT_FALSE(Push({}, Text("x")));
    EXPECT_EQ(Error::ErrorCode(kErrorModuleHttp, kHttpErrorStopped), Error::GetLastError());
    const Client late = Open("b");
    EXPECT_EQ("1001 the server stops", late.channel->ClosedWith());
}

TEST_F(PushBoardTest, BusIsToldInOrderHoweverManySocketsOpenAndCloseAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 200; ++k) {
                const Client client = Open("a");
                EXPECT_TRUE(Push({"a"}, Text("x")));
                client.listener->Closed();
                EXPECT_GE(client.channel->Frames().size(), 1U);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::vector<std::string> calls = TakeCalls();
    ASSERT_EQ(0U, calls.size() % 2);
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(i % 2 == 0 ? "a +messages " : "a -messages ", calls[i]);
    }
}

}  // namespace
}  // namespace qarplatform
