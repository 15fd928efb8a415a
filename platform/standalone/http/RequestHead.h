#pragma once

#include <bitset>
#include <string>
#include <string_view>

namespace qarplatform {

/// Why a request is not handed on. Holds nothing that the client sent.
struct Refusal {
    unsigned status = 0;  ///< 0: it is not refused
    std::string reason;
};

/// @return whether the first line has three parts, the third being "HTTP/" and a version, whichever
bool LineEndsWithVersion(std::string_view request);

/// A request's line and those of its headers that the server reads.
class RequestHead {
public:
    /// @param version  10 or 11
    void SetLine(std::string_view verb, std::string_view target, int version);
    void AddField(std::string_view name, std::string_view value);

    /// Tests the whole head, and takes an absolute target apart.
    Refusal Check();

    /// @return whether it is a whole request for a WebSocket; Check has been called
    bool IsWebSocket() const;

    std::string verb;
    std::string target;  ///< begins with '/', or is "*", after Check
    int version = 11;
    std::string host;
    std::string origin;
    std::string cookie;  ///< all lines, joined by "; "
    std::string content_type;
    std::string websocket_key;
    bool expects_continue = false;

private:
    /// Fields that may be there once.
    enum Field {
        kHost,
        kOrigin,
        kContentType,
        kContentLength,
        kTransferEncoding,
        kExpect,
        kWebSocketKey,
        kWebSocketVersion,
        kFields
    };

    Refusal CheckTarget();
    Refusal CheckLength() const;
    Refusal CheckUpgrade() const;
    void SetOnce(Field field, const char* name, std::string& text, std::string_view value);

    std::string expect_;
    std::string upgrade_;
    std::string websocket_version_;
    std::string transfer_encoding_;
    std::string content_length_;
    std::string connection_;     // all lines, joined by ","
    const char* repeated_ = "";  // name of a field that must not be repeated, and was
    std::bitset<kFields> seen_;  // empty ones too
};

}  // namespace qarplatform
