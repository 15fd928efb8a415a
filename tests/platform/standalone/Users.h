#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/PlatformUnderTest.h"
#include "platform/standalone/UserClient.h"
#include "standalone/site/SiteStore.h"

namespace platform_tests {

/// The users' side of the standalone platform, over a store of its own, on a free port.
class Users {
public:
    /// Begins to serve the users of PlatformUnderTest. Throws when it cannot.
    explicit Users(const std::filesystem::path& folder);
    ~Users();
    Users(const Users&) = delete;
    Users& operator=(const Users&) = delete;

    std::string LogIn(const std::string& user, ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type);
    void LogOut(const std::string& session);
    std::unique_ptr<UserCall> Send(const UserRequest& request);
    void OpenClient(const std::string& session);
    std::vector<Frame> Frames(const std::string& session);

private:
    qarplatform::SiteStore store_;
    std::map<std::string, std::unique_ptr<PushClient>> clients_;  // by session
};

}  // namespace platform_tests
