#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "standalone/http/HttpServer.h"

namespace qarplatform {

/// @param type  of the body, for the header line Content-Type
Answer MakeAnswer(unsigned status, std::string type, std::string body);

/// An answer that tells a failure.
Answer MakeError(unsigned status, std::string_view reason);

/// A page for browsers. It may load nothing from elsewhere, run no script and be framed by nobody.
Answer MakePage(unsigned status, std::string html);

/// Sends a browser to another page of this host with a GET.
Answer MakeRedirect(const std::string& path);

/// @param json  whether the URL carries JSON; if not, the text's beginning decides
/// @return the type under which a plug-in's answer goes out
std::string AnswerType(bool json, std::string_view text);

/// Answers without waiting for it.
void SendAnswer(const std::shared_ptr<Exchange>& exchange, Answer answer);

}  // namespace qarplatform
