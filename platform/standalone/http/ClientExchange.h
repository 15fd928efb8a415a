#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string_view>

#include "standalone/http/HttpServer.h"
#include "standalone/http/PostGate.h"

namespace qarplatform {

class HttpConnection;

/// The one answer of a request that was handed on.
class ClientExchange : public Exchange, public std::enable_shared_from_this<ClientExchange> {
public:
    ClientExchange(std::shared_ptr<PostGate> gate, std::weak_ptr<HttpConnection> connection);

    void Send(AnswerHead head, std::string_view body, std::function<void(SendResult)> done) override;
    void Accept(std::shared_ptr<PushListener> listener) override;

    /// @return whether the caller is who answers the request
    bool Claim() { return !answered_.exchange(true); }

private:
    void Deliver();

    const std::shared_ptr<PostGate> gate_;
    const std::weak_ptr<HttpConnection> connection_;
    std::atomic<bool> answered_{false};
    // of who claimed it: the answer on its way to the server's thread
    AnswerHead head_;
    std::string_view body_;
    std::function<void(SendResult)> done_;
};

}  // namespace qarplatform
