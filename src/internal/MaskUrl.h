#pragma once

#include <string>
#include <string_view>

namespace qar::internal {

/// Keeps session ids out of the log: every URL goes through here before it is written there.
/// @param text       a URL or other text, of any length and with any bytes
/// @param matchSID  true: the value of the first "SID=", up to the next '&', is masked, and its mask stands in the
///                   place of the value of every "SID="; without one, or with an empty first value, the text stays as
///                   it is. false: the whole text is masked, as for a bare session id
std::string MaskUrlForLog(std::string_view text, bool matchSID);

}  // namespace qar::internal
