#include "standalone/device/event_recorder.h"

#include <chrono>
#include <set>

#include "ZELPlatform/MsgBus.h"
#include "standalone/bus/BusControl.h"
#include "tuk/DeviceAccessObserverParam.h"

namespace device_test {

EventRecorder::EventRecorder() {
    ZELPlatform::MsgBus::SubscribeObserverEx("test", "TUK_DeviceAccess", std::set<int>(), &EventRecorder::OnEvent,
                                             this);
}

EventRecorder::~EventRecorder() { qarplatform::StopBus(); }

void EventRecorder::OnEvent(const std::string& observer, int type,
                            const std::shared_ptr<ZELPlatform::CBaseContent>& content, void* self) {
    auto& recorder = *static_cast<EventRecorder*>(self);
    std::string event = observer + " without its parameter";
    if (const auto param = std::dynamic_pointer_cast<tuk::CDeviceAccessObserverParam>(content)) {
        const char* text = nullptr;
        int size = 0;
        param->GetContent(&text, &size);
        event = std::to_string(type) + " " + std::to_string(param->GetVal_resource_type()) + " " +
                std::to_string(param->GetVal_id()) + " " + text;
        if (param->ObserverMsgType() != type) {
            event += " of another type";
        }
    }
    const std::lock_guard<std::mutex> lock(recorder.mutex_);
    recorder.events_.push_back(event);
    recorder.changed_.notify_all();
}

std::vector<std::string> EventRecorder::WaitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(30), [&] { return events_.size() >= count; });
    return events_;
}

std::vector<std::string> EventRecorder::Events() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

}  // namespace device_test
