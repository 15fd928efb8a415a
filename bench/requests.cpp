#include <filesystem>
#include <string>

#include "bench/bare_server.h"
#include "bench/benches.h"
#include "bench/http_load.h"
#include "qar/HttpRecords.h"
#include "qar/IMessageBusManagerAPI.h"
#include "qar/IPlatformAdapterInterface.h"
#include "standalone/http/FrontControl.h"

namespace bench {

namespace {

constexpr int kConnections = 64;
constexpr char kUrl[] = "/bench/camera";

/// An answer as a plug-in gives it for a list of some cameras.
std::string Body() {
    std::string body = R"({"cameras":[)";
    for (int camera = 1; camera <= 10; ++camera) {
        body += (camera == 1 ? "" : ",") + std::string(R"({"id":)") + std::to_string(camera) +
                R"(,"name":"Gate camera, north side","points":12,"ranges":[]})";
    }
    return body + "]}";
}

std::string RequestText() {
    return std::string("GET ") + kUrl +
           "?area=17&page=3 HTTP/1.1\r\n"
           "Host: localhost\r\n"
           "User-Agent: bench\r\n"
           "Accept: application/json\r\n\r\n";
}

}  // namespace

std::vector<Comparison> Requests(const Options& options) {
    const std::string body = Body();
    const auto bus = qar::IPlatformAdapterInterface::Instance()->GetMessageBusManagerAPI();
    bus->RegisterUsrRequest(
        kPlugin, kUrl, ZELPlatform::kMethodGet, ZELPlatform::CmdParam::kExecAsync,
        [&body](qar::SHttpResponse& response, const qar::SHttpRequest& request) {
            Require(request.map_params.size() == 2, "the request is whole");
            response.str_body = body;
        },
        true);
    qarplatform::FrontOptions front;
    std::string error;
    Require(qarplatform::StartFront(front, error), "start the front: " + error);
    BareServer bare(body, "application/json; charset=utf-8");
    HttpLoad raw(bare.Port(), kConnections, RequestText());
    HttpLoad ours(qarplatform::FrontPort(), kConnections, RequestText());

    Work work;
    work.name = "request of a plug-in's URL";
    work.raw_name = "a bare Beast server, the same body";
    work.limit = 1.25;  // 0.8 times as many requests a second
    work.operations = options.requests;
    work.rounds = options.rounds * kShortRounds;
    work.raw = [&] { raw.Run(options.requests, body); };
    work.ours = [&] { ours.Run(options.requests, body); };
    const Comparison comparison = Compare(work);
    bus->UnregisterUsrRequest(kUrl);
    qarplatform::StopFront();
    return {comparison};
}

}  // namespace bench
