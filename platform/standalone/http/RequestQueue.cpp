#include "standalone/http/RequestQueue.h"

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

namespace qarplatform {

namespace {

using Clock = std::chrono::steady_clock;

/// Looks of a worker at the emptied queue before it rests: the next request mostly comes within them.
constexpr int kLooks = 30;
/// A worker's rest beside the queue before it goes back to the pool.
constexpr std::chrono::milliseconds kRest(20);
/// Rounds of a watcher without a request after which it ends.
constexpr int kQuietRounds = 50;
/// Rounds after which it goes to the end of the pool's queue.
constexpr int kRounds = 200;

}  // namespace

/// What one Start began. Its workers share it, so that it may be left behind while they run.
class RequestQueue::Line : public std::enable_shared_from_this<Line> {
public:
    explicit Line(int most_workers) : most_runners_(static_cast<std::size_t>(std::max(most_workers, 1))) {}

    bool Start(int idle_seconds) {
        return pool_.Start(1, static_cast<int>(most_runners_) + 1, idle_seconds);  // one watches
    }

    void Stop() {
        std::deque<Waiting> dropped;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopped_ = true;
            dropped.swap(waiting_);
            count_ = 0;
        }
        changed_.notify_all();
        came_.notify_all();
        pool_.Stop(false);
    }

    void Post(std::shared_ptr<DescribedTask> request) {
        bool wake = false;
        bool call = false;
        bool watch = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopped_) return;
            waiting_.push_back({std::move(request), Clock::now()});
            count_ = waiting_.size();
            if (resting_ > woken_) {
                ++woken_;
                wake = true;
            } else if (runners_ == 0) {
                ++runners_;
                call = true;
            } else if (!watched_) {
                watched_ = watch = true;
            }
        }
        if (wake) came_.notify_one();
        if (call) pool_.PostTask(std::make_shared<Runner>(shared_from_this()));
        if (watch) pool_.PostTask(std::make_shared<Watcher>(shared_from_this()));
    }

    int AtWork() const { return pool_.GetWorkTaskCount(); }

private:
    struct Waiting {
        std::shared_ptr<DescribedTask> request;
        Clock::time_point since;
        bool called_for = false;
    };

    class Runner : public DescribedTask {
    public:
        explicit Runner(std::shared_ptr<Line> line) : line_(std::move(line)) {}

        void Exec() override {
            while (line_->Take(*this)) {
                try {
                    current_->Exec();
                } catch (...) {
                    LetGo();
                    line_->RunnerFails();
                    throw;  // the pool tells it
                }
                LetGo();
            }
        }

        std::string Description() const override {
            const std::lock_guard<std::mutex> lock(mutex_);
            return current_ ? current_->Description() : std::string();
        }

        void Begin(std::shared_ptr<DescribedTask> request) {
            const std::lock_guard<std::mutex> lock(mutex_);
            current_ = std::move(request);
        }

    private:
        void LetGo() {
            std::shared_ptr<DescribedTask> done;  // which ends behind the lock
            const std::lock_guard<std::mutex> lock(mutex_);
            done.swap(current_);
        }

        const std::shared_ptr<Line> line_;
        mutable std::mutex mutex_;
        std::shared_ptr<DescribedTask> current_;  // guarded by mutex_, changed by the runner alone
    };

    class Watcher : public DescribedTask {
    public:
        explicit Watcher(std::shared_ptr<Line> line) : line_(std::move(line)) {}
        void Exec() override { line_->Watch(); }
        std::string Description() const override { return ""; }

    private:
        const std::shared_ptr<Line> line_;
    };

    /// @return false when the runner is to end
    bool Take(Runner& runner) {
        for (int look = 0; look < kLooks && count_ == 0; ++look) std::this_thread::yield();
        std::unique_lock<std::mutex> lock(mutex_);
        if (waiting_.empty() && !stopped_) {
            ++resting_;
            came_.wait_for(lock, kRest, [this] { return !waiting_.empty() || stopped_; });
            --resting_;
            if (woken_ > 0) --woken_;
        }
        if (waiting_.empty()) {
            --runners_;
            return false;
        }
        runner.Begin(std::move(waiting_.front().request));
        waiting_.pop_front();
        count_ = waiting_.size();
        return true;
    }

    void RunnerFails() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (waiting_.empty()) {
                --runners_;
                return;
            }
        }
        pool_.PostTask(std::make_shared<Runner>(shared_from_this()));  // in its place
    }

    void Watch() {
        bool goes_on = true;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            int quiet = 0;
            for (int round = 0; round < kRounds && quiet < kQuietRounds && !stopped_; ++round) {
                changed_.wait_for(lock, kPatience);
                quiet = waiting_.empty() ? quiet + 1 : 0;
                CallForLate(lock);
            }
            goes_on = watched_ = quiet < kQuietRounds && !stopped_;
        }
        // behind the runners: where the system gives no more threads, this is the one that they need
        if (goes_on) pool_.PostTask(std::make_shared<Watcher>(shared_from_this()));
    }

    /// Calls a runner for each request that has waited too long. Lets go of the lock meanwhile, if there is one.
    void CallForLate(std::unique_lock<std::mutex>& lock) {
        const Clock::time_point since = Clock::now() - kPatience;
        std::size_t late = 0;
        for (Waiting& waiting : waiting_) {
            if (waiting.since > since || runners_ == most_runners_) break;
            if (std::exchange(waiting.called_for, true)) continue;
            ++runners_;
            ++late;
        }
        // a request that came while the lock is let go of would count on a watcher that may be about to end
        if (late == 0) return;
        lock.unlock();
        for (; late > 0; --late) pool_.PostTask(std::make_shared<Runner>(shared_from_this()));
        lock.lock();
    }

    const std::size_t most_runners_;
    Mox::Base::CMessageLoopDyThreadPool pool_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::condition_variable came_;
    // guarded by mutex_
    std::deque<Waiting> waiting_;
    std::size_t runners_ = 0;
    std::size_t resting_ = 0;  // of the runners: those beside the queue
    std::size_t woken_ = 0;    // of these: those that a request woke
    bool watched_ = false;
    bool stopped_ = false;

    std::atomic<std::size_t> count_{0};  // of waiting_
};

RequestQueue::~RequestQueue() { Stop(); }

bool RequestQueue::Start(int most_workers, int idle_seconds) {
    auto line = std::make_shared<Line>(most_workers);
    if (!line->Start(idle_seconds)) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    line_ = std::move(line);
    return true;
}

void RequestQueue::Stop() {
    std::shared_ptr<Line> line;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        line.swap(line_);
    }
    if (line) line->Stop();
}

void RequestQueue::Post(std::shared_ptr<DescribedTask> request) {
    std::shared_ptr<Line> line;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        line = line_;
    }
    if (line) line->Post(std::move(request));
}

int RequestQueue::AtWork() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return line_ ? line_->AtWork() : 0;
}

}  // namespace qarplatform
