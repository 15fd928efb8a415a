#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qar/Export.h"

namespace qar {

/// One part of a multipart body that a user sent, or the file that a plug-in answers with. A copy copies the data.
struct QARCOMMON_API SHttpMime {
    SHttpMime();
    SHttpMime(const SHttpMime& other);
    SHttpMime(SHttpMime&& other);
    SHttpMime& operator=(const SHttpMime& other);
    SHttpMime& operator=(SHttpMime&& other);
    ~SHttpMime();

    std::string str_mime_0;  ///< request: content type, "" when the part names none. Response: content type
    /// request: the value of the part's Content-Disposition line. Response: the same line's value, as in
    /// "attachment; filename=door.jpg"
    std::string str_mime_1;
    std::string str_mime_2;  ///< request: the form field's name. Response: not read
    /// request: file name, "" for a part that is no file. Response: entity tag without its double quotes, which are
    /// put around it, also around ""
    std::string str_mime_3;
    std::string str_mime_4;  ///< request: transfer encoding, which the data is still in. Response: not read
    std::string str_mime_5;  ///< request: all header lines of the part, as sent. Response: not read
    /// request: the part's data, any bytes. Response: the file's; it is sent out of this string without a copy, so
    /// nobody must change it before it is sent
    std::string str_mime_6;
    void* reserved;  ///< the library's own; copied as it is
};

/// A user's HTTP request. A copy shares the parts of vec_mime.
struct QARCOMMON_API SHttpRequest {
    SHttpRequest();
    SHttpRequest(const SHttpRequest& other);
    SHttpRequest(SHttpRequest&& other);
    SHttpRequest& operator=(const SHttpRequest& other);
    SHttpRequest& operator=(SHttpRequest&& other);
    ~SHttpRequest();

    /// The request and its connection: what Mox::Net::CHttpServer::HttpServerSyncSend wants of a handler that answers
    /// by itself. -1: none.
    long long n_connection_id;
    bool b_access_type_https;  ///< whether the system is set to be reached by HTTPS; false when that is not known
    std::string str_url;       ///< as requested, with its query; may hold the session id and must not be logged then
    /// A ZELPlatform::Method as the platform gives it: 0 GET, 1 PUT, 2 POST, 3 DELETE, 4 a GET that was sent as POST.
    /// The key MT in the query of a POST names it (PUT, POST, DELETE, GET), otherwise the request's own method does.
    int n_method;
    std::string str_request_text;  ///< the user's session id, "" without one; must not be logged
    /// Up to four numbers that follow the bound URL as segments of the path, in order: 7 and 12 of "/doors/7/12" for
    /// the URL "/doors". One beyond 64 bits is the nearest that they hold, a text that is no number is 0.
    std::vector<long long> vec_url_ids;
    /// Keys and values of the query and of a form in the body, decoded; the first of equal keys. Without the session
    /// id.
    std::map<std::string, std::string> map_params;
    std::string str_body;                              ///< the whole body, any bytes
    std::vector<std::shared_ptr<SHttpMime>> vec_mime;  ///< the parts of a multipart body in order; never null
    void* reserved;                                    ///< the library's own; copied as it is
};

/// A plug-in's answer to a user's HTTP request.
struct QARCOMMON_API SHttpResponse {
    SHttpResponse();
    SHttpResponse(const SHttpResponse& other);
    SHttpResponse& operator=(const SHttpResponse& other);
    ~SHttpResponse();

    /// @return the file, shared with every copy of the record; empty when none was set
    std::shared_ptr<SHttpMime> GetHttpMime();
    /// Sets the file that is sent, once the handler has returned, in the place of str_body; empty: str_body is sent.
    void SetHttpMime(const std::shared_ptr<SHttpMime>& ptr_http_mime);

    std::string str_body;        ///< the response text, sent when no file is set
    std::string str_spare_text;  ///< not read by the library
    /// Set by a handler that answers by itself, at once or later: nothing of this record is sent.
    bool b_no_auto_reply;

private:
    struct Ext;
    Ext* ext;
};

}  // namespace qar
