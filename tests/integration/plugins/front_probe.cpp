// Serves URLs that behave well and badly, and pushes and tells as it is asked, for tests of the front:
//   /probe/echo    what the request held
//   /probe/page    a page that tries the front from a browser
//   /probe/result  POST: keeps its body in <data_dir>/front_probe.result
//   /probe/throws  throws
//   /probe/silent  never answers
//   /probe/later   is answered by another thread, behind the handler
//   /probe/sleeps  waits until /probe/wake or the plug-in's stop
//   /probe/hangs   waits until somebody has written to the FIFO <data_dir>/front_probe.fifo and closed it, once
//   /probe/tell    POST, key times: posts an event so often. Its subscriber waits as /probe/hangs, passes it on to
//                  another subscriber, and adds a line to <data_dir>/front_probe.told; so does the other one
//   /probe/push    POST, key to: users|all|persons|holders|client, key id: the user, person, permission or session
#include <qar/HttpRecords.h>
#include <qar/IBusMsg.h>
#include <qar/IMessageBusManagerAPI.h>
#include <qar/IPlatformAdapterInterface.h>
#include <qarhost/plugin_entry.h>
#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Mox/Net/HttpServer.h"

namespace {

using qar::SHttpRequest;
using qar::SHttpResponse;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeDesktop;
using ZELPlatform::InterfaceCommonData::UserSession::kClientTypeWeb;

const char* const kPage = R"html(<!doctype html>
<html lang="en"><meta charset="utf-8"><title>probe</title><pre id="log"></pre>
<script>
const said = [];
const say = line => { said.push(line); document.getElementById("log").textContent = said.join("\n"); };
const json = async (path, options) => { const answer = await fetch(path, options); return [answer.status, await answer.text()]; };
(async () => {
  say("before login " + (await json("/probe/echo"))[0]);
  const login = await json("/login", {method: "POST", headers: {"Content-Type": "application/json"},
                                      body: JSON.stringify({user: "anna", password: "correct horse 7", client_type: "web"})});
  say("login " + login[0]);
  say("cookie seen by the page: " + (document.cookie || "none"));
  const echo = JSON.parse((await json("/probe/echo/7/8?area=Yard%20north&area=x"))[1]);
  say("echo " + echo.method + " " + echo.ids + " " + echo.area);
  const form = new FormData();
  form.append("note", "ümlaut");
  form.append("file", new Blob(["abc\u0000def"], {type: "text/x-probe"}), "probe \"one\".txt");
  const parts = JSON.parse((await json("/probe/echo", {method: "POST", body: form}))[1]).parts;
  say("parts " + parts.join(" | "));
  const socket = new WebSocket(location.origin.replace(/^http/, "ws") + "/push");
  socket.binaryType = "arraybuffer";
  const frame = () => new Promise(done => socket.onmessage = event => done(event.data));
  await new Promise(done => socket.onopen = done);
  let next = frame();
  await json("/probe/push?to=users&id=1", {method: "POST"});
  say("pushed " + await next);
  next = frame();
  await json("/probe/push?to=users&id=1&binary=1", {method: "POST"});
  say("pushed bytes " + Array.from(new Uint8Array(await next)).join(","));
  const closed = new Promise(done => socket.onclose = event => done(event.code));
  say("logout " + (await json("/logout", {method: "POST"}))[0]);
  say("closed " + await closed);
  say("after logout " + (await json("/probe/echo"))[0]);
})().catch(error => say("failed: " + error)).finally(() => fetch("/probe/result", {method: "POST", body: said.join("\n")}));
</script></html>
)html";

std::shared_ptr<qar::IMessageBusManagerAPI> Bus() {
    return qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
}

