#pragma once

#include <string>

namespace Mox {
namespace Base {
namespace GuidUtil {

/// @return a new random GUID, 36 characters, upper-case hexadecimal digits with hyphens, no braces
std::string CreateGuid();

}  // namespace GuidUtil
}  // namespace Base
}  // namespace Mox
