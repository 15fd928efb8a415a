#pragma once

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standalone/http/HttpServer.h"

namespace http_test {

/// A request's way back, as the server's: answered once, however often it is tried.
class FakeExchange : public qarplatform::Exchange {
public:
    struct Sent {
        qarplatform::AnswerHead head;
        std::string body;
        const char* data = nullptr;  // where the body lay

        /// @return the first header line's value; "" without one
        std::string Header(const std::string& name) const {
            const auto found = std::find_if(head.headers.begin(), head.headers.end(),
                                            [&](const auto& header) { return header.first == name; });
            return found == head.headers.end() ? "" : found->second;
        }
    };

    /// @param hold  keeps what is sent under way until End
    explicit FakeExchange(bool hold = false) : hold_(hold) {}

    void Send(qarplatform::AnswerHead head, std::string_view body,
              std::function<void(qarplatform::SendResult)> done) override {
        qarplatform::SendResult result = qarplatform::SendResult::kSent;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (head.status < 200) {
                result = qarplatform::SendResult::kBadHead;
            } else if (sent_) {
                result = qarplatform::SendResult::kAnswered;
                ++refused_;
            } else {
                sent_ = Sent{std::move(head), std::string(body), body.data()};
                if (hold_) done_ = std::exchange(done, {});
                changed_.notify_all();
            }
        }
        if (done) done(result);
    }

    void Accept(std::shared_ptr<qarplatform::PushListener> listener) override {
        std::lock_guard<std::mutex> lock(mutex_);
        listener_ = std::move(listener);
        changed_.notify_all();
    }

    /// Waits for the answer.
    Sent Answer() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return sent_.has_value(); });
        return *sent_;
    }

    std::shared_ptr<qarplatform::PushListener> Accepted() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return listener_ != nullptr; });
        return listener_;
    }

    void End(qarplatform::SendResult result) {
        std::function<void(qarplatform::SendResult)> done;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done = std::exchange(done_, {});
        }
        done(result);
    }

    bool Answered() {
        std::lock_guard<std::mutex> lock(mutex_);
        return sent_.has_value();
    }
    /// @return how many further answers were tried
    int Refused() {
        std::lock_guard<std::mutex> lock(mutex_);
        return refused_;
    }

private:
    const bool hold_;
    std::mutex mutex_;
    std::condition_variable changed_;
    // guarded by mutex_
    std::optional<Sent> sent_;
    std::function<void(qarplatform::SendResult)> done_;
    std::shared_ptr<qarplatform::PushListener> listener_;
    int refused_ = 0;
};

/// A WebSocket that keeps what it is given.
class FakeChannel : public qarplatform::PushChannel {
public:
    struct Frame {
        std::shared_ptr<const std::string> data;
        bool text = false;
    };

    bool Send(std::shared_ptr<const std::string> data, bool text) override {
        std::lock_guard<std::mutex> lock(mutex_);
        frames_.push_back({std::move(data), text});
        return open_;
    }
    void Close(uint16_t code, const std::string& reason) override {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = false;
        closed_ = std::to_string(code) + " " + reason;
    }

    std::vector<Frame> Frames() {
        std::lock_guard<std::mutex> lock(mutex_);
        return frames_;
    }
    /// @return text frames as they are, binary ones behind "binary:"
    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const Frame& frame : Frames()) texts.push_back((frame.text ? "" : "binary:") + *frame.data);
        return texts;
    }
    /// @return code and reason; "" while it is open
    std::string ClosedWith() {
        std::lock_guard<std::mutex> lock(mutex_);
        return closed_;
    }

private:
    std::mutex mutex_;
    // guarded by mutex_
    std::vector<Frame> frames_;
    std::string closed_;
    bool open_ = true;
};

}  // namespace http_test
