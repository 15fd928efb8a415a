// Site files: whatever the text, either a site or errors, each with a line of the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/site/SiteFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<qarplatform::SiteFileError> errors;
    const auto file = qarplatform::ParseSiteFile(text, "/site/site.toml", errors);
    if (file.has_value() != errors.empty()) {
        std::abort();
    }
    std::size_t line = 1;
    for (const qarplatform::SiteFileError& error : errors) {
        if (error.line < line || error.Text().find('\n') != std::string::npos) {
            std::abort();
        }
        line = error.line;
    }
    return 0;
}
