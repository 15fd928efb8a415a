#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "integration/support/web_client.h"

namespace qartest {

/// @return the number in an environment variable; a default where there is none
inline int NumberFromEnvironment(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

/// A host with a front and the doorbell, and a user who is logged in.
class FrontSite {
public:
    void Begin() {
        site_.AddPlugin("doorbell", "doorbell.so");
        site_.AddFront();
        site_.SetLogLevel("information");
        site_.Write();
        ASSERT_EQ("", WebClient::SetPassword(site_, "anna", WebClient::kPassword));
        host_ = std::make_unique<HostProcess>(site_);
        const std::string url = FrontUrl(*host_);
        ASSERT_NE("", url) << host_->Process().Err();
        port_ = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
        anna_ = std::make_unique<WebClient>(url);
        ASSERT_EQ(200, anna_->Login("anna").status);
    }

    const TestSite& Site() const { return site_; }
    HostProcess& Host() { return *host_; }
    WebClient& Anna() { return *anna_; }
    std::uint16_t Port() const { return port_; }
    /// The header line that bears the session.
    std::string Cookie() const { return "Cookie: SID=" + anna_->Session(); }

private:
    TestSite site_{1};
    std::unique_ptr<HostProcess> host_;
    std::unique_ptr<WebClient> anna_;
    std::uint16_t port_ = 0;
};

}  // namespace qartest
