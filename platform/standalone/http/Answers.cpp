#include "standalone/http/Answers.h"

#include <condition_variable>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "standalone/http/AnswerText.h"

namespace qarplatform {

namespace {

using Mox::Net::HttpResponse;

AnswerHead MakeHead(const HttpResponse& response) {
    AnswerHead head;
    head.status = response.n_status;
    head.close = response.n_close != 0;
    head.timeout = std::chrono::milliseconds(response.n_send_timeout_ms);
    const auto add = [&head](const std::string& name, const std::string& text) {
        if (!text.empty()) head.headers.emplace_back(name, text);
    };
    add("Content-Type", response.str_content_type);
    add("Content-Disposition", response.str_content_disposition);
    add("ETag", response.str_etag);
    add("Cache-Control", response.str_cache_control);
    for (const auto& [name, text] : response.vec_headers) add(name, text);
    return head;
}

/// Waits for the end of one sending.
class Sending {
public:
    void Done(SendResult result) {
        std::lock_guard<std::mutex> lock(mutex_);
        result_ = result;
        done_ = true;
        ended_.notify_all();  // with the lock held, as the waiting thread may end this object as soon as it has it
    }

    SendResult Wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        ended_.wait(lock, [this] { return done_; });
        return result_;
    }

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    // guarded by mutex_
    SendResult result_ = SendResult::kGone;
    bool done_ = false;
};

}  // namespace

Answers& Answers::Get() {
    static Answers& answers = *new Answers;
    return answers;
}

void Answers::Start(std::chrono::milliseconds time_limit) {
    std::lock_guard<std::mutex> lock(mutex_);
    time_limit_ = time_limit;
    stopped_ = false;
}

void Answers::Stop() {
    std::map<int32_t, Pending> given_up;  // let go of without the lock, as exchanges are the server's
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    given_up.swap(pending_);
}

int32_t Answers::Add(std::shared_ptr<Exchange> exchange) {
    std::vector<std::shared_ptr<Exchange>> given_up;  // as in Stop
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return 0;
    const Clock::time_point now = Clock::now();
    for (auto oldest = Oldest(); oldest != pending_.end() && now - oldest->second.since > time_limit_;
         oldest = Oldest()) {
        given_up.push_back(std::move(oldest->second.exchange));
        pending_.erase(oldest);
    }
    do {
        last_number_ = last_number_ == std::numeric_limits<int32_t>::max() ? 1 : last_number_ + 1;
    } while (pending_.count(last_number_) > 0);
    pending_[last_number_] = {std::move(exchange), now};
    return last_number_;
}

std::shared_ptr<Exchange> Answers::Take(int32_t number) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = pending_.find(number);
    if (found == pending_.end()) return nullptr;
    std::shared_ptr<Exchange> exchange = std::move(found->second.exchange);
    pending_.erase(found);
    return exchange;
}

SendResult Answers::Send(int32_t number, const HttpResponse& response, int64_t size, const char* data) {
    AnswerHead head = MakeHead(response);
    const bool sendable = IsSendable(head) && (size == 0 || (size > 0 && data != nullptr));
    std::shared_ptr<Exchange> exchange;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) return SendResult::kStopped;
        const auto found = pending_.find(number);
        if (found == pending_.end()) return SendResult::kAnswered;
        if (!sendable) return SendResult::kBadHead;
        exchange = std::move(found->second.exchange);
        pending_.erase(found);
    }
    Sending sending;
    const std::string_view body = size == 0 ? std::string_view() : std::string_view(data, static_cast<size_t>(size));
    exchange->Send(std::move(head), body, [&sending](SendResult result) { sending.Done(result); });
    return sending.Wait();
}

// Numbers are given in order and begin anew behind the highest.
std::map<int32_t, Answers::Pending>::iterator Answers::Oldest() {
    const auto behind_last = pending_.upper_bound(last_number_);
    return behind_last != pending_.end() ? behind_last : pending_.begin();
}

}  // namespace qarplatform
