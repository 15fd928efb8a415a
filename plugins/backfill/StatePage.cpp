#include "StatePage.h"

#include <utility>

#include "StatePageHtml.h"
#include "StatePageService.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"

namespace backfill {
namespace {

std::shared_ptr<qar::IMessageBusManagerAPI> Bus() {
    return qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
}

}  // namespace

StatePage::StatePage(std::string plugin, StateSource& source)
    : plugin_(std::move(plugin)), service_(std::make_shared<StatePageService>(source)) {}

StatePage::~StatePage() { Close(); }

void StatePage::Open() {
    using ZELPlatform::kMethodGet;
    using ZELPlatform::kMethodPost;
    using ZELPlatform::CmdParam::kExecAsync;
    const auto bus = Bus();
    const std::string root = "/" + plugin_;
    open_ = true;
    bus->RegisterUsrRequest(
        plugin_, root, kMethodGet, kExecAsync,
        [](qar::SHttpResponse& response, const qar::SHttpRequest&) { response.str_body = kStatePageHtml; }, false);
    bus->RegisterUsrRequest(
        plugin_, root + "/cameras", kMethodGet, kExecAsync,
        [service = service_](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            response.str_body = service->Cameras(request);
        },
        false);
    bus->RegisterUsrRequest(
        plugin_, root + "/fetch", kMethodPost, kExecAsync,
        [service = service_](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            response.str_body = service->Fetch(request);
        },
        false);
}

void StatePage::Close() {
    if (!std::exchange(open_, false)) return;
    const auto bus = Bus();
    for (const char* path : {"", "/cameras", "/fetch"}) bus->UnregisterUsrRequest("/" + plugin_ + path);
    service_->Close();
}

}  // namespace backfill
