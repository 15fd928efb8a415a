#include "standalone/auth/LoginGate.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace qarplatform {

namespace {

using std::chrono::seconds;

constexpr std::size_t kNetworkBytes = 8;  // of an IPv6 address

std::string NetworkOf(const std::string& remote) {
    std::array<char, sizeof(in6_addr)> address{};
    if (inet_pton(AF_INET6, remote.c_str(), address.data()) != 1) {
        return remote;
    }
    in6_addr ipv6{};
    std::memcpy(&ipv6, address.data(), sizeof ipv6);
    return IN6_IS_ADDR_V4MAPPED(&ipv6) ? std::string(address.data(), address.size())
                                       : std::string(address.data(), kNetworkBytes);
}

}  // namespace

LoginGate::LoginGate(const SessionOptions& options)
    : tries_(static_cast<std::size_t>(options.login_tries)), window_(options.login_window) {}

seconds LoginGate::Wait(const std::string& user, const std::string& remote, TimePoint now) const {
    return std::max(WaitOf(users_, user, now), WaitOf(addresses_, NetworkOf(remote), now));
}

seconds LoginGate::WaitOf(const Counts& counts, const std::string& name, TimePoint now) const {
    const auto found = counts.find(name);
    if (found == counts.end()) {
        return seconds(0);
    }
    const std::deque<TimePoint>& failures = found->second.failures;
    const auto begin =
        std::find_if(failures.begin(), failures.end(), [&](TimePoint failed) { return failed + window_ > now; });
    const auto failed = static_cast<std::size_t>(failures.end() - begin);
    if (failed + static_cast<std::size_t>(found->second.running) < tries_) {
        return seconds(0);
    }
    if (failed < tries_) {
        return seconds(1);  // those that run may still be right
    }
    return std::chrono::ceil<seconds>(*(failures.end() - static_cast<std::ptrdiff_t>(tries_)) + window_ - now);
}

void LoginGate::Begin(const std::string& user, const std::string& remote) {
    Count& of_user = users_[user];
    Count& of_address = addresses_[NetworkOf(remote)];
    ++of_user.running;  // behind all that needs memory
    ++of_address.running;
}

void LoginGate::End(const std::string& user, const std::string& remote, Outcome outcome, TimePoint now) {
    const bool wrong = outcome == Outcome::kWrong;
    const std::string network = NetworkOf(remote);
    --users_[user].running;  // before all that needs memory
    --addresses_[network].running;
    Note(addresses_, network, wrong, now);
    Note(users_, user, wrong, now);
    const auto count = users_.find(user);
    if (outcome == Outcome::kRight && count != users_.end()) {
        count->second.failures.clear();
        if (count->second.running == 0) {
            users_.erase(count);
        }
    }
}

void LoginGate::Note(Counts& counts, const std::string& name, bool failed, TimePoint now) {
    Count& count = counts[name];
    if (failed) {
        count.failures.push_back(now);
        count.told = false;
        if (count.failures.size() > tries_) {
            count.failures.pop_front();
        }
    }
    if (count.failures.empty() && count.running == 0) {
        counts.erase(name);
    }
    MakeRoom(counts, now);
}

void LoginGate::MakeRoom(Counts& counts, TimePoint now) const {
    // without a failure: where the memory ended before one was noted
    const auto last = [](const Counts::value_type& count) {
        return count.second.failures.empty() ? TimePoint::min() : count.second.failures.back();
    };
    const auto is_idle = [](const Counts::value_type& count) { return count.second.running == 0; };
    if (counts.size() > kMostNames) {
        std::erase_if(counts, [&](const auto& count) { return is_idle(count) && last(count) + window_ <= now; });
    }
    while (counts.size() > kMostNames) {
        const auto oldest = std::min_element(counts.begin(), counts.end(), [&](const auto& left, const auto& right) {
            return is_idle(left) != is_idle(right) ? is_idle(left) : is_idle(left) && last(left) < last(right);
        });
        if (!is_idle(*oldest)) {
            return;
        }
        counts.erase(oldest);
    }
}

bool LoginGate::TellRefusal(const std::string& user, const std::string& remote) {
    bool tell = false;
    const auto ask = [&tell](Counts& counts, const std::string& name) {
        const auto count = counts.find(name);
        if (count != counts.end() && !std::exchange(count->second.told, true)) {
            tell = true;
        }
    };
    ask(users_, user);
    ask(addresses_, NetworkOf(remote));
    return tell;
}

}  // namespace qarplatform
