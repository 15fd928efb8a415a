#include <rapidjson/document.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/benches.h"
#include "qar/IBusMsg.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace bench {

namespace {

constexpr char kTopic[] = "bench_topic";
constexpr int kType = 3;
constexpr int kMostUnderWay = 1000;  // posted and not yet handled

std::string TextOf(int id) {
    return R"({"ChangeType":3,"ResourceType":1001,"ResourceID":)" + std::to_string(id) +
           R"(,"name":"Gate camera, north side","area":{"id":17,"path":"Site/Yard/North"},"fields":["name","area","zone"]})";
}

/// Counts what has been handled and holds the poster back.
class Window {
public:
    void WaitForRoom() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return under_way_ < kMostUnderWay; });
        ++under_way_;
    }
    void Handled() {
        const std::lock_guard<std::mutex> lock(mutex_);
        --under_way_;
        changed_.notify_one();
    }
    void WaitForAll() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return under_way_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int under_way_ = 0;
};

/// A queue, a thread, one copy of the text and one parse: the least that a message to another thread costs.
class RawQueue {
public:
    explicit RawQueue(Window& window) : window_(window), thread_([this] { Run(); }) {}
    ~RawQueue() {
        Post(std::string());
        thread_.join();
    }

    void Post(std::string text) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            texts_.push_back(std::move(text));
        }
        came_.notify_one();
    }

private:
    void Run() {
        for (;;) {
            std::string text;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                came_.wait(lock, [&] { return !texts_.empty(); });
                text = std::move(texts_.front());
                texts_.pop_front();
            }
            if (text.empty()) {
                return;
            }
            rapidjson::Document document;
            document.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
            Require(document.IsObject() && document["ChangeType"].GetInt() == kType, "the message is whole");
            window_.Handled();
        }
    }

    Window& window_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::deque<std::string> texts_;
    std::thread thread_;
};

}  // namespace

std::vector<Comparison> ChangeMessage(const Options& options) {
    auto* window = new Window;  // a callback may outlive the subscription
    const auto bus = qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    Require(bus != nullptr && bus->PublishChangeMsgType(kTopic, {}, {kType}), "publish the topic");
    Require(bus->SubscribeChangeMsg(
                kTopic, {},
                [window](const std::string&, std::shared_ptr<qar::IBusMsg> msg) {
                    Require(msg->Type() == kType && msg->SourceType() == 1001, "the message is whole");
                    window->Handled();
                },
                kPlugin),
            "subscribe");
    RawQueue raw(*window);
    const Comparison comparison = Compare(
        "change message: posted, parsed, handled", "queue, thread, one RapidJSON parse", options.rounds,
        options.messages,
        [&] {
            for (int i = 0; i < options.messages; ++i) {
                window->WaitForRoom();
                raw.Post(TextOf(i));
            }
            window->WaitForAll();
        },
        [&] {
            for (int i = 0; i < options.messages; ++i) {
                window->WaitForRoom();
                Require(bus->PostChangeMsg(std::make_shared<qar::CBusMsgCommon>(kType, 1001, i, TextOf(i), nullptr, 0),
                                           kTopic),
                        "post");
            }
            window->WaitForAll();
        });
    bus->UnsubscribeChangeMsg(kTopic, kPlugin);
    return {comparison};
}

}  // namespace bench
