// Heads of answers: the same result in one piece and byte by byte.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "standalone/device/ReplyHead.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    using qarplatform::ReplyHead;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ReplyHead whole("RTSP");
    ReplyHead pieces("RTSP");
    const ReplyHead::State state = whole.Add(text);
    ReplyHead::State last = ReplyHead::State::kNeedMore;
    for (const char& c : text) {
        last = pieces.Add(std::string_view(&c, 1));
    }
    if (state != last || whole.Date() != pieces.Date()) {
        std::abort();
    }
    return 0;
}
