#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

struct ssl_st;
struct ssl_ctx_st;

namespace http_test {

struct Answer {
    int status = 0;                              ///< 0: the connection ended before a whole answer
    std::map<std::string, std::string> headers;  ///< names in small letters
    std::string body;
};

/// A client that sends any bytes. Every wait ends after half a minute.
class RawClient {
public:
    enum class Tls { kNone, kAny, kUpTo11, kOnly12 };

    explicit RawClient(uint16_t port, Tls tls = Tls::kNone, const std::string& address = "127.0.0.1");
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// @return whether the connection stands, TLS included
    bool Connected() const { return connected_; }
    /// @return "TLSv1.3"
    std::string TlsVersion() const;
    int Fd() const { return fd_; }

    /// Shrinks the buffer for what comes, so that a server cannot send much ahead.
    void TakeLittle();
    /// @return false when the connection ended
    bool Send(std::string_view text);
    /// Tells the server that nothing more comes.
    void EndSending();
    /// Ends the connection with a reset.
    void Reset();

    /// @param head_only  the answer is one to HEAD
    Answer ReadAnswer(bool head_only = false);
    /// @return what comes, up to and with `end`; less when the connection ends
    std::string ReadTo(std::string_view end);
    std::string ReadBytes(std::size_t count);
    std::string ReadToEnd();
    /// Reads what comes. @return whether the server ends the connection
    bool Ends();

private:
    bool Receive();

    int fd_ = -1;
    bool connected_ = false;
    bool timed_out_ = false;
    std::unique_ptr<ssl_ctx_st, void (*)(ssl_ctx_st*)> context_;
    std::unique_ptr<ssl_st, void (*)(ssl_st*)> tls_;
    std::string received_;
};

}  // namespace http_test
