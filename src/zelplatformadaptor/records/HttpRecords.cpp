#include "qar/HttpRecords.h"

#include "internal/Hidden.h"

namespace qar {

SHttpMime::SHttpMime() : reserved(nullptr) {}
SHttpMime::SHttpMime(const SHttpMime& other) = default;
SHttpMime::SHttpMime(SHttpMime&& other) = default;
SHttpMime& SHttpMime::operator=(const SHttpMime& other) = default;
SHttpMime& SHttpMime::operator=(SHttpMime&& other) = default;
SHttpMime::~SHttpMime() = default;

SHttpRequest::SHttpRequest() : n_connection_id(-1), b_access_type_https(false), n_method(-1), reserved(nullptr) {}
SHttpRequest::SHttpRequest(const SHttpRequest& other) = default;
SHttpRequest::SHttpRequest(SHttpRequest&& other) = default;
SHttpRequest& SHttpRequest::operator=(const SHttpRequest& other) = default;
SHttpRequest& SHttpRequest::operator=(SHttpRequest&& other) = default;
SHttpRequest::~SHttpRequest() = default;

struct QAR_HIDDEN SHttpResponse::Ext {
    std::shared_ptr<SHttpMime> ptr_http_mime;
};

SHttpResponse::SHttpResponse() : b_no_auto_reply(false), ext(new Ext) {}

SHttpResponse::SHttpResponse(const SHttpResponse& other) : SHttpResponse() { *this = other; }

SHttpResponse& SHttpResponse::operator=(const SHttpResponse& other) {
    str_body = other.str_body;
    str_spare_text = other.str_spare_text;
    b_no_auto_reply = other.b_no_auto_reply;
    SetHttpMime(const_cast<SHttpResponse&>(other).GetHttpMime());
    return *this;
}

SHttpResponse::~SHttpResponse() { delete ext; }

std::shared_ptr<SHttpMime> SHttpResponse::GetHttpMime() { return ext->ptr_http_mime; }
void SHttpResponse::SetHttpMime(const std::shared_ptr<SHttpMime>& ptr_http_mime) { ext->ptr_http_mime = ptr_http_mime; }

}  // namespace qar
