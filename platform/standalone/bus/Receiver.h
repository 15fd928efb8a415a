#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace qarplatform {

class Lane;

/// A message under way. One object serves all who get it.
class Message {
public:
    Message() = default;
    virtual ~Message() = default;
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    /// @return what it is, for a line of the log: "a message of type 3 from topic"
    virtual std::string Text() const = 0;
};

/// Who gets messages: one function, and the lane in which its calls are made one after another.
class Receiver {
public:
    explicit Receiver(std::shared_ptr<Lane> its_lane) : lane(std::move(its_lane)) {}
    virtual ~Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;

    /// @param message  of the class that the receiver is for
    virtual void Receive(const Message& message) const = 0;

    const std::shared_ptr<Lane> lane;
};

/// Gets messages of one class.
template <class M>
class ReceiverOf final : public Receiver {
public:
    using Function = std::function<void(const M& message)>;

    ReceiverOf(std::shared_ptr<Lane> its_lane, Function function)
        : Receiver(std::move(its_lane)), function_(std::move(function)) {}

    void Receive(const Message& message) const override { function_(static_cast<const M&>(message)); }

private:
    const Function function_;
};

/// A message on its way to one receiver, which is for its class.
class Delivery {
public:
    template <class M>
    Delivery(std::shared_ptr<const ReceiverOf<M>> receiver, std::shared_ptr<const M> message)
        : receiver_(std::move(receiver)), message_(std::move(message)) {}

    void Deliver() const { receiver_->Receive(*message_); }
    const Message& GetMessage() const { return *message_; }

private:
    std::shared_ptr<const Receiver> receiver_;
    std::shared_ptr<const Message> message_;
};

}  // namespace qarplatform
