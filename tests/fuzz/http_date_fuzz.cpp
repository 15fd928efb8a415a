// Dates of answers: what is taken lies within the years that the form can tell.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "standalone/device/HttpDate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    int64_t seconds = 0;
    if (qarplatform::ParseHttpDate(std::string_view(reinterpret_cast<const char*>(data), size), seconds) &&
        (seconds < -62167219200 || seconds > 253402300800)) {
        std::abort();
    }
    return 0;
}
