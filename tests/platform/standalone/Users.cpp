#include "platform/standalone/Users.h"

#include <cstdint>
#include <list>
#include <optional>
#include <stdexcept>

#include "standalone/auth/PasswordHash.h"
#include "standalone/auth/Sessions.h"
#include "standalone/bus/BusControl.h"
#include "standalone/http/FrontControl.h"
#include "standalone/system/SystemControl.h"

namespace platform_tests {

namespace {

constexpr const char* kPassword = "password";

void Check(bool done, const std::string& error) {
    if (!done) throw std::runtime_error(error);
}

qarplatform::Site SiteWithUsers() {
    qarplatform::Site site;
    site.roles = {{"eleven", {11}}, {"twelve", {12}}};
    const auto add = [&site](int id, const std::string& name, const std::vector<std::string>& roles, int person) {
        qarplatform::UserRecord user;
        user.id = id;
        user.name = name;
        user.roles = roles;
        user.person = person;
        site.users.push_back(user);
    };
    add(1, "ann", {"eleven", "twelve"}, 0);
    add(2, "bob", {"twelve"}, 0);
    add(3, "cid", {}, 0);
    add(4, "pia", {}, 50);
    return site;
}

}  // namespace

Users::Users(const std::filesystem::path& folder) {
    std::string error;
    const qarplatform::Site site = SiteWithUsers();
    Check(store_.Open((folder / "site.db").string(), error), error);
    Check(store_.Import(site, 0, 0, error), error);
    const std::string hash = qarplatform::HashPassword(kPassword, {10, 1, 1});  // the quickest that is taken
    Check(!hash.empty(), "no hash of a password");
    for (const auto& user : site.users) {
        std::optional<int64_t> ended;
        Check(store_.Users().SetPassword(user.name, hash, ended, error), error);
    }
    Check(qarplatform::Sessions::Get().Start(store_, {}, error), error);
    qarplatform::SetClientPermissions([](const std::string& client, const std::map<int, std::list<int>>& permissions) {
        return qarplatform::Sessions::Get().HoldsOneOf(client, permissions);
    });
    qarplatform::SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::kAccessHttp);
    Check(qarplatform::StartFront({}, error), error);
}

Users::~Users() {
    clients_.clear();
    qarplatform::StopFront();
    qarplatform::SetClientPermissions(nullptr);
    qarplatform::Sessions::Get().Stop();
}

std::string Users::LogIn(const std::string& user,
                         ZELPlatform::InterfaceCommonData::UserSession::ClientType client_type) {
    const auto answer = qarplatform::Sessions::Get().Login(user, kPassword, client_type, "127.0.0.1");
    Check(answer.result == qarplatform::LoginAnswer::kLoggedIn, user + " cannot log in");
    return answer.session.id;
}

void Users::LogOut(const std::string& session) {
    Check(qarplatform::Sessions::Get().Logout(session), "no such session");
}

std::unique_ptr<UserCall> Users::Send(const UserRequest& request) {
    return SendRequest(qarplatform::FrontPort(), request);
}

void Users::OpenClient(const std::string& session) { clients_[session] = OpenPush(qarplatform::FrontPort(), session); }

std::vector<Frame> Users::Frames(const std::string& session) {
    const auto found = clients_.find(session);
    return found == clients_.end() ? std::vector<Frame>() : found->second->Frames();
}

}  // namespace platform_tests
