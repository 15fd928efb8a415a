#include "Backfill.h"

#include <algorithm>
#include <list>

#include "qar/IDBManager.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IHistoryStateMgr.h"
#include "qar/IPlatformAdapterInterface.h"

namespace backfill {
namespace {

constexpr int kCameraType = 1001;
constexpr int kDeviceType = 2001;
constexpr int kNoDevice = -1;

/// @return id of the camera's device; kNoDevice for an unknown camera
int DeviceOf(int camera) {
    qar::SChannelBaseInfo channel;
    const auto devices = qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    return devices->GetChannelInfo(channel, camera, kCameraType) ? channel.n_device_id : kNoDevice;
}

/// @return name of the camera's device
std::string CameraName(int camera) {
    qar::SDeviceDetailInfo device;
    const auto devices = qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    return devices->GetDeviceDetailInfo(device, DeviceOf(camera), kDeviceType) ? device.str_device_text_b
                                                                               : std::string();
}

CameraSource SourceOf(int device_id) {
    CameraSource source;
    qar::SDeviceDetailInfo device;
    const auto devices = qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    if (devices->GetDeviceDetailInfo(device, device_id, kDeviceType)) {
        source.archive = device.str_device_text_d;
        source.address = device.str_device_text_a;
        source.port = device.n_device_port;
    }
    return source;
}

std::string NameOf(const CameraKey& key) {
    return "camera " + std::to_string(key.camera) + ", business type " + std::to_string(key.busi);
}

std::string NameOf(const TimeRange& range) { return range.begin.iso + " to " + range.end.iso; }

}  // namespace

void Inbox::Put(Notice notice) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) return;
        notices_.push_back(std::move(notice));
    }
    changed_.notify_one();
}

bool Inbox::Take(Notice& notice) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return closed_ || !notices_.empty(); });
    if (closed_) return false;
    notice = std::move(notices_.front());
    notices_.pop_front();
    return true;
}

void Inbox::Close() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
}

Backfill::Backfill(const std::string& plugin_id, const Config& config, Report report)
    : plugin_id_(plugin_id),
      config_(config),
      report_(std::move(report)),
      table_(plugin_id, config.schema),
      fetcher_(config_),
      queue_(config.limits),
      page_(plugin_id, *this) {}

Backfill::~Backfill() { Stop(); }

bool Backfill::Start(std::string& error) {
    if (!config_.journal.empty() && !journal_.Open(config_.journal, error)) return false;
    // one connection for the history, one for the page, one for each thread of ours
    if (!qar::IDBManager::Instance()->Initialize(plugin_id_, 3, static_cast<uint32_t>(config_.limits.total))) {
        error = "cannot open the database";
        return false;
    }
    database_open_ = true;
    if (!table_.Create()) {
        error = "cannot make the tables in schema " + config_.schema;
        Stop();
        return false;
    }
    if (!Register(error)) {
        Stop();
        return false;
    }
    RestoreOpenRanges();
    threads_.emplace_back([this] { TakeNotices(); });
    for (int i = 0; i < config_.limits.total; ++i) threads_.emplace_back([this] { FetchRanges(); });
    page_.Open();
    return true;
}

bool Backfill::Register(std::string& error) {
    qar::IHistoryStateMgr* const history = qar::IHistoryStateMgr::Instance();
    if (!history->Init()) {
        error = "cannot start the state history";
        return false;
    }
    const auto notify = [inbox = inbox_](std::map<int, std::vector<qar::SStateRange>>& ranges, int busi) {
        inbox->Put({busi, ranges});
    };
    if (!history->Register(notify, config_.busi_types, plugin_id_, table_.HistoryTable(), "id")) {
        // a failed load leaves the registration behind
        history->UnRegister(plugin_id_);
        error = "cannot register with the state history";
        return false;
    }
    registered_ = true;
    cameras_ = CamerasToCareFor();
    // a camera that is away is cared for all the same: its first contact gives it its first point, so the result, which
    // tells of single cameras, is of no use here
    for (const int busi : config_.busi_types) history->SetCareCameraStateInfoEx(plugin_id_, busi, cameras_);
    return true;
}

