#pragma once

#include <string>
#include <string_view>

namespace qarplatform {

/// @return the standard's name of a status, "Not Found"
std::string_view StatusText(unsigned status);

/// The body of an answer that tells a failure, of type "application/json":
/// {"status":404,"error":"Not Found","reason":"no plug-in serves /x"}
/// @param reason  any text; what is no UTF-8 in it is replaced
std::string ErrorBody(unsigned status, std::string_view reason);

}  // namespace qarplatform
