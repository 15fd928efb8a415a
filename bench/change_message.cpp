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
constexpr int kSource = 1001;
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

using Message = std::shared_ptr<qar::CBusMsgCommon>;

Message MessageOf(int id) { return std::make_shared<qar::CBusMsgCommon>(kType, kSource, id, TextOf(id), nullptr, 0); }

/// A queue, a thread and one parse: the least that the same object costs on its way to another thread.
class RawQueue {
public:
    explicit RawQueue(Window& window) : window_(window), thread_([this] { Run(); }) {}
    ~RawQueue() {
        Post(nullptr);
        thread_.join();
    }

    void Post(Message message) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            messages_.push_back(std::move(message));
        }
        came_.notify_one();
    }

private:
    void Run() {
        for (;;) {
            Message message;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                came_.wait(lock, [&] { return !messages_.empty(); });
                message = std::move(messages_.front());
                messages_.pop_front();
            }
            if (!message) {
                return;
            }
            rapidjson::Document document;
            document.Parse<rapidjson::kParseIterativeFlag>(message->GetJsonTxt().c_str());
            Require(document.IsObject() && document["ChangeType"].GetInt() == kType, "the message is whole");
            window_.Handled();
        }
    }

    Window& window_;
    std::mutex mutex_;
    std::condition_variable came_;
    std::deque<Message> messages_;
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
                    Require(msg->Type() == kType && msg->SourceType() == kSource, "the message is whole");
                    window->Handled();
                },
                kPlugin),
            "subscribe");
    RawQueue raw(*window);
    Work work;
    work.name = "change message: posted, parsed, handled";
    work.raw_name = "the same object, a queue, a thread, a parse";
    work.limit = 2;
    work.operations = options.messages;
    work.rounds = options.rounds * kShortRounds;
    work.raw = [&] {
        for (int i = 0; i < options.messages; ++i) {
            window->WaitForRoom();
            raw.Post(MessageOf(i));
        }
        window->WaitForAll();
    };
    work.ours = [&] {
        for (int i = 0; i < options.messages; ++i) {
            window->WaitForRoom();
            Require(bus->PostChangeMsg(MessageOf(i), kTopic), "post");
        }
        window->WaitForAll();
    };
    const Comparison comparison = Compare(work);
    bus->UnsubscribeChangeMsg(kTopic, kPlugin);
    return {comparison};
}

}  // namespace bench
