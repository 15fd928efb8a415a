#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qarplatform {

/// Reads the head of an HTTP or RTSP answer as it comes in, in pieces of any size.
class ReplyHead {
public:
    static constexpr std::size_t kLongest = 16 * 1024;

    enum class State {
        kNeedMore,
        kWhole,    ///< a status line and all headers
        kRubbish,  ///< begins with no status line of the protocol
        kTooLong,  ///< no end within kLongest bytes
    };

    /// @param protocol  "HTTP" or "RTSP"
    explicit ReplyHead(std::string_view protocol);

    /// Takes further bytes. Once the state is another than kNeedMore it stays, and bytes are passed over.
    State Add(std::string_view bytes);

    /// @return the value of the first Date header, without blanks around it
    const std::optional<std::string>& Date() const { return date_; }

private:
    State EndLine();
    bool MayBeStatusLine() const;
    bool IsStatusLine() const;
    void ReadHeader();

    std::string prefix_;
    State state_ = State::kNeedMore;
    std::size_t size_ = 0;
    bool has_status_ = false;
    std::string line_;
    std::optional<std::string> date_;
};

}  // namespace qarplatform
