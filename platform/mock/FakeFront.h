#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Mox/Net/HttpServer.h"
#include "ZELPlatform/Authentication.h"
#include "ZELPlatform/MsgBusPush.h"
#include "ZELPlatform/MsgBusRequests.h"
#include "ZELPlatform/System.h"

namespace qarmock {

/// A user's request, as the test sends it.
struct FakeRequest {
    std::string url;        ///< absolute path and query; SID in the query names the session, MT the method of a POST
    std::string session{};  ///< the session's id, which comes before the query's SID
    ZELPlatform::Method verb = ZELPlatform::kMethodGet;  ///< one of the four single methods
    std::string body{};
    /// "application/x-www-form-urlencoded" and "multipart/form-data; boundary=...": the body is read as a form
    std::string content_type{};
};

/// What the user got.
struct FakeAnswer {
    int32_t connection = -1;
    bool sent = false;    ///< false as long as there is no answer
    bool direct = false;  ///< whether it came by HttpServerSyncSend
    Mox::Net::HttpResponse head;
    std::string body;
};

/// The users' side of the platform, without a network: URLs that plug-ins bound, sessions, pushes to them and the
/// system's settings. Handlers run on the caller's thread, inside Request and Call. Threads: any; no lock is held while
/// a handler runs.
class FakeFront {
public:
    FakeFront();

    using Content = std::shared_ptr<ZELPlatform::CBaseContent>;
    using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;
    using LoginAccountType = ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType;
    using RequestFunc = ZELPlatform::MsgBus::UserRequestFunc;

    struct Url {
        std::string plugin;
        std::string url;
        ZELPlatform::Method method;
        RequestFunc fn;
        ZELPlatform::CmdParam::Exec exec;
        bool flag;
        bool none_json;
    };

    /// One call of HttpServerSyncSend.
    struct Send {
        int connection;
        Mox::Net::HttpResponse head;
        std::string data;
        int result;
    };

    struct Session {
        std::string id;
        unsigned int account;
        ClientType client_type;
        LoginAccountType account_type;
        bool open;  ///< whether its client gets pushes
    };

    /// One call of MsgNotifyByDst.
    struct Push {
        std::vector<std::string> sessions;
        int type;
        Content content;
    };

    /// What a session's client got.
    struct Received {
        int type;
        bool text;
        std::string data;  ///< text without its NUL, or the whole block
    };

    /// Sends a request to the URL that decides and runs its handler. The front itself answers 404 for a URL that nobody
    /// bound, 405 for a method that is not bound, 401 without a session where one is needed, 400 for a body that is no
    /// JSON where it has to be, and 500 when the handler throws.
    /// @return the answer as it is after the handler; see Answer for one that comes later
    FakeAnswer Request(const FakeRequest& request);
    /// @return the answer of a request as it is now
    FakeAnswer Answer(int32_t connection) const;
    /// The client goes: later sends fail with 2.
    void Leave(int32_t connection);
    /// The request's time is over: it gets 504, later sends fail with 1.
    void GiveUp(int32_t connection);

    /// Runs the handler of a bound URL with just these arguments. What it throws is caught and kept.
    /// @return false when the URL is not bound or the handler threw
    bool Call(const std::string& url, ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out,
              ZELPlatform::ProtoParam2& param);

    /// Logs in, with an open client.
    /// @param account  the user's or person's id, as the account type says
    /// @return the session's id, of 32 characters
    std::string LogIn(unsigned int account, ClientType client_type,
                      LoginAccountType account_type = ZELPlatform::InterfaceCommonData::UserSession::kAccountUser);
    /// LogIn under an id of the test's choice.
    void LogInAs(const std::string& session, unsigned int account, ClientType client_type,
                 LoginAccountType account_type = ZELPlatform::InterfaceCommonData::UserSession::kAccountUser);
    /// @return false when there is no such session
    bool LogOut(const std::string& session);
    /// Opens or closes the session's client. @return false when there is no such session
    bool SetOpen(const std::string& session, bool open);

    /// Sets what GetSystemConfigInfo gives, null too. At first: access by HTTP.
    void SetSystemConfig(const std::shared_ptr<ZELPlatform::CSystemConfigInfo>& info);
    /// Sets a record with this access type.
    void SetAccessType(ZELPlatform::InterfaceCommonData::AccesstypeInfo::Accesstype type);

    /// @return the bound URLs, in the order of binding
    std::vector<Url> Urls() const;
    std::vector<Send> Sends() const;
    std::vector<Push> Pushes() const;
    /// @return what was pushed to a session's client, also to one that has logged out
    std::vector<Received> ReceivedBy(const std::string& session) const;
    /// @return the sessions, in the order of logging in
    std::vector<Session> Sessions() const;
    std::vector<std::string> CaughtExceptions() const;

    bool AddURL(const std::string& plugin, const std::string& url, ZELPlatform::Method method, RequestFunc fn,
                ZELPlatform::CmdParam::Exec exec, bool flag);
    bool AddNoneJsonURL(const std::string& plugin, const std::vector<std::string>& urls);
    bool DeleteURL(const std::string& url, ZELPlatform::Method method);
    bool MsgNotifyByDst(const std::vector<std::string>& sessions, int type, const Content& content);
    void GetSessionByUserID(std::vector<std::string>& sessions, unsigned int user, ClientType type) const;
    void GetSessionByID(std::vector<std::string>& sessions, unsigned int id, const std::set<ClientType>& types,
                        LoginAccountType account_type) const;
    bool GetOnlineSessionByClientType(std::vector<std::string>& sessions, ClientType type) const;
    std::shared_ptr<ZELPlatform::CSystemConfigInfo> GetSystemConfigInfo() const;
    int HttpServerSyncSend(int session, const Mox::Net::HttpResponse& response, int64_t size, const char* data);

private:
    struct Exchange {
        FakeAnswer answer;
        bool left = false;
    };

    bool Run(const RequestFunc& fn, ZELPlatform::MsgIn& in, ZELPlatform::MsgOut& out, ZELPlatform::ProtoParam2& param);

    // mutex_ is held in these
    FakeAnswer& NewExchange();
    bool IsLoggedIn(const std::string& session) const;
    /// @param status  gets the status of the refusal. @return the URL that decides, its numbers in `in`; or null
    const Url* Route(const std::string& path, ZELPlatform::MsgIn& in, uint32_t& status) const;

    bool AddSessions(std::vector<std::string>& sessions, const std::function<bool(const Session&)>& wanted) const;

    mutable std::mutex mutex_;
    std::vector<Url> urls_;
    std::map<int32_t, Exchange> exchanges_;
    std::vector<Session> sessions_;
    std::size_t logins_ = 0;
    std::map<std::string, std::vector<Received>> received_;
    std::shared_ptr<ZELPlatform::CSystemConfigInfo> config_;
    std::vector<Send> sends_;
    std::vector<Push> pushes_;
    std::vector<std::string> caught_;
};

}  // namespace qarmock
