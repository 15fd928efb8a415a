#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/// The least that Boost.Beast needs to answer GETs on kept-alive connections: no routing, no session, no time-out, the
/// answer built on the thread that read the request.
class BareServer {
public:
    /// @param body  of every answer
    BareServer(std::string body, std::string content_type);
    ~BareServer();
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;

    uint16_t Port() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace bench
