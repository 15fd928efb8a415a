#include "standalone/http/raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <utility>

namespace http_test {

RawClient::RawClient(uint16_t port, Tls tls, const std::string& address)
    : context_(nullptr, &SSL_CTX_free), tls_(nullptr, &SSL_free) {
    const bool ipv6 = address.find(':') != std::string::npos;
    fd_ = socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{30, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &v4.sin_addr);
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    inet_pton(AF_INET6, address.c_str(), &v6.sin6_addr);
    const auto* target = ipv6 ? reinterpret_cast<const sockaddr*>(&v6) : reinterpret_cast<const sockaddr*>(&v4);
    connected_ = connect(fd_, target, ipv6 ? sizeof(v6) : sizeof(v4)) == 0;
    if (!connected_ || tls == Tls::kNone) {
        return;
    }
    context_.reset(SSL_CTX_new(TLS_client_method()));
    if (tls == Tls::kUpTo11) {
        SSL_CTX_set_security_level(context_.get(), 0);
        SSL_CTX_set_min_proto_version(context_.get(), TLS1_VERSION);
        SSL_CTX_set_max_proto_version(context_.get(), TLS1_1_VERSION);
    } else if (tls == Tls::kOnly12) {
        SSL_CTX_set_max_proto_version(context_.get(), TLS1_2_VERSION);
    }
    tls_.reset(SSL_new(context_.get()));
    SSL_set_fd(tls_.get(), fd_);
    connected_ = SSL_connect(tls_.get()) == 1;
}

RawClient::~RawClient() {
    tls_.reset();
    if (fd_ >= 0) {
        close(fd_);
    }
}

std::string RawClient::TlsVersion() const { return tls_ ? SSL_get_version(tls_.get()) : ""; }

void RawClient::TakeLittle() {
    const int size = 1;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
}

bool RawClient::Send(std::string_view text) {
    while (!text.empty()) {
        ssize_t sent = 0;
        if (tls_) {
            sent = SSL_write(tls_.get(), text.data(), static_cast<int>(std::min<std::size_t>(text.size(), 1 << 20)));
        } else {
            sent = send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
        }
        if (sent <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void RawClient::EndSending() { shutdown(fd_, SHUT_WR); }

void RawClient::Reset() {
    const linger at_once{1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    close(fd_);
    fd_ = -1;
}

Answer RawClient::ReadAnswer(bool head_only) {
    Answer answer;
    const std::string head = ReadTo("\r\n\r\n");
    if (head.size() < 4 || head.compare(head.size() - 4, 4, "\r\n\r\n") != 0 || head.compare(0, 9, "HTTP/1.1 ") != 0) {
        return answer;
    }
    const int status = std::stoi(head.substr(9, 3));
    for (std::size_t line = head.find("\r\n") + 2; line + 2 < head.size();) {
        const std::size_t end = head.find("\r\n", line);
        const std::size_t colon = head.find(": ", line);
        std::string name = head.substr(line, colon - line);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        answer.headers[name] = head.substr(colon + 2, end - colon - 2);
        line = end + 2;
    }
    const auto length = answer.headers.find("content-length");
    if (length != answer.headers.end() && !head_only) {
        const std::size_t size = std::stoul(length->second);
        answer.body = ReadBytes(size);
        if (answer.body.size() != size) {
            return answer;
        }
    }
    answer.status = status;
    return answer;
}

std::string RawClient::ReadTo(std::string_view end) {
    std::size_t found = std::string::npos;
    while ((found = received_.find(end)) == std::string::npos && Receive()) {
    }
    return std::exchange(received_, found == std::string::npos ? "" : received_.substr(found + end.size()))
        .substr(0, found == std::string::npos ? found : found + end.size());
}

std::string RawClient::ReadBytes(std::size_t count) {
    while (received_.size() < count && Receive()) {
    }
    std::string read = received_.substr(0, count);
    received_.erase(0, count);
    return read;
}

std::string RawClient::ReadToEnd() {
    while (Receive()) {
    }
    return std::exchange(received_, "");
}

bool RawClient::Ends() {
    while (Receive()) {
        received_.clear();
    }
    return !timed_out_;
}

bool RawClient::Receive() {
    std::array<char, 64 * 1024> part;
    ssize_t size = 0;
    errno = 0;
    if (tls_) {
        size = SSL_read(tls_.get(), part.data(), static_cast<int>(part.size()));
    } else {
        size = recv(fd_, part.data(), part.size(), 0);
    }
    timed_out_ = size <= 0 && errno == EAGAIN;
    if (size > 0) {
        received_.append(part.data(), static_cast<std::size_t>(size));
    }
    return size > 0;
}

}  // namespace http_test
