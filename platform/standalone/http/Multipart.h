#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ZELPlatform/MsgBusRequests.h"

namespace qarplatform {

/// Reads a body of type multipart/form-data in one pass; only the parts' data is copied.
/// Refused are: no proper boundary; no closing boundary; a part that is not "form-data" with a name; a part's header
/// lines that are malformed, together above 16 KiB, or hold control characters; names that are no UTF-8; more than
/// 1,000 parts. What lies before the first boundary and behind the closing one is passed over.
/// @param content_type  the request's header value
/// @param parts         gets the parts in order
/// @param error         gets what is wrong, with the part's number
bool ReadMultipart(std::string_view content_type, std::string_view body, std::vector<ZELPlatform::MsgMimePart>& parts,
                   std::string& error);

}  // namespace qarplatform
