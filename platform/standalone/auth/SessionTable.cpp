#include "standalone/auth/SessionTable.h"

#include <algorithm>

namespace qarplatform {

void SessionTable::Add(Session session, int64_t number, TimePoint used) {
    numbers_[session.id] = number;
    accounts_[{session.account_type, session.account}].insert(number);
    entries_[number] = {std::move(session), used, false};
}

std::optional<Session> SessionTable::Remove(const std::string& id) {
    const auto number = numbers_.find(id);
    if (number == numbers_.end()) {
        return std::nullopt;
    }
    const auto entry = entries_.find(number->second);
    Session session = std::move(entry->second.session);
    const auto account = accounts_.find({session.account_type, session.account});
    account->second.erase(number->second);
    if (account->second.empty()) {
        accounts_.erase(account);
    }
    entries_.erase(entry);
    numbers_.erase(number);
    return session;
}

const SessionTable::Entry* SessionTable::FindLive(const std::string& id, TimePoint now) const {
    const auto number = numbers_.find(id);
    if (number == numbers_.end()) {
        return nullptr;
    }
    const Entry& entry = entries_.at(number->second);
    return IsLive(entry, now) ? &entry : nullptr;
}

const Session* SessionTable::Find(const std::string& id, TimePoint now) const {
    const Entry* entry = FindLive(id, now);
    return entry ? &entry->session : nullptr;
}

const Session* SessionTable::Use(const std::string& id, TimePoint now) {
    auto* entry = const_cast<Entry*>(FindLive(id, now));
    if (!entry) {
        return nullptr;
    }
    entry->used = now;
    entry->unsaved = true;
    return &entry->session;
}

std::vector<std::string> SessionTable::OfAccount(LoginAccountType account_type, unsigned int account,
                                                 const std::set<ClientType>& client_types, TimePoint now) const {
    std::vector<std::string> ids;
    const auto found = accounts_.find({account_type, account});
    if (found == accounts_.end()) {
        return ids;
    }
    for (const int64_t number : found->second) {
        const Entry& entry = entries_.at(number);
        if (IsLive(entry, now) && (client_types.empty() || client_types.count(entry.session.client_type) != 0)) {
            ids.push_back(entry.session.id);
        }
    }
    return ids;
}

std::vector<std::string> SessionTable::OfClientType(ClientType client_type, TimePoint now) const {
    std::vector<std::string> ids;
    for (const auto& [number, entry] : entries_) {
        if (IsLive(entry, now) && entry.session.client_type == client_type) {
            ids.push_back(entry.session.id);
        }
    }
    return ids;
}

std::vector<std::string> SessionTable::All() const {
    std::vector<std::string> ids;
    for (const auto& [number, entry] : entries_) {
        ids.push_back(entry.session.id);
    }
    return ids;
}

std::vector<std::string> SessionTable::TooMany(unsigned int user, std::size_t limit) const {
    std::vector<const Entry*> of_user;
    for (const auto& [number, entry] : entries_) {
        if (entry.session.user == user) {
            of_user.push_back(&entry);
        }
    }
    std::stable_sort(of_user.begin(), of_user.end(),
                     [](const Entry* left, const Entry* right) { return left->used < right->used; });
    std::vector<std::string> ids;
    for (std::size_t i = 0; i + limit <= of_user.size(); ++i) {
        ids.push_back(of_user[i]->session.id);
    }
    return ids;
}

std::vector<Session> SessionTable::TakeUnused(TimePoint now) {
    std::vector<std::string> ids;
    for (const auto& [number, entry] : entries_) {
        if (!IsLive(entry, now)) {
            ids.push_back(entry.session.id);
        }
    }
    std::vector<Session> unused;
    unused.reserve(ids.size());
    for (const std::string& id : ids) {
        unused.push_back(*Remove(id));
    }
    return unused;
}

std::vector<SessionTable::LastUse> SessionTable::Unsaved() const {
    std::vector<LastUse> uses;
    for (const auto& [number, entry] : entries_) {
        if (entry.unsaved) {
            uses.emplace_back(number, entry.used);
        }
    }
    return uses;
}

void SessionTable::Saved(const std::vector<LastUse>& uses) {
    for (const auto& [number, used] : uses) {
        const auto entry = entries_.find(number);
        if (entry != entries_.end() && entry->second.used == used) {
            entry->second.unsaved = false;
        }
    }
}

}  // namespace qarplatform
