#include "standalone/http/JsonCheck.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace qarplatform {

namespace {

/// Takes everything but what lies too deep. The reader keeps some bytes for each level, so depth costs memory.
class DepthLimit : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, DepthLimit> {
public:
    bool StartObject() { return ++depth_ <= kMaxJsonDepth; }
    bool EndObject(rapidjson::SizeType) { return Leave(); }
    bool StartArray() { return ++depth_ <= kMaxJsonDepth; }
    bool EndArray(rapidjson::SizeType) { return Leave(); }

private:
    bool Leave() {
        --depth_;
        return true;
    }

    int depth_ = 0;
};

}  // namespace

bool CheckJson(std::string_view text, std::string& error) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::Reader reader;
    DepthLimit handler;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, handler);
    if (result.IsError()) {
        const bool too_deep = result.Code() == rapidjson::kParseErrorTermination;
        error = too_deep ? "Nested too deep." : rapidjson::GetParseError_En(result.Code());
        error += " At byte " + std::to_string(result.Offset()) + ".";
        return false;
    }
    if (stream.Tell() != text.size()) {  // the reader takes a NUL for the end
        error = "A NUL behind the value. At byte " + std::to_string(stream.Tell()) + ".";
        return false;
    }
    return true;
}

}  // namespace qarplatform
