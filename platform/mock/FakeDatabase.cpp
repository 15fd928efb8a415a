#include "mock/FakeDatabase.h"

#include <algorithm>

#include "mock/PlatformCalls.h"

namespace qarmock {

namespace {

constexpr const char* kTold = "failure told by PlatformCalls::Fail";

bool Holds(const std::string& text, const std::string& fragment) { return text.find(fragment) != std::string::npos; }

}  // namespace

void FakeDatabase::Answer(const std::string& fragment, FakeRows rows) {
    std::lock_guard<std::mutex> lock(mutex_);
    answers_.emplace_back(fragment, std::move(rows));
}

void FakeDatabase::FailNext(const std::string& fragment) {
    std::lock_guard<std::mutex> lock(mutex_);
    fail_next_.push_back(fragment);
}

void FakeDatabase::FailAll(const std::string& fragment) {
    std::lock_guard<std::mutex> lock(mutex_);
    fail_all_.push_back(fragment);
}

void FakeDatabase::ClearFailures() {
    std::lock_guard<std::mutex> lock(mutex_);
    fail_next_.clear();
    fail_all_.clear();
}

void FakeDatabase::FailOpen(const std::string& db_name) {
    std::lock_guard<std::mutex> lock(mutex_);
    unreachable_.insert(db_name);
}

void FakeDatabase::SetNextId(int64_t id) {
    std::lock_guard<std::mutex> lock(mutex_);
    next_id_ = id;
}

std::vector<FakeDatabase::Statement> FakeDatabase::Statements() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return statements_;
}

std::vector<std::string> FakeDatabase::Sqls() const {
    std::vector<std::string> sqls;
    for (auto& statement : Statements()) sqls.push_back(std::move(statement.sql));
    return sqls;
}

void FakeDatabase::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    statements_.clear();
}

std::map<std::string, qar::SDBParam> FakeDatabase::Opened() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
}

std::vector<FakeDatabase::OpenCall> FakeDatabase::Opens() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return opens_;
}

std::vector<std::pair<std::string, qar::SDBParam>> FakeDatabase::Resets() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return resets_;
}

std::vector<std::string> FakeDatabase::NextIdNames() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return next_id_names_;
}

bool FakeDatabase::Open(const std::string& plugin, unsigned int count, const qar::SDBParam& param) {
    const bool fails = CallFails("IDBManagerPure::Open");
    std::lock_guard<std::mutex> lock(mutex_);
    opens_.push_back({plugin, count, param});
    if (fails || unreachable_.count(param.dbName) > 0) return false;
    opened_[plugin] = param;
    finalized_.erase(plugin);
    return true;
}

bool FakeDatabase::Finalize(const std::string& plugin) {
    if (CallFails("IDBManagerPure::Finalize")) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    if (opened_.erase(plugin) == 0) return false;
    finalized_.insert(plugin);
    return true;
}

bool FakeDatabase::ResetDBParam(const std::string& plugin, const qar::SDBParam& param) {
    const bool fails = CallFails("IDBManagerPure::ResetDBParam");
    std::lock_guard<std::mutex> lock(mutex_);
    resets_.emplace_back(plugin, param);
    const auto found = opened_.find(plugin);
    if (fails || found == opened_.end()) return false;
    found->second = param;
    return true;
}

bool FakeDatabase::Execute(const std::string& plugin, unsigned int conn_type, const std::string& sql) {
    std::string error = CallFails("IDBManagerPure::Execute") ? kTold : "";
    return Run({plugin, conn_type, "Execute", sql, true}, nullptr, error);
}

bool FakeDatabase::Query(const char* operation, const std::string& plugin, unsigned int conn_type,
                         const std::string& sql, const qar::IDBManagerPure::ResultFunc& fn) {
    std::string error = CallFails(std::string("IDBManagerPure::") + operation) ? kTold : "";
    FakeRows rows;
    if (!Run({plugin, conn_type, operation, sql, true}, &rows, error)) return false;
    FakeConnect connect(*this, plugin, conn_type);
    connect.Take(std::move(rows));
    if (fn) fn(&connect);
    return true;
}

int64_t FakeDatabase::GetNextID(const std::string& name) {
    const bool fails = CallFails("IDBManagerPure::GetNextID");
    std::lock_guard<std::mutex> lock(mutex_);
    next_id_names_.push_back(name);
    return fails || next_id_ == 0 ? 0 : next_id_++;
}

bool FakeDatabase::Run(Statement statement, FakeRows* rows, std::string& error) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto fits = [&statement](const std::string& fragment) { return Holds(statement.sql, fragment); };
    const auto next = std::find_if(fail_next_.begin(), fail_next_.end(), fits);
    if (!error.empty()) {
        // told by the caller
    } else if (finalized_.count(statement.plugin) > 0) {
        error = "the plug-in \"" + statement.plugin + "\" is not open";
    } else if (next != fail_next_.end()) {
        error = "failure told by FailNext(\"" + *next + "\")";
        fail_next_.erase(next);
    } else if (const auto all = std::find_if(fail_all_.begin(), fail_all_.end(), fits); all != fail_all_.end()) {
        error = "failure told by FailAll(\"" + *all + "\")";
    }
    statement.ok = error.empty();
    if (statement.ok && rows != nullptr) {
        const auto answer =
            std::find_if(answers_.rbegin(), answers_.rend(), [&fits](const auto& entry) { return fits(entry.first); });
        if (answer != answers_.rend()) *rows = answer->second;
    }
    statements_.push_back(std::move(statement));
    return statements_.back().ok;
}

}  // namespace qarmock
