#include "standalone/auth/Sessions.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "standalone/auth/LoginDesk.h"
#include "standalone/auth/SessionId.h"
#include "standalone/auth/SessionTable.h"
#include "standalone/log/LogControl.h"
#include "standalone/log/PlatformLog.h"
#include "standalone/site/SiteStore.h"

namespace qarplatform {

namespace {

using std::chrono::duration_cast;
using std::chrono::seconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;
using ClientType = ZELPlatform::InterfaceCommonData::UserSession::ClientType;
using LoginAccountType = ZELPlatform::InterfaceCommonData::UserSession::LoginAccountType;
using Listener = std::function<void(const std::string&)>;

constexpr std::size_t kMostOfAUser = 64;
constexpr seconds kTick(1);
constexpr seconds kLongestUnsaved(60);

int64_t UnixSeconds(system_clock::time_point moment) {
    return duration_cast<seconds>(moment.time_since_epoch()).count();
}

/// The store keeps moments of the system's clock; here the steady one counts, which nobody sets.
int64_t StoredMoment(steady_clock::time_point moment) {
    return UnixSeconds(system_clock::now() - duration_cast<system_clock::duration>(steady_clock::now() - moment));
}

seconds Age(int64_t stored_moment) {
    return std::max(seconds(0), seconds(UnixSeconds(system_clock::now()) - stored_moment));
}

Session SessionOf(const StoredSession& stored) {
    namespace UserSession = ZELPlatform::InterfaceCommonData::UserSession;
    Session session;
    session.id = stored.id;
    session.user = static_cast<unsigned int>(stored.user.id);
    session.user_name = stored.user.name;
    session.client_type = static_cast<ClientType>(stored.client_type);
    session.account_type = stored.user.person != 0 ? UserSession::kAccountPerson : UserSession::kAccountUser;
    session.account = stored.user.person != 0 ? static_cast<unsigned int>(stored.user.person) : session.user;
    return session;
}

std::vector<std::string> IdsOf(const std::vector<Session>& sessions) {
    std::vector<std::string> ids;
    ids.reserve(sessions.size());
    for (const Session& session : sessions) {
        ids.push_back(session.id);
    }
    return ids;
}

/// Who is told of ended sessions. Calls of one listener have ended when another is set.
class EndedListener {
public:
    void Set(Listener listener) {
        auto next = listener ? std::make_shared<Listener>(std::move(listener)) : nullptr;
        std::unique_lock<std::mutex> lock(mutex_);
        listener_.swap(next);
        released_.wait(lock, [&next] { return next.use_count() <= 1; });
    }

    void Tell(const std::vector<std::string>& ids) {
        std::unique_lock<std::mutex> lock(mutex_);
        std::shared_ptr<Listener> listener = listener_;
        if (listener == nullptr) {
            return;
        }
        lock.unlock();
        for (const std::string& id : ids) {
            (*listener)(id);
        }
        lock.lock();
        listener.reset();
        released_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable released_;
    std::shared_ptr<Listener> listener_;  // guarded by mutex_, so are its copies' begin and end
};

}  // namespace

class Sessions::Impl {
public:
    ~Impl() { Stop(); }

    bool Start(SiteStore& store, const SessionOptions& options, std::string& error);
    void Stop();

    LoginAnswer Login(const std::string& user, const std::string& password, ClientType client_type,
                      const std::string& remote);
    bool Logout(const std::string& id);
    void SetEndedListener(Listener listener) { listener_.Set(std::move(listener)); }

    /// Runs a function on the table. @return what it gives; a default while stopped
    template <class Fn>
    auto OnTable(Fn fn) {
        const std::lock_guard<std::mutex> lock(mutex_);
        using Result = decltype(fn(*table_));
        return table_ ? fn(*table_) : Result();
    }

    bool HoldsOneOf(const std::string& id, const std::map<int, std::list<int>>& permissions);

private:
    bool Load(const SessionOptions& options, std::string& error);
    void Run();
    void Tick();
    LoginAnswer Admit(const StoredUser& user, ClientType client_type);
    /// @param surplus  gets the sessions that ended to make room
    LoginAnswer::Result Add(const StoredUser& user, ClientType client_type, Session& session,
                            std::vector<std::string>& surplus);
    void EndUnused();
    bool FollowStore(std::string& error);
    bool RemoveEnded(std::string& error);
    bool SaveUses(std::string& error);
    /// Tells what fails in the store once, until something else fails or all works again.
    void Complain(const std::string& error);

