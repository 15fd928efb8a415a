#include "Mox/Base/StringUtil.h"

#include <cstdarg>

#include "standalone/base/PrintfText.h"

namespace Mox {
namespace Base {
namespace StringUtil {

std::string str_fmt(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = qarplatform::PrintfText(format, arguments);
    va_end(arguments);
    return text;
}

}  // namespace StringUtil
}  // namespace Base
}  // namespace Mox