std::string Param(const SHttpRequest& request, const char* key) {
    const auto found = request.map_params.find(key);
    return found == request.map_params.end() ? std::string() : found->second;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            quoted += "?";
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string Echo(const SHttpRequest& request) {
    std::string ids;
    for (const long long id : request.vec_url_ids) ids += (ids.empty() ? "" : ",") + std::to_string(id);
    std::string parts;
    for (const auto& part : request.vec_mime) {
        parts += (parts.empty() ? "" : ",") +
                 Quoted(part->str_mime_2 + " " + part->str_mime_3 + " " + part->str_mime_0 + " " + part->str_mime_6);
    }
    return "{\"method\":" + std::to_string(request.n_method) + ",\"ids\":" + Quoted(ids) +
           ",\"area\":" + Quoted(Param(request, "area")) + ",\"body\":" + Quoted(request.str_body.substr(0, 100)) +
           ",\"size\":" + std::to_string(request.str_body.size()) +
           ",\"session\":" + std::to_string(request.str_request_text.size()) +
           ",\"https\":" + (request.b_access_type_https ? "true" : "false") + ",\"parts\":[" + parts + "]}";
}

constexpr int kTold = 43;
constexpr int kPassedOn = 44;

struct State {
    std::string file;  // what the names of the plug-in's files begin with
    std::atomic<bool> has_hung = false;
    std::mutex mutex;
    std::condition_variable changed;
    bool awake = false;
    std::vector<std::thread> threads;
};

// Never destroyed: a request may be on its way while the process ends.
State* state = new State;
std::string plugin;

bool Push(const SHttpRequest& request) {
    const std::string binary = Param(request, "binary").empty() ? "" : std::string("\x01\x00\xff", 3);
    const auto message = std::make_shared<qar::CBusMsgCommon>(42, 1001, 5, "{\"n\":1}", binary.data(),
                                                              static_cast<unsigned int>(binary.size()), plugin);
    const std::string to = Param(request, "to");
    const std::string id = Param(request, "id");
    const auto number = static_cast<unsigned int>(std::strtoul(id.c_str(), nullptr, 10));
    if (to == "users") return Bus()->PushMsgToUsers(message, {number}, {kClientTypeWeb, kClientTypeDesktop});
    if (to == "all") return Bus()->PushMsgToUsersNew(message, {}, {kClientTypeWeb});
    if (to == "persons") return Bus()->PushMsgToPersonUsers(message, {number}, {kClientTypeWeb});
    if (to == "holders") return Bus()->PostMsgWithPermission({{static_cast<int>(number), {}}}, message);
    if (to == "client") return Bus()->PostMsgToSpecifiedClients({id}, message);
    return Bus()->PostEventMsg(message);
}

void AnswerLater(long long connection) {
    std::lock_guard<std::mutex> lock(state->mutex);
    state->threads.emplace_back([connection] {
        Mox::Net::HttpResponse head;
        head.n_status = 202;
        head.str_content_type = "text/plain";
        const std::string body = "later";
        Mox::Net::CHttpServer::HttpServerSyncSend(static_cast<int>(connection), head, static_cast<int64_t>(body.size()),
                                                  body.data());
    });
}

void Hang() {
    if (!state->has_hung.exchange(true)) std::ifstream(state->file + ".fifo").get();
}

bool PostEvent(int event) {
    return Bus()->PostEventMsg(std::make_shared<qar::CBusMsgCommon>(event, 1001, 5, "{}", nullptr, 0, plugin));
}

void AddTold(const std::string& line) {
    std::lock_guard<std::mutex> lock(state->mutex);
    std::ofstream(state->file + ".told", std::ios::app) << line << "\n";
}

bool SubscribeToTold() {
    return Bus()->SubscribeEventMsg(
               {kTold}, plugin,
               [](const std::shared_ptr<qar::IBusMsg>&) {
                   Hang();
                   AddTold("told, passed on: " + std::to_string(PostEvent(kPassedOn)));
               },
               false) &&
           Bus()->SubscribeEventMsg(
               {kPassedOn}, plugin + ".other",
               [](const std::shared_ptr<qar::IBusMsg>&) { AddTold("reached the other"); }, false);
}

void Serve(const char* url, bool open, qar::UsrRequestFunc handler) {
    Bus()->RegisterUsrRequest(plugin, url, ZELPlatform::kMethodAny, ZELPlatform::CmdParam::kExecAsync,
                              std::move(handler), open);
}

int Start(const qarhost_context_t* context) {
    plugin = context->plugin_id;
    state->file = std::string(context->data_dir) + "/front_probe";
    mkfifo((state->file + ".fifo").c_str(), 0600);  // a restart finds it made
    if (!Bus()->PublishEventType({42, kTold, kPassedOn}, 1001) || !SubscribeToTold()) return 1;
    Serve("/probe/page", true, [](SHttpResponse& response, const SHttpRequest&) { response.str_body = kPage; });
    Serve("/probe/echo", false,
          [](SHttpResponse& response, const SHttpRequest& request) { response.str_body = Echo(request); });
    Serve("/probe/result", true, [](SHttpResponse&, const SHttpRequest& request) {
        std::ofstream(state->file + ".part") << request.str_body << "\n";
        std::rename((state->file + ".part").c_str(), (state->file + ".result").c_str());
    });
    Serve("/probe/throws", true,
          [](SHttpResponse&, const SHttpRequest&) { throw std::runtime_error("thrown by the probe"); });
    Serve("/probe/silent", true, [](SHttpResponse& response, const SHttpRequest&) { response.b_no_auto_reply = true; });
    Serve("/probe/later", true, [](SHttpResponse& response, const SHttpRequest& request) {
        response.b_no_auto_reply = true;
        AnswerLater(request.n_connection_id);
    });
    Serve("/probe/sleeps", true, [](SHttpResponse& response, const SHttpRequest&) {
        std::unique_lock<std::mutex> lock(state->mutex);
        state->changed.wait(lock, [] { return state->awake; });
        response.str_body = "awake";
    });
    Serve("/probe/wake", true, [](SHttpResponse& response, const SHttpRequest&) {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->awake = true;
        state->changed.notify_all();
        response.str_body = "woken";
    });
    Serve("/probe/hangs", true, [](SHttpResponse&, const SHttpRequest&) { Hang(); });
    Serve("/probe/tell", true, [](SHttpResponse& response, const SHttpRequest& request) {
        bool posted = true;
        for (int i = std::atoi(Param(request, "times").c_str()); i > 0; --i) posted = PostEvent(kTold) && posted;
        response.str_body = posted ? "{\"pushed\":true}" : "{\"pushed\":false}";
    });
    Serve("/probe/push", false, [](SHttpResponse& response, const SHttpRequest& request) {
        response.str_body = Push(request) ? "{\"pushed\":true}" : "{\"pushed\":false}";
    });
    return 0;
}

void Stop() {
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(state->mutex);
        state->awake = true;
        state->changed.notify_all();
        threads.swap(state->threads);
    }
    for (std::thread& thread : threads) thread.join();
}

const qarhost_plugin_t kPlugin = {QARHOST_ABI_VERSION, sizeof(qarhost_plugin_t), "front_probe", "1.0", Start, Stop};

}  // namespace

const qarhost_plugin_t* qarhost_plugin_entry(void) { return &kPlugin; }
