// A small plug-in for door stations, to start from: it posts an event when somebody rings, keeps what it hears of,
// shows it on a page, pushes it to the browsers of those who are logged in, and tells other plug-ins when a door was
// opened. docs/plugin-guide.md quotes it.
#include <qar/HttpRecords.h>
#include <qar/IBusMsg.h>
#include <qar/IMessageBusManagerAPI.h>
#include <qar/IPlatformAdapterInterface.h>
#include <qarhost/plugin_entry.h>

#include <cstdlib>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace {

constexpr int kRing = 7001;        // event: somebody rings at a camera
constexpr int kDoorOpened = 7002;  // notify message: a door was opened
constexpr int kCamera = 1001;      // resource type of a camera
constexpr std::size_t kMostKept = 100;

const char* const kPage = R"html(<!doctype html>
<html lang="en"><meta charset="utf-8"><title>Doors</title>
<h1>Doors</h1>
<p><button id="ring">Ring at camera 101</button> <span id="link" role="status">connecting</span></p>
<ul id="rings"></ul>
<script>
const add = text => { const line = document.createElement("li"); line.textContent = text; document.getElementById("rings").prepend(line); };
const socket = new WebSocket(location.origin.replace(/^http/, "ws") + "/push");
socket.onopen = () => document.getElementById("link").textContent = "connected";
socket.onclose = () => document.getElementById("link").textContent = "no connection";
socket.onmessage = message => { const ring = JSON.parse(message.data); add("camera " + ring.camera + ", " + ring.by); };
document.getElementById("ring").onclick = () => fetch("/doorbell/ring?camera=101", {method: "POST"});
fetch("/doorbell/rings").then(answer => answer.json()).then(all => all.rings.forEach(ring => add("camera " + ring.camera + ", " + ring.by)));
</script></html>
)html";

std::shared_ptr<qar::IMessageBusManagerAPI> Bus() {
    return qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
}

/// What rang. Owned by the callbacks as well: a call that is on its way may come after the plug-in has stopped.
class Rings {
public:
    void Add(const std::string& json) {
        std::lock_guard<std::mutex> lock(mutex_);
        rings_.push_front(json);
        if (rings_.size() > kMostKept) rings_.pop_back();
    }

    std::string Json() const {
        std::lock_guard<std::mutex> lock(mutex_);
        std::string json;
        for (const std::string& ring : rings_) json += (json.empty() ? "" : ",") + ring;
        return "{\"rings\":[" + json + "]}";
    }

    std::size_t Count() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return rings_.size();
    }

private:
    mutable std::mutex mutex_;
    std::deque<std::string> rings_;
};

std::string g_plugin;

// --- events
// -----------------------------------------------------------------------------------------------------------

bool HearRings(const std::shared_ptr<Rings>& rings) {
    const auto bus = Bus();
    if (!bus->PublishEventType({kRing}, kCamera)) return false;
    return bus->SubscribeEventMsg(
        {kRing}, g_plugin,
        [rings](std::shared_ptr<qar::IBusMsg> event) {
            rings->Add(event->GetJsonTxt());
            // no users: everybody who is logged in with a browser
            Bus()->PushMsgToUsersNew(event, {}, {ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb});
        },
        false);
}

bool PostRing(unsigned int camera, const std::string& by) {
    const std::string json = "{\"camera\":" + std::to_string(camera) + ",\"by\":\"" + by + "\"}";
    return Bus()->PostEventMsg(
        std::make_shared<qar::CBusMsgCommon>(kRing, kCamera, camera, json, nullptr, 0, g_plugin));
}

// --- notify messages
// --------------------------------------------------------------------------------------------------

bool HearDoors(const std::shared_ptr<Rings>& rings) {
    const auto bus = Bus();
    bus->PublishMsgType(g_plugin, {kDoorOpened});
    return bus->SubscribeMsg({kDoorOpened}, g_plugin,
                             [rings](std::shared_ptr<qar::IBusMsg> message) { rings->Add(message->GetJsonTxt()); });
}

