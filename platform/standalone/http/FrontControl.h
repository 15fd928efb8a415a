#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "standalone/http/HttpServer.h"

namespace qarplatform {

struct FrontOptions {
    HttpServerOptions server;
    std::size_t requests = 256;  ///< worked on at most at a time; those beyond are answered with 503
    bool https = false;          ///< whether users reach the server by HTTPS
    bool plain = false;          ///< without https: whether something before the server may serve them by HTTPS
};

/// Begins to serve users' requests and WebSockets. The sessions have been started; URLs may be bound before and after.
/// @param error  gets what is wrong, with the file or address
bool StartFront(const FrontOptions& options, std::string& error);

/// @return the port it listens on; 0 when it does not
uint16_t FrontPort();

/// Takes no more requests and waits for those under way, at most the server's stop time; ends the WebSockets. Binding
/// and releasing URLs is harmless afterwards; sending answers and pushing fails. Not from a handler.
void StopFront();

}  // namespace qarplatform
