#include "zelplatformadaptor/MessageBusUsrRequest.h"

#include <cstdint>
#include <sstream>
#include <utility>
#include <vector>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/System.h"
#include "internal/Log.h"
#include "internal/MaskUrl.h"
#include "internal/PerformceTiming.h"
#include "qar/HttpRecords.h"

namespace qar {

using internal::kLogError;
using internal::kLogInformation;
using internal::kModuleCommon;
using internal::kModuleMsg;

namespace {

constexpr std::uint32_t kFileSendTimeoutMs = 40000;

bool UsersComeByHttps() {
    const auto config = ZELPlatform::System::GetSystemConfigInfo();
    if (config == nullptr) return false;
    const auto access = config->GetValstruAccesstypeinfo();
    return access != nullptr &&
           access->GetValAccessType() == ZELPlatform::InterfaceCommonData::AccesstypeInfo::kAccessHttps;
}

std::shared_ptr<SHttpMime> ToMime(const ZELPlatform::MsgMimePart& part) {
    auto mime = std::make_shared<SHttpMime>();
    mime->str_mime_0 = part.str_content_type;
    mime->str_mime_1 = part.str_content_disposition;
    mime->str_mime_2 = part.str_name;
    mime->str_mime_3 = part.str_file_name;
    mime->str_mime_4 = part.str_transfer_encoding;
    mime->str_mime_5 = part.str_headers;
    mime->str_mime_6 = part.str_data;
    return mime;
}

/// 0 for a text that is no number.
long long ToNumber(const std::string& text) {
    long long number = 0;
    std::istringstream stream(text);
    stream >> number;
    return number;
}

void Fill(SHttpRequest& request, const ZELPlatform::MsgIn& in) {
    request.n_connection_id = in.n_connection;
    request.str_url = in.str_url;
    request.n_method = in.n_method;
    request.str_request_text = in.str_request_text;
    request.map_params = in.map_params;
    if (in.p_body != nullptr) request.str_body.assign(in.p_body, in.n_body_size);
    request.b_access_type_https = UsersComeByHttps();
    for (const auto& part : in.vec_mime) request.vec_mime.push_back(ToMime(part));
    for (const auto& text : in.str_numbers) {
        if (text.empty()) break;
        request.vec_url_ids.push_back(ToNumber(text));
    }
}

/// Sends a file out of the part's own string. @return 0, or the server's error number
int SendFile(long long connection, const SHttpMime& file) {
    Mox::Net::HttpResponse head;
    head.n_send_timeout_ms = kFileSendTimeoutMs;
    head.str_content_type = file.str_mime_0;
    head.str_content_disposition = file.str_mime_1;
    head.str_etag = '"' + file.str_mime_3 + '"';
    return Mox::Net::CHttpServer::HttpServerSyncSend(
        static_cast<int>(connection), head, static_cast<std::int64_t>(file.str_mime_6.size()), file.str_mime_6.data());
}

}  // namespace

void CMessageBusUsrRequest::RegisterUsrRequest(const std::string& plugin, const std::string& url,
                                               ZELPlatform::Method method, ZELPlatform::CmdParam::Exec exec,
                                               UsrRequestFunc handler, bool flag) {
    const auto bound = [self = shared_from_this(), handler = std::move(handler)](
                           ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, ZELPlatform::ProtoParam2& param) {
        self->ProcUserRequestCB(in, out, param, handler);
    };
    if (!ZELPlatform::MsgBus::AddURL(plugin, url, method, bound, exec, flag)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s][MessageBus] Network AddURL to zelplatform failed, url[%s]\n[%s(%d)]",
                MaskUrlForLog(url, true).c_str());
        return;
    }
    ZELPlatform::MsgBus::AddNoneJsonURL(plugin, {url});
}

void CMessageBusUsrRequest::UnregisterUsrRequest(const std::string& url) {
    if (!ZELPlatform::MsgBus::DeleteURL(url, ZELPlatform::kMethodAny)) {
        QAR_LOG(kLogError, kModuleCommon, "[%s][MessageBus] Network DelURL from zelplatform failed, url[%s]\n[%s(%d)]",
                MaskUrlForLog(url, true).c_str());
    }
}

void CMessageBusUsrRequest::ProcUserRequestCB(ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out,
                                              ZELPlatform::ProtoParam2& param, const UsrRequestFunc& handler) {
    SHttpRequest request;
    SHttpResponse response;
    const CPerformceTiming timing("", false);
    Fill(request, in);
    handler(response, request);
    out.b_send = false;
    if (!response.b_no_auto_reply) {
        const auto file = response.GetHttpMime();
        if (file == nullptr) {
            out.b_send = true;
            param.str_answer = std::move(response.str_body);
        } else if (const int error = SendFile(request.n_connection_id, *file); error != 0) {
            QAR_LOG(kLogError, kModuleCommon,
                    "[%s]http response send file failed, data-size[%lld], url[%s], error[%d]\n[%s(%d)]",
                    static_cast<long long>(file->str_mime_6.size()), MaskUrlForLog(request.str_url, true).c_str(),
                    error);
        }
    }
    QAR_LOG(kLogInformation, kModuleMsg, "[%s]Proc user-request cost: %lld ms, url[%s]\n[%s(%d)]", timing.Elapsed(),
            MaskUrlForLog(request.str_url, true).c_str());
}

std::string CMessageBusUsrRequest::MaskUrlForLog(const std::string& text, bool matchSID) {
    return internal::MaskUrlForLog(text, matchSID);
}

}  // namespace qar
