#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qarplatform {

/// A header value with parameters, such as: form-data; name="file"; filename="a.bin"
struct HeaderValue {
    std::string value;                                        ///< what stands before the parameters, in lower case
    std::vector<std::pair<std::string, std::string>> params;  ///< names in lower case; values without their quotes

    /// @return the first parameter of a name in lower case; null when there is none
    const std::string* Param(std::string_view name) const;
};

/// In quoted parameters \" and \\ are escapes; a backslash before anything else stands for itself, as some clients send
/// file names with their backslashes.
/// @return false when the text has not this form
bool ParseHeaderValue(std::string_view text, HeaderValue& header);

/// @return whether a text is a header's name, or a parameter's
bool IsToken(std::string_view text);

/// @return the text without blanks and tabs at its ends
std::string_view Trimmed(std::string_view text);

}  // namespace qarplatform