std::set<int> Backfill::CamerasToCareFor() {
    std::set<int> cameras;
    if (!config_.all_cameras) {
        for (const int camera : config_.cameras) {
            if (DeviceOf(camera) == kNoDevice) report_("camera " + std::to_string(camera) + " is not on this node");
            cameras.insert(camera);
        }
        return cameras;
    }
    const auto manager = qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    std::list<std::shared_ptr<qar::SDeviceBaseInfo>> devices;
    manager->GetAllDevices(devices, kDeviceType);
    for (const auto& device : devices) {
        std::list<std::shared_ptr<qar::SChannelBaseInfo>> channels;
        manager->GetDeviceChannels(channels, device->n_device_id, kDeviceType, kCameraType);
        for (const auto& channel : channels) cameras.insert(channel->n_channel_id);
    }
    if (cameras.empty()) report_("the site has no cameras");
    return cameras;
}

bool Backfill::IsConfigured(const CameraKey& key) const {
    return cameras_.count(key.camera) != 0 && config_.busi_types.count(key.busi) != 0;
}

// The library tells open ranges once an hour; what was told before the restart need not wait for that.
void Backfill::RestoreOpenRanges() {
    std::vector<StoredRange> stored;
    if (!table_.Load(stored)) {
        report_("cannot read the ranges left open; they are told again within the hour");
        return;
    }
    const auto now = std::chrono::system_clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    for (const StoredRange& range : stored) {
        // rows of another configuration stay for the day when it is taken back
        if (!IsConfigured(range.key)) continue;
        const int device = DeviceOf(range.key.camera);
        if (device == kNoDevice) continue;
        const auto wait = std::clamp<std::chrono::system_clock::duration>(range.due - now, std::chrono::seconds(0),
                                                                          config_.limits.retry_max);
        queue_.Add(range.key, device, range.range, range.attempts, std::chrono::steady_clock::now() + wait);
    }
}

void Backfill::TakeNotices() {
    Inbox::Notice notice;
    while (inbox_->Take(notice)) Guarded([&] { TakeNotice(notice); });
}

void Backfill::TakeNotice(const Inbox::Notice& notice) {
    std::vector<std::pair<CameraKey, TimeRange>> unknown;
    for (const auto& [camera, ranges] : notice.ranges) {
        if (!IsConfigured({camera, notice.busi})) continue;  // the library tells what stands in the table
        const CameraKey key{camera, notice.busi};
        for (const qar::SStateRange& told : ranges) {
            const auto range = ParseRange(told);
            if (!range) {
                report_(NameOf(key) + ": cannot read the range " + told.str_begin_time_ + " to " + told.str_end_time_);
                continue;
            }
            std::lock_guard<std::mutex> lock(mutex_);
            if (!queue_.Contains(key, *range)) unknown.emplace_back(key, *range);
        }
    }
    if (unknown.empty()) return;
    // a range that is not in the queue may have been fetched, and deleted, since it was told
    std::map<int, std::vector<qar::SStateRange>> open;
    qar::IHistoryStateMgr::Instance()->GetExceptionRange(open, plugin_id_, notice.busi);
    for (const auto& [key, range] : unknown) {
        if (IsOpen(range, open[key.camera])) TakeRange(key, range);
    }
}

void Backfill::TakeRange(const CameraKey& key, const TimeRange& range) {
    if (range.Empty()) {
        // the device's clock went back behind a change of its offset: nothing lies in between
        journal_.Told(key, range);
        qar::IHistoryStateMgr::Instance()->DelHistoryStateInRange(plugin_id_, key.busi, key.camera,
                                                                  {range.begin.iso, range.end.iso});
        journal_.Done(key, range, 0, "");
        return;
    }
    // the row first: once the range is in the queue it may be fetched, and its row deleted, at any moment
    table_.Insert(key, range);
    journal_.Told(key, range);
    const int device = DeviceOf(key.camera);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        queue_.Add(key, device, range, 0, std::chrono::steady_clock::now());
    }
    queue_changed_.notify_one();
}

