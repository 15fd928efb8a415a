#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace qarmock {

/// Counts the platform's calls and lets chosen ones fail. A call that fails does nothing and answers as its operation
/// does on failure: false, null, 0, an empty text or list, a result at its end, a queue without room; a query calls no
/// result function, and what is posted is lost.
///
/// An operation is named "Area::Operation", as in "MsgBus::SubscribeObserverEx" or "IDBManagerPure::Execute", the
/// reading of a column "CConnect::GetInt camera_id", an offset's text "TimeUtil::TimeDifference2Str 28800". Not counted
/// are formatting of text and the attributes of a device or channel in hand (ids, types, names), which cannot fail,
/// statements that a result function runs on its connection (FakeDatabase::FailNext lets those fail), and an operation
/// that the test answers itself. Threads: any.
class PlatformCalls {
public:
    /// The n-th call of an operation fails, 1 being the first since Clear.
    void Fail(const std::string& operation, std::size_t n);
    /// Forgets the calls and the failures.
    void Clear();
    /// @return the calls since Clear, in order, as "MsgBus::SubscribeObserverEx 1"
    std::vector<std::string> Made() const;

    /// For the mocks: counts a call. @return whether it has to fail
    bool Count(const std::string& operation);

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::size_t> counts_;
    std::set<std::pair<std::string, std::size_t>> failing_;
    std::vector<std::string> made_;
};

/// Counts a call of the platform that stands now. @return whether it has to fail
bool CallFails(const std::string& operation);

}  // namespace qarmock
