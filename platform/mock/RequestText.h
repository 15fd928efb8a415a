#pragma once

#include <map>
#include <string>
#include <vector>

#include "ZELPlatform/MsgBusRequests.h"

namespace qarmock {

/// Adds the keys and values of a query, or of a form's body, decoded; of equal keys the first stays.
void AddParams(const std::string& text, std::map<std::string, std::string>& params);

/// Adds the parts of a multipart body. @param boundary  as the content type names it
void AddParts(const std::string& body, const std::string& boundary, std::vector<ZELPlatform::MsgMimePart>& parts);

/// @return a quoted or bare parameter of a header's value, as in `form-data; name="a"`; "" when it is absent
std::string HeaderParam(const std::string& value, const std::string& name);

/// @return whether a path's segment is a number as it follows a bound URL
bool IsNumber(const std::string& segment);

/// @return the content type that the front gives a handler's text
std::string ContentTypeOf(bool json, const std::string& text);

}  // namespace qarmock