    LoginDesk desk_;
    EndedListener listener_;
    std::mutex admitting_;  // one login at a time finds out whose session must end

    std::mutex store_mutex_;      // before mutex_
    UserStore* users_ = nullptr;  // changes only while desk and thread stand still; guarded by store_mutex_ for others

    std::mutex mutex_;  // never held across calls of the store
    // guarded by mutex_
    std::optional<SessionTable> table_;  // nothing while stopped
    std::map<int, UserRights> rights_;
    std::vector<std::string> ended_;  // still in the store
    bool stopping_ = false;

    std::condition_variable wake_;
    std::thread thread_;
    // of the thread
    int64_t mark_ = 0;
    seconds save_every_{0};
    steady_clock::time_point next_save_;
    std::string complaint_;
};

bool Sessions::Impl::Start(SiteStore& store, const SessionOptions& options, std::string& error) {
    Stop();
    users_ = &store.Users();
    if (!Load(options, error)) {
        Stop();
        return false;
    }
    save_every_ = std::min(kLongestUnsaved, options.idle / 4);
    next_save_ = steady_clock::now() + save_every_;
    stopping_ = false;
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::exception& failure) {
        error = std::string("cannot start the sessions' thread: ") + failure.what();
        Stop();
        return false;
    }
    desk_.Open(store.Users(), options);
    return true;
}

bool Sessions::Impl::Load(const SessionOptions& options, std::string& error) {
    std::map<int, UserRights> rights;
    std::vector<StoredSession> stored;
    if (!users_->ReadMark(mark_, error) || !users_->LoadRights(rights, error) || !users_->LoadSessions(stored, error)) {
        return false;
    }
    SessionTable table(options.idle);
    std::vector<std::string> unused;
    const auto now = steady_clock::now();
    for (const StoredSession& session : stored) {
        const seconds age = Age(session.used_s);
        if (age >= options.idle) {
            unused.push_back(session.id);
        } else {
            MaskInLog(session.id);
            table.Add(SessionOf(session), session.number, now - age);
        }
    }
    if (!unused.empty() && !users_->EndSessions(unused, error)) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    table_.emplace(std::move(table));
    rights_ = std::move(rights);
    return true;
}

void Sessions::Impl::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
    desk_.Close();
    std::string error;
    if (users_ != nullptr && (!RemoveEnded(error) || !SaveUses(error))) {
        Complain(error);
    }
    const std::lock_guard<std::mutex> store_lock(store_mutex_);
    users_ = nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    table_.reset();
    rights_.clear();
    ended_.clear();
}

void Sessions::Impl::Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, kTick, [this] { return stopping_; })) {
        lock.unlock();
        try {
            Tick();
        } catch (const std::exception& failure) {
            Complain(failure.what());
        }
        lock.lock();
    }
}

void Sessions::Impl::Tick() {
    EndUnused();
    std::string error;
    bool right = FollowStore(error) && RemoveEnded(error);
    if (right && steady_clock::now() >= next_save_) {
        next_save_ = steady_clock::now() + save_every_;
        right = SaveUses(error);
    }
    if (right) {
        complaint_.clear();
    } else {
        Complain(error);
    }
}

void Sessions::Impl::Complain(const std::string& error) {
    if (std::exchange(complaint_, error) != error) {
        LogSinkWrite(kLogError, kModulePlatform, "sessions cannot be kept: %s", error.c_str());
    }
}

LoginAnswer Sessions::Impl::Login(const std::string& user, const std::string& password, ClientType client_type,
                                  const std::string& remote) {
    return desk_.Login(user, password, remote, [&](const StoredUser& found) { return Admit(found, client_type); });
}