void Backfill::FetchRanges() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        const auto job = queue_.Take(std::chrono::steady_clock::now());
        if (!job) {
            if (const auto next = queue_.NextDue()) {
                queue_changed_.wait_until(lock, *next);
            } else {
                queue_changed_.wait(lock);
            }
            continue;
        }
        lock.unlock();
        const FetchResult result = Fetch(*job);
        Guarded([&] { Finish(*job, result); });
        lock.lock();
        queue_changed_.notify_all();
    }
}

// Fetches a range and deletes it from the history.
FetchResult Backfill::Fetch(const RangeQueue::Job& job) {
    FetchResult result;
    try {
        journal_.Fetching(job.key, job.range);
        result = fetcher_.Fetch(job, SourceOf(job.device), stop_event_);
        if (result.success) {
            qar::IHistoryStateMgr::Instance()->DelHistoryStateInRange(plugin_id_, job.key.busi, job.key.camera,
                                                                      {job.range.begin.iso, job.range.end.iso});
        }
    } catch (const std::exception& error) {
        result.success = false;
        result.error = error.what();
    }
    return result;
}

void Backfill::Finish(const RangeQueue::Job& job, const FetchResult& result) {
    if (!result.success) {
        FinishFailed(job, result.error);
        return;
    }
    std::vector<TimeRange> done;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        done = queue_.Succeed(job);
    }
    for (const TimeRange& range : done) {
        table_.Delete(job.key, range);
        journal_.Done(job.key, range, result.bytes, result.file);
    }
}

void Backfill::FinishFailed(const RangeQueue::Job& job, const std::string& error) {
    std::vector<TimeRange> told;
    std::chrono::milliseconds pause{};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) return;  // the attempt was cut short; the table still holds the range
        told = queue_.ToldBy(job);
        pause = queue_.Fail(job, std::chrono::steady_clock::now());
    }
    for (const TimeRange& range : told) {
        table_.Update(job.key, range, job.attempt, std::chrono::system_clock::now() + pause, error);
    }
    journal_.Failed(job.key, job.range, job.attempt, error);
    report_(NameOf(job.key) + ": fetch of " + NameOf(job.range) + " failed, attempt " + std::to_string(job.attempt) +
            ", next in " + std::to_string(pause.count()) + " ms: " + error);
}

std::vector<StateSource::Camera> Backfill::Cameras() {
    std::vector<Camera> cameras;
    for (const int camera : cameras_) {
        const std::string name = CameraName(camera);
        for (const int busi : config_.busi_types) cameras.push_back({{camera, busi}, name});
    }
    return cameras;
}

bool Backfill::CountPoints(std::map<CameraKey, long long>& counts) { return table_.CountPoints(counts); }

bool Backfill::Points(const CameraKey& key, std::vector<HistoryPoint>& points) {
    return table_.LoadPoints(key, points);
}

bool Backfill::Errors(const CameraKey& key, ErrorTexts& errors) { return table_.LoadErrors(key, errors); }

std::vector<RangeQueue::Entry> Backfill::Pieces(const CameraKey& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_.List(key);
}

std::map<CameraKey, RangeQueue::Sum> Backfill::Sums() {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_.Sums();
}

bool Backfill::FetchNow(const CameraKey& key, const TimeRange& range) {
    bool waits = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        waits = queue_.Hasten(key, range, std::chrono::steady_clock::now());
    }
    queue_changed_.notify_all();
    return waits;
}

// What one piece of work throws must not end the process, nor the work on others.
template <typename Work>
void Backfill::Guarded(const Work& work) {
    try {
        work();
    } catch (const std::exception& error) {
        report_(error.what());
    }
}

void Backfill::Stop() {
    page_.Close();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    queue_changed_.notify_all();
    stop_event_.Set();
    inbox_->Close();
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
    if (registered_) qar::IHistoryStateMgr::Instance()->UnRegister(plugin_id_);
    registered_ = false;
    if (database_open_) qar::IDBManager::Instance()->Finalize(plugin_id_);
    database_open_ = false;
}

}  // namespace backfill