bool TellDoorOpened(unsigned int camera) {
    const std::string json = "{\"camera\":" + std::to_string(camera) + ",\"by\":\"opened\"}";
    return Bus()->PostMsg(
        std::make_shared<qar::CBusMsgCommon>(kDoorOpened, kCamera, camera, json, nullptr, 0, g_plugin));
}

// --- requests
// ---------------------------------------------------------------------------------------------------------

void Serve(const std::shared_ptr<Rings>& rings) {
    using ZELPlatform::kMethodGet;
    using ZELPlatform::kMethodPost;
    using ZELPlatform::CmdParam::kExecAsync;
    const auto bus = Bus();
    bus->RegisterUsrRequest(
        g_plugin, "/doorbell", kMethodGet, kExecAsync,
        [](qar::SHttpResponse& response, const qar::SHttpRequest&) { response.str_body = kPage; }, false);
    bus->RegisterUsrRequest(
        g_plugin, "/doorbell/rings", kMethodGet, kExecAsync,
        [rings](qar::SHttpResponse& response, const qar::SHttpRequest&) { response.str_body = rings->Json(); }, false);
    bus->RegisterUsrRequest(
        g_plugin, "/doorbell/ring", kMethodPost, kExecAsync,
        [](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            const auto camera = request.map_params.find("camera");
            const unsigned long id =
                camera == request.map_params.end() ? 0 : std::strtoul(camera->second.c_str(), nullptr, 10);
            const bool posted = id != 0 && PostRing(static_cast<unsigned int>(id), "visitor");
            response.str_body = posted ? "{\"posted\":true}" : "{\"error\":\"camera must be a camera's id\"}";
        },
        false);
    bus->RegisterUsrRequest(
        g_plugin, "/doorbell/open", kMethodPost, kExecAsync,
        [](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            // /doorbell/open/101: numbers behind the URL come by themselves
            const bool told =
                !request.vec_url_ids.empty() && TellDoorOpened(static_cast<unsigned int>(request.vec_url_ids[0]));
            response.str_body = told ? "{\"opened\":true}" : "{\"error\":\"which door\"}";
        },
        false);
    bus->RegisterUsrRequest(
        g_plugin, "/doorbell/sign.svg", kMethodGet, kExecAsync,
        [rings](qar::SHttpResponse& response, const qar::SHttpRequest&) {
            const auto file = std::make_shared<qar::SHttpMime>();
            file->str_mime_0 = "image/svg+xml";                  // content type
            file->str_mime_1 = "inline; filename=\"sign.svg\"";  // content disposition
            file->str_mime_3 = std::to_string(rings->Count());   // entity tag, sent in double quotes
            file->str_mime_6 = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"80\" height=\"20\"><text y=\"15\">" +
                               std::to_string(rings->Count()) + " rings</text></svg>";
            response.SetHttpMime(file);
        },
        false);
}

void StopServing() {
    for (const char* url : {"/doorbell", "/doorbell/rings", "/doorbell/ring", "/doorbell/open", "/doorbell/sign.svg"}) {
        Bus()->UnregisterUsrRequest(url);
    }
}

// --- the plug-in
// ------------------------------------------------------------------------------------------------------

int Start(const qarhost_context_t* context) {
    try {
        g_plugin = context->plugin_id;
        const auto rings = std::make_shared<Rings>();
        if (!HearRings(rings) || !HearDoors(rings)) {
            context->report("the bus refuses the plug-in's messages");
            return 1;
        }
        Serve(rings);
        return 0;
    } catch (const std::exception& error) {
        context->report(error.what());
        return 1;
    }
}

void Stop() {
    StopServing();
    Bus()->UnsubscribeEventMsg({kRing}, g_plugin);
    Bus()->UnsubscribeMsg({kDoorOpened}, g_plugin);
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "doorbell", "1.0.0", Start, Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
