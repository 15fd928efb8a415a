#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "AttemptTable.h"
#include "ChildProcess.h"
#include "Config.h"
#include "Fetcher.h"
#include "Journal.h"
#include "RangeQueue.h"
#include "StatePage.h"
#include "qar/StateRange.h"

namespace backfill {

/// What the library's callback leaves behind, for a thread of the plug-in's own. Owned by the callback too, so that a
/// call that comes while the plug-in stops finds it.
class Inbox {
public:
    struct Notice {
        int busi = 0;
        std::map<int, std::vector<qar::SStateRange>> ranges;
    };

    void Put(Notice notice);
    /// Waits for a notice. @return false once closed; what had not been taken is told again after a restart
    bool Take(Notice& notice);
    void Close();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Notice> notices_;
    bool closed_ = false;
};

/// Closes the gaps of cameras: takes the ranges that the library tells, fetches each with the configured command, and
/// deletes from the history what was fetched. Shows its state on a page of the platform's web front.
class Backfill final : private StateSource {
public:
    using Report = std::function<void(const std::string& message)>;

    Backfill(const std::string& plugin_id, const Config& config, Report report);
    ~Backfill() override;

    /// Opens the database, registers, names the cameras, goes on with what an earlier run left open, starts the
    /// threads.
    /// @return false with `error` when that cannot be done; everything that was begun is ended then
    bool Start(std::string& error);

    /// Ends fetches, threads and the registration. Harmless when not started.
    void Stop();

private:
    bool Register(std::string& error);
    std::set<int> CamerasToCareFor();
    bool IsConfigured(const CameraKey& key) const;
    void RestoreOpenRanges();
    void TakeNotices();
    void TakeNotice(const Inbox::Notice& notice);
    void TakeRange(const CameraKey& key, const TimeRange& range);
    void FetchRanges();
    FetchResult Fetch(const RangeQueue::Job& job);
    void Finish(const RangeQueue::Job& job, const FetchResult& result);
    void FinishFailed(const RangeQueue::Job& job, const std::string& error);

    std::vector<Camera> Cameras() override;
    bool CountPoints(std::map<CameraKey, long long>& counts) override;
    bool Points(const CameraKey& key, std::vector<HistoryPoint>& points) override;
    bool Errors(const CameraKey& key, ErrorTexts& errors) override;
    std::vector<RangeQueue::Entry> Pieces(const CameraKey& key) override;
    std::map<CameraKey, RangeQueue::Sum> Sums() override;
    bool FetchNow(const CameraKey& key, const TimeRange& range) override;

    template <typename Work>
    void Guarded(const Work& work);

    const std::string plugin_id_;
    const Config config_;
    const Report report_;
    AttemptTable table_;
    Fetcher fetcher_;
    Journal journal_;
    StopEvent stop_event_;
    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();
    std::set<int> cameras_;  // set before the threads start

    // guarded by mutex_
    RangeQueue queue_;
    bool stopping_ = false;
    std::mutex mutex_;
    std::condition_variable queue_changed_;

    bool database_open_ = false;
    bool registered_ = false;
    std::vector<std::thread> threads_;
    StatePage page_;
};

}  // namespace backfill
