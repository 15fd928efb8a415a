#include "standalone/http/PushQueue.h"

#include <algorithm>
#include <utility>  // before Asio: its coroutine header lacks it

#include "standalone/http/Utf8.h"

namespace qarplatform {

namespace {

constexpr std::size_t kLongestReason = 123;  // a control frame holds no more
constexpr std::size_t kFrameBytes = 128;     // that a frame takes beside its data
constexpr uint16_t kPolicy = 1008;

bool IsCloseCode(uint16_t code) {
    return (code >= 1000 && code <= 1003) || (code >= 1007 && code <= 1011) || (code >= 3000 && code <= 4999);
}

std::size_t SizeOf(const std::string& data) { return data.size() + kFrameBytes; }

std::string ReasonText(const std::string& reason) {
    std::string text = ReplaceNonUtf8(reason);
    if (text.size() > kLongestReason) {
        std::size_t size = kLongestReason;
        while ((static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) {
            --size;  // not within a character
        }
        text.resize(size);
    }
    return text;
}

}  // namespace

PushQueue::PushQueue(std::size_t limit, std::shared_ptr<PostGate> gate, std::function<void()> wake)
    : limit_(limit), gate_(std::move(gate)), wake_(std::move(wake)) {}

bool PushQueue::Send(std::shared_ptr<const std::string> data, bool text) {
    if (text && !IsUtf8(*data)) {
        data = std::make_shared<const std::string>(ReplaceNonUtf8(*data));
    }
    bool taken_in = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (ended_) {
            return false;
        }
        taken_in = SizeOf(*data) <= limit_ - std::min(limit_, bytes_);
        if (taken_in) {
            bytes_ += SizeOf(*data);
            frames_.push_back({std::move(data), text});
        } else {
            frames_.clear();
            ended_ = true;
            end_ = End{kPolicy, "the client reads too slowly", true};
        }
    }
    return gate_->Post(wake_) && taken_in;
}

void PushQueue::Close(uint16_t code, const std::string& reason) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (code == kPolicy) {
            frames_.clear();  // behind another end too
        }
        if (ended_) {
            return;
        }
        ended_ = true;
        end_ = End{IsCloseCode(code) ? code : uint16_t{1011}, ReasonText(reason)};
    }
    gate_->Post(wake_);
}

std::optional<PushQueue::Frame> PushQueue::TakeFrame() {
    const std::lock_guard<std::mutex> lock(mutex_);
    bytes_ -= std::exchange(taken_bytes_, 0);
    if (frames_.empty()) {
        return std::nullopt;
    }
    Frame frame = std::move(frames_.front());
    frames_.pop_front();
    taken_bytes_ = SizeOf(*frame.data);
    return frame;
}

std::optional<PushQueue::End> PushQueue::TakeEnd() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(end_, std::nullopt);
}

void PushQueue::Drop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    frames_.clear();
    ended_ = true;
    end_.reset();
}

}  // namespace qarplatform
