#pragma once

#include <cstddef>
#include <ctime>
#include <string>

#include "standalone/http/HttpServer.h"

namespace qarplatform {

/// @return whether a head may be sent: a status from 200 to 599; names that are tokens and not among those that are the
///         server's own; values without control characters but tabs
bool IsSendable(const AnswerHead& head);

/// @return whether an answer of this status carries a body at all
bool HasBody(unsigned status);

/// The head as it goes to the client, up to and with the empty line.
/// @param version  of the client's HTTP, 10 or 11
std::string AnswerHeadText(const AnswerHead& head, std::size_t body_bytes, int version, bool keep_alive,
                           std::time_t now);

}  // namespace qarplatform
