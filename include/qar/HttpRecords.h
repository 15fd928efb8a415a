#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qar/Export.h"

namespace qar {

/// One part of a multipart body, in a request or a response.
struct QARCOMMON_API SHttpMime {
    SHttpMime();
    SHttpMime(const SHttpMime& other);
    SHttpMime(SHttpMime&& other);
    SHttpMime& operator=(const SHttpMime& other);
    SHttpMime& operator=(SHttpMime&& other);
    ~SHttpMime();

    std::string str_mime_0;  ///< in a response sent as it is
    std::string str_mime_1;  ///< in a response sent as it is
    std::string str_mime_2;
    std::string str_mime_3;  ///< in a response sent in double quotes
    std::string str_mime_4;
    std::string str_mime_5;
    std::string str_mime_6;  ///< the part's data
    void* reserved;          ///< the library's own; copied as it is
};

/// A user's HTTP request.
struct QARCOMMON_API SHttpRequest {
    SHttpRequest();
    SHttpRequest(const SHttpRequest& other);
    SHttpRequest(SHttpRequest&& other);
    SHttpRequest& operator=(const SHttpRequest& other);
    SHttpRequest& operator=(SHttpRequest&& other);
    ~SHttpRequest();

    long long n_connection_id;                         ///< the connection, for a direct send
    bool b_access_type_https;                          ///< whether users reach the system by HTTPS
    std::string str_url;                               ///< the URL with its query
    int n_method;                                      ///< method code as the platform gives it
    std::string str_request_text;                      ///< the user's session id; must not be logged
    std::vector<long long> vec_url_ids;                ///< up to four numbers out of the URL
    std::map<std::string, std::string> map_params;     ///< keys and values of the request
    std::string str_body;                              ///< the body
    std::vector<std::shared_ptr<SHttpMime>> vec_mime;  ///< parts of a multipart body
    void* reserved;                                    ///< the library's own; copied as it is
};

/// A plug-in's answer to a user's HTTP request.
struct QARCOMMON_API SHttpResponse {
    SHttpResponse();
    SHttpResponse(const SHttpResponse& other);
    SHttpResponse& operator=(const SHttpResponse& other);
    ~SHttpResponse();

    /// @return the MIME part, shared with every copy of the record; empty when none was set
    std::shared_ptr<SHttpMime> GetHttpMime();
    /// A response with a MIME part goes out as a file; its str_body is not sent.
    void SetHttpMime(const std::shared_ptr<SHttpMime>& ptr_http_mime);

    std::string str_body;        ///< the response text, sent when no MIME part is set
    std::string str_spare_text;  ///< not read by the library
    bool b_no_auto_reply;        ///< set by a handler that answers by itself

private:
    struct Ext;
    Ext* ext;
};

}  // namespace qar
