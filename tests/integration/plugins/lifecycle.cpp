// Writes down what happens to it, in order, into <data_dir>/life.txt: its start with the number of devices that are
// online, the first contact, its stop with the number of timers that tick and whether the database still works.
#include <qarhost/plugin_entry.h>

#include <atomic>
#include <fstream>
#include <list>
#include <memory>
#include <string>

#include "qar/IDBManager.h"
#include "qar/IDeviceManagerAPI.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "tuk/DeviceManager.h"

namespace {

constexpr const char* kTopic = "TUK_DeviceAccess";

struct Life {
    std::string id;
    std::string file;
    std::atomic<bool> contacted{false};

    void Write(const std::string& line) const { std::ofstream(file, std::ios::app) << id + " " + line + "\n"; }
};

// Never destroyed: an event may be on its way while the process ends.
Life* life = nullptr;

void OnEvent(const std::string&, std::shared_ptr<qar::IBusMsg>, void*) {
    if (!life->contacted.exchange(true)) life->Write("contact");
}

int OnlineDevices() {
    const auto devices = qar::IPlatformAdapterInterface::Instance()->GetDeviceManagerAPI();
    std::list<std::shared_ptr<qar::SDeviceBaseInfo>> all;
    devices->GetAllDevices(all, 2001);
    int online = 0;
    for (const auto& device : all) online += devices->GetDevicePtr(device->n_device_id, 2001)->IsOnline() ? 1 : 0;
    return online;
}

int Start(const qarhost_context_t* context) {
    life = new Life;
    life->id = context->plugin_id;
    life->file = std::string(context->data_dir) + "/life.txt";
    if (!qar::IDBManager::Instance()->Initialize(life->id, 1, 0)) return 1;
    const auto bus = qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    if (!bus->SubscribeChangeMsgEx(kTopic, {265, 261, 517}, &OnEvent, nullptr, life->id)) return 2;
    life->Write("start online=" + std::to_string(OnlineDevices()));
    return 0;
}

void Stop() {
    qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI()->UnsubscribeChangeMsgEx(kTopic, {}, life->id);
    const bool works = qar::IDBManager::Instance()->Execute(
        life->id, 1, "CREATE TABLE IF NOT EXISTS lifecycle.stops(id INTEGER PRIMARY KEY)");
    qar::IDBManager::Instance()->Finalize(life->id);
    life->Write(std::string("stop database=") + (works ? "works" : "fails"));
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "lifecycle", "1.0", &Start, &Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
