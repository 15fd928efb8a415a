#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Mox {
namespace Net {

/// Head of an answer that is sent directly. Texts go out as they are; "" leaves the header line out.
struct HttpResponse {
    HttpResponse()
        : n_status(200),
          n_send_timeout_ms(20000),
          n_close(0),
          str_content_type("application/xml; charset=\"UTF-8\""),
          str_cache_control("no-cache") {}

    uint32_t n_status;
    uint32_t n_send_timeout_ms;  ///< milliseconds for each 256 KiB to be taken; 0: as long as the server allows
    uint32_t n_close;            ///< other than 0: the connection is closed behind the answer
    std::string str_content_type;
    std::string str_content_disposition;
    std::string str_etag;
    std::string str_cache_control;
    std::vector<std::pair<std::string, std::string>> vec_headers;  ///< further header lines: name, value
};

class CHttpServer {
public:
    /// Sends an answer on the connection of a request and waits for it. The data is not copied.
    /// @param session  MsgIn::n_connection of a request that has no answer yet
    /// @param size     bytes of `data`, at least 0
    /// @return 0 once all was handed to the network; otherwise an error number: 1 no such request, or it has its answer
    ///         or was given up; 2 the client has gone; 3 the client did not take it in time; 4 a header that cannot be
    ///         sent (a line break in it, or a status outside 200 to 599); 5 the server has stopped
    /// Threads: any, inside the handler or after it returned.
    static int HttpServerSyncSend(int session, const HttpResponse& response, int64_t size, const char* data);
};

}  // namespace Net
}  // namespace Mox
