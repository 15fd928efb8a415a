#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "standalone/http/RequestHead.h"

namespace qarplatform {

/// Takes one request apart as its bytes come in.
class RequestParser {
public:
    enum class Step {
        kMore,  ///< it needs more bytes than there are
        kHead,  ///< the head is whole; once
        kDone,  ///< the request is whole
        kBad,   ///< refusal tells
    };

    virtual ~RequestParser() = default;

    /// @param bytes  those not taken so far and what came behind them
    /// @param taken  gets how many of them are done with
    virtual Step Put(std::string_view bytes, std::size_t& taken) = 0;

    /// @return whether the connection may serve another request; behind kHead
    virtual bool KeepsAlive() const = 0;
    /// @return whether a body follows; behind kHead
    virtual bool AwaitsBody() const = 0;
    /// Lowers the limit of the body, at kHead only. @return false when it is longer for certain; refusal tells
    virtual bool LimitBody(uint64_t bytes) = 0;

    RequestHead head;
    std::string body;  ///< what has come of it; who needs it elsewhere takes it away
    Refusal refusal;
};

}  // namespace qarplatform