LoginAnswer Sessions::Impl::Admit(const StoredUser& user, ClientType client_type) {
    LoginAnswer answer;
    std::vector<std::string> surplus;
    answer.result = Add(user, client_type, answer.session, surplus);
    if (!surplus.empty()) {
        LogSinkWrite(kLogInformation, kModulePlatform, "user \"%s\" has %zu sessions: the one used longest ago ends",
                     user.name.c_str(), kMostOfAUser);
        listener_.Tell(surplus);
        std::for_each(surplus.begin(), surplus.end(), &UnmaskInLog);
    }
    return answer;
}

LoginAnswer::Result Sessions::Impl::Add(const StoredUser& user, ClientType client_type, Session& session,
                                        std::vector<std::string>& surplus) {
    StoredSession stored;
    stored.id = NewSessionId();
    if (stored.id.empty()) {
        LogSinkWrite(kLogError, kModulePlatform, "nobody can log in: the system gives no random bytes");
        return LoginAnswer::kFailed;
    }
    stored.user = user;
    stored.client_type = client_type;
    stored.used_s = UnixSeconds(system_clock::now());

    const std::lock_guard<std::mutex> admitting(admitting_);
    const std::vector<std::string> too_many = OnTable(
        [&](const SessionTable& table) { return table.TooMany(static_cast<unsigned int>(user.id), kMostOfAUser); });
    std::string error;
    bool added = false;
    if (!users_->AddSession(stored, user.password, too_many, added, error)) {
        LogSinkWrite(kLogError, kModulePlatform, "nobody can log in: %s", error.c_str());
        return LoginAnswer::kFailed;
    }
    if (!added) {
        LogSinkWrite(kLogWarning, kModulePlatform, "login of user \"%s\" refused: the password was changed meanwhile",
                     user.name.c_str());
        return LoginAnswer::kRefused;
    }
    MaskInLog(stored.id);
    session = SessionOf(stored);
    const std::lock_guard<std::mutex> lock(mutex_);
    table_->Add(session, stored.number, steady_clock::now());
    for (const std::string& id : too_many) {
        if (table_->Remove(id)) {
            surplus.push_back(id);
        }
    }
    return LoginAnswer::kLoggedIn;
}

bool Sessions::Impl::Logout(const std::string& id) {
    std::optional<Session> session;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!table_ || table_->Find(id, steady_clock::now()) == nullptr) {
            return false;
        }
        session = table_->Remove(id);
        ended_.push_back(id);
    }
    LogSinkWrite(kLogInformation, kModulePlatform, "user \"%s\" logged out", session->user_name.c_str());
    std::string error;
    if (!RemoveEnded(error)) {
        LogSinkWrite(kLogWarning, kModulePlatform, "the end of a session is stored later: %s", error.c_str());
    }
    listener_.Tell({id});
    UnmaskInLog(id);
    return true;
}

void Sessions::Impl::EndUnused() {
    std::vector<Session> unused;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        unused = table_->TakeUnused(steady_clock::now());
        for (const Session& session : unused) {
            ended_.push_back(session.id);
        }
    }
    if (unused.empty()) {
        return;
    }
    for (const Session& session : unused) {
        LogSinkWrite(kLogInformation, kModulePlatform, "a session of user \"%s\" has ended for want of use",
                     session.user_name.c_str());
    }
    const std::vector<std::string> ids = IdsOf(unused);
    listener_.Tell(ids);
    std::for_each(ids.begin(), ids.end(), &UnmaskInLog);
}

/// Takes over what another process has changed: rights, and sessions that are gone.
bool Sessions::Impl::FollowStore(std::string& error) {
    int64_t mark = 0;
    if (!users_->ReadMark(mark, error)) {
        return false;
    }
    if (mark == mark_) {
        return true;
    }
    std::vector<std::string> ids;
    std::map<int, UserRights> rights;
    std::vector<StoredSession> stored;
    {
        // Nobody is admitted meanwhile, so table and store tell of the same sessions.
        const std::lock_guard<std::mutex> admitting(admitting_);
        ids = OnTable([](const SessionTable& table) { return table.All(); });
        if (!users_->LoadRights(rights, error) || !users_->LoadSessions(stored, error)) {
            return false;
        }
    }
    mark_ = mark;
    std::set<std::string> kept;
    for (const StoredSession& session : stored) {
        kept.insert(session.id);
    }
    std::vector<Session> gone;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        rights_ = std::move(rights);
        for (const std::string& id : ids) {
            std::optional<Session> session = kept.count(id) == 0 ? table_->Remove(id) : std::nullopt;
            if (session) {
                gone.push_back(std::move(*session));
            }
        }
    }
    for (const Session& session : gone) {
        LogSinkWrite(kLogInformation, kModulePlatform, "a session of user \"%s\" was ended by another program",
                     session.user_name.c_str());
    }
    ids = IdsOf(gone);
    listener_.Tell(ids);
    std::for_each(ids.begin(), ids.end(), &UnmaskInLog);
    return true;
}

