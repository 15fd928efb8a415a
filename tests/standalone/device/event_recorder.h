#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "ZELPlatform/BaseContent.h"

namespace device_test {

/// Notes what comes on the topic of devices' events, each as "type resource-type id text". One per process.
class EventRecorder {
public:
    /// Subscribes.
    EventRecorder();
    /// Ends the bus, so that nobody calls back any more.
    ~EventRecorder();
    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;

    /// @return the first `count` events; fewer when they have not come after half a minute
    std::vector<std::string> WaitFor(std::size_t count);
    std::vector<std::string> Events() const;

private:
    static void OnEvent(const std::string& observer, int type,
                        const std::shared_ptr<ZELPlatform::CBaseContent>& content, void* self);

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;  // guarded by mutex_
};

}  // namespace device_test
