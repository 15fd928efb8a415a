#pragma once

namespace platform_tests {

/// A TCP port of the loopback that is this object's for its life, open or closed. Connections are taken by the kernel.
class Listener {
public:
    Listener();
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int Port() const { return port_; }
    void Open();
    /// Connections are refused from now on.
    void Close();

private:
    int socket_ = -1;
    int port_ = 0;
};

}  // namespace platform_tests
