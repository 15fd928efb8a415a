#include "ZELPlatform/MsgBusRequests.h"

#include "Mox/Net/HttpServer.h"
#include "standalone/http/Answers.h"
#include "standalone/http/UrlTable.h"

namespace ZELPlatform {
namespace MsgBus {

using qarplatform::UrlTable;

// Either way a request that has waited a millisecond behind a long one gets a worker of its own.
bool AddURL(const std::string& plugin, const std::string& url, Method method, UserRequestFunc fn,
            CmdParam::Exec /*exec*/, bool flag) {
    return UrlTable::Get().Add(plugin, url, method, std::move(fn), flag);
}

bool AddNoneJsonURL(const std::string& plugin, const std::vector<std::string>& urls) {
    return UrlTable::Get().MarkNoneJson(plugin, urls);
}

bool DeleteURL(const std::string& url, Method method) { return UrlTable::Get().Delete(url, method); }

}  // namespace MsgBus
}  // namespace ZELPlatform

int Mox::Net::CHttpServer::HttpServerSyncSend(int session, const HttpResponse& response, int64_t size,
                                              const char* data) {
    return static_cast<int>(qarplatform::Answers::Get().Send(session, response, size, data));
}
