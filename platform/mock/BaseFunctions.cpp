#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <random>
#include <string>

#include "Mox/Base/Error.h"
#include "Mox/Base/GuidUtil.h"
#include "Mox/Base/StringUtil.h"

namespace Mox {
namespace Base {

namespace {

thread_local Error::ErrorCode t_last_error;

}  // namespace

void Error::SetLastError(const ErrorCode& error) { t_last_error = error; }

Error::ErrorCode Error::GetLastError() { return t_last_error; }

namespace StringUtil {

std::string str_fmt(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    std::string text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    text.pop_back();
    return text;
}

}  // namespace StringUtil

namespace GuidUtil {

std::string CreateGuid() {
    static std::mutex& mutex = *new std::mutex;
    static std::mt19937_64& random = *new std::mt19937_64(std::random_device{}());
    unsigned long long high = 0;
    unsigned long long low = 0;
    {
        std::lock_guard<std::mutex> lock(mutex);
        high = random();
        low = random();
    }
    high = (high & ~0xF000ULL) | 0x4000ULL;
    low = (low & ~(0xC000ULL << 48)) | (0x8000ULL << 48);
    return StringUtil::str_fmt("%08llX-%04llX-%04llX-%04llX-%012llX", high >> 32, high >> 16 & 0xFFFF, high & 0xFFFF,
                               low >> 48, low & 0xFFFFFFFFFFFFULL);
}

}  // namespace GuidUtil
}  // namespace Base
}  // namespace Mox