bool Sessions::Impl::RemoveEnded(std::string& error) {
    const std::lock_guard<std::mutex> store_lock(store_mutex_);
    std::vector<std::string> ended;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ended.swap(ended_);
    }
    if (ended.empty() || users_ == nullptr || users_->EndSessions(ended, error)) {
        return true;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_.insert(ended_.end(), ended.begin(), ended.end());
    return false;
}

bool Sessions::Impl::SaveUses(std::string& error) {
    const auto unsaved = OnTable([](const SessionTable& table) { return table.Unsaved(); });
    std::vector<SessionUse> uses;
    uses.reserve(unsaved.size());
    for (const auto& [number, used] : unsaved) {
        uses.push_back({number, StoredMoment(used)});
    }
    if (uses.empty()) {
        return true;
    }
    if (!users_->SaveUses(uses, error)) {
        return false;
    }
    return OnTable([&](SessionTable& table) {
        table.Saved(unsaved);
        return true;
    });
}

bool Sessions::Impl::HoldsOneOf(const std::string& id, const std::map<int, std::list<int>>& permissions) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Session* session = table_ ? table_->Find(id, steady_clock::now()) : nullptr;
    const auto rights = session ? rights_.find(static_cast<int>(session->user)) : rights_.end();
    return rights != rights_.end() &&
           std::any_of(permissions.begin(), permissions.end(), [&rights](const auto& permission) {
               return rights->second.administrator || rights->second.permissions.count(permission.first) != 0;
           });
}

Sessions& Sessions::Get() {
    static Sessions& sessions = *new Sessions;
    return sessions;
}

Sessions::Sessions() : impl_(std::make_unique<Impl>()) {}
Sessions::~Sessions() = default;

bool Sessions::Start(SiteStore& store, const SessionOptions& options, std::string& error) {
    return impl_->Start(store, options, error);
}

void Sessions::Stop() { impl_->Stop(); }

LoginAnswer Sessions::Login(const std::string& user, const std::string& password, ClientType client_type,
                            const std::string& remote) {
    return impl_->Login(user, password, client_type, remote);
}

bool Sessions::Logout(const std::string& session) { return impl_->Logout(session); }

std::optional<Session> Sessions::Use(const std::string& session) {
    return impl_->OnTable([&](SessionTable& table) {
        const Session* found = table.Use(session, steady_clock::now());
        return found ? std::optional<Session>(*found) : std::nullopt;
    });
}

void Sessions::SetEndedListener(Listener listener) { impl_->SetEndedListener(std::move(listener)); }

std::vector<std::string> Sessions::OfUser(unsigned int user, ClientType client_type) {
    return OfAccount(user, {client_type}, ZELPlatform::InterfaceCommonData::UserSession::kAccountUser);
}

std::vector<std::string> Sessions::OfAccount(unsigned int account, const std::set<ClientType>& client_types,
                                             LoginAccountType account_type) {
    return impl_->OnTable([&](const SessionTable& table) {
        return table.OfAccount(account_type, account, client_types, steady_clock::now());
    });
}

std::vector<std::string> Sessions::OfClientType(ClientType client_type) {
    return impl_->OnTable(
        [&](const SessionTable& table) { return table.OfClientType(client_type, steady_clock::now()); });
}

bool Sessions::HoldsOneOf(const std::string& session, const std::map<int, std::list<int>>& permissions) {
    return impl_->HoldsOneOf(session, permissions);
}

}  // namespace qarplatform
