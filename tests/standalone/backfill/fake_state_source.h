#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "plugins/backfill/StatePageSource.h"

namespace backfill {

/// A state that a test sets before the requests.
class FakeStateSource final : public StateSource {
public:
    using Read = std::function<bool(const std::string& what)>;

    /// @param read  what stands for the database; is told what is read
    explicit FakeStateSource(Read read = [](const std::string&) { return true; }) : read_(std::move(read)) {}

    bool CountPoints(std::map<CameraKey, long long>& counts) override {
        counts = points_;
        return Note("counts");
    }
    bool Points(const CameraKey& key, std::vector<HistoryPoint>& points) override {
        points = Of(history_, key);
        return Note("points of " + std::to_string(key.camera));
    }
    bool Errors(const CameraKey& key, ErrorTexts& errors) override {
        errors = Of(errors_, key);
        return Note("errors of " + std::to_string(key.camera));
    }
    std::vector<Camera> Cameras() override { return cameras_; }
    std::vector<RangeQueue::Entry> Pieces(const CameraKey& key) override { return Of(pieces_, key); }
    std::map<CameraKey, RangeQueue::Sum> Sums() override { return sums_; }
    bool FetchNow(const CameraKey& key, const TimeRange& range) override {
        hastened_ =
            std::to_string(key.camera) + "/" + std::to_string(key.busi) + " " + range.begin.iso + " " + range.end.iso;
        return hastens_;
    }

    /// @return what was read so far, in order
    std::vector<std::string> Reads() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return reads_;
    }

    std::vector<Camera> cameras_;
    std::map<CameraKey, long long> points_;
    std::map<CameraKey, std::vector<HistoryPoint>> history_;
    std::map<CameraKey, ErrorTexts> errors_;
    std::map<CameraKey, std::vector<RangeQueue::Entry>> pieces_;
    std::map<CameraKey, RangeQueue::Sum> sums_;
    std::string hastened_;
    bool hastens_ = true;

private:
    template <class Value>
    static Value Of(const std::map<CameraKey, Value>& values, const CameraKey& key) {
        const auto found = values.find(key);
        return found == values.end() ? Value() : found->second;
    }

    bool Note(const std::string& what) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            reads_.push_back(what);
        }
        return read_(what);
    }

    const Read read_;
    mutable std::mutex mutex_;
    std::vector<std::string> reads_;  // guarded by mutex_
};

}  // namespace backfill
