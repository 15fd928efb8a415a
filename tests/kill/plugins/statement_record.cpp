// No plug-in: put before the platform's library with LD_PRELOAD, it writes down what the database is given to execute
// and what it answers, and counts the history's sweeps and events. The file $STATEMENT_RECORD gains "begin THREAD
// PLUGIN LENGTH", the text on lines of its own, and, once the database has answered and before its caller knows, "true
// THREAD" or "false THREAD". What write(2) has taken outlives the process. The counters are in
// $STATEMENT_RECORD.activity. $STATEMENT_FAULT gives the database a fault, in INSERTs only, which are all answered
// true: "lose" leaves out each 20th; "late" executes each when the next one comes.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <typeinfo>
#include <utility>

#include "kill/support/activity.h"

#pragma GCC visibility push(default)
#include "Mox/Base/ThreadPool.h"
#include "qarutil/DBManagerPure.h"
#pragma GCC visibility pop

namespace {

// Programs that the host runs have no platform to put this before.
[[gnu::constructor]] void LeaveChildrenAlone() { unsetenv("LD_PRELOAD"); }

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

class RecordFile {
public:
    RecordFile() : file_(open(Variable("STATEMENT_RECORD").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {
        if (file_ < 0) std::abort();
    }

    // One at a time, so that only the last entry of a killed process can be torn.
    void Write(const std::string& entry) {
        const std::lock_guard<std::mutex> guard(lock_);
        for (std::size_t at = 0; at < entry.size();) {
            const ssize_t written = write(file_, entry.data() + at, entry.size() - at);
            if (written < 0 && errno != EINTR) std::abort();
            if (written > 0) at += static_cast<std::size_t>(written);
        }
    }

private:
    const int file_;
    std::mutex lock_;
};

class RecordingManager final : public qar::IDBManagerPure {
public:
    explicit RecordingManager(qar::IDBManagerPure& real) : real_(real) {}

    bool Execute(const std::string& plugin, uint32_t connType, const std::string& sql) override {
        const std::string thread = std::to_string(gettid());
        record_.Write("begin " + thread + " " + plugin + " " + std::to_string(sql.size()) + "\n" + sql + "\n");
        const bool done = Answer(plugin, connType, sql);
        record_.Write((done ? "true " : "false ") + thread + "\n");
        return done;
    }

    bool Open(const std::string& plugin, uint32_t count, const qar::SDBParam& param) override {
        return real_.Open(plugin, count, param);
    }
    bool Finalize(const std::string& plugin) override { return real_.Finalize(plugin); }
    bool ResetDBParam(const std::string& plugin, const qar::SDBParam& param) override {
        return real_.ResetDBParam(plugin, param);
    }
    bool ForwardedCallA(qar::SDBForwardArg& first, qar::SDBForwardArg& second, uint32_t connType) override {
        return real_.ForwardedCallA(first, second, connType);
    }
    bool ExecuteQuery(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn) override {
        return real_.ExecuteQuery(plugin, connType, sql, std::move(fn));
    }
    bool ForwardedCallB(qar::SDBForwardArg& first, uint32_t connType, qar::SDBForwardArg& second) override {
        return real_.ForwardedCallB(first, connType, second);
    }
    qar::SDBForwardResult ForwardedCallC(qar::SDBForwardArg& first, uint32_t connType, bool flag) override {
        return real_.ForwardedCallC(first, connType, flag);
    }
    bool ExecuteQueryUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                         int timeout) override {
        return real_.ExecuteQueryUDT(plugin, connType, sql, std::move(fn), timeout);
    }
    bool ExecuteSortByCollate(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                              const std::string& collate) override {
        return real_.ExecuteSortByCollate(plugin, connType, sql, std::move(fn), collate);
    }
    int64_t GetNextID(const std::string& name) override { return real_.GetNextID(name); }
    bool ForwardedCallD(qar::SDBForwardArg& first, qar::SDBForwardArg& second, qar::SDBForwardArg& third,
                        uint32_t connType) override {
        return real_.ForwardedCallD(first, second, third, connType);
    }
    bool ExecuteSortByCollateUDT(const std::string& plugin, uint32_t connType, const std::string& sql, ResultFunc fn,
                                 const std::string& collate, const unsigned int* timeout) override {
        return real_.ExecuteSortByCollateUDT(plugin, connType, sql, std::move(fn), collate, timeout);
    }

private:
    bool Answer(const std::string& plugin, uint32_t connType, const std::string& sql) {
        const auto execute = [this, plugin, connType, sql] { return real_.Execute(plugin, connType, sql); };
        if (fault_.empty() || sql.rfind("INSERT", 0) != 0) return execute();
        const std::lock_guard<std::mutex> guard(lock_);
        if (fault_ == "late") {
            if (late_) late_();
            late_ = execute;
        } else if (++inserts_ % 20 != 0) {
            return execute();
        }
        return true;
    }

    qar::IDBManagerPure& real_;
    const std::string fault_ = Variable("STATEMENT_FAULT");
    RecordFile record_;

    std::mutex lock_;
    // guarded by lock_
    int inserts_ = 0;
    std::function<bool()> late_;
};

class CountedTask final : public Mox::Base::CTask {
public:
    explicit CountedTask(std::shared_ptr<CTask> task) : task_(std::move(task)), name_(NameOf(*task_)) {}

    void Exec() override {
        const auto& activity = Counters();
        const bool sweep = Is("CheckStateTask") || Is("DelExpireStateTask");
        if (sweep) ++activity->sweeps_begun;
        task_->Exec();
        if (sweep) ++activity->sweeps_ended;
        if (Is("HandleDeviceStateTask") || Is("HandleChannelStateTask")) ++activity->events;
    }

private:
    static const qartest::SharedActivity& Counters() {
        static const auto* activity = new qartest::SharedActivity(Variable("STATEMENT_RECORD") + ".activity");
        return *activity;
    }

    static const char* NameOf(const CTask& task) { return typeid(task).name(); }

    bool Is(const char* name) const { return name_.find(name) != std::string::npos; }

    const std::shared_ptr<CTask> task_;
    const std::string name_;
};

// The function of the platform that the one of this name hides.
template <typename Function>
Function Next(const char* name) {
    void* const next = dlsym(RTLD_NEXT, name);
    if (next == nullptr) std::abort();
    return reinterpret_cast<Function>(next);
}

}  // namespace

qar::IDBManagerPure* qar::IDBManagerPure::Instance() {
    using Function = IDBManagerPure* (*)();
    // never destroyed, as the real one
    static auto* manager = new RecordingManager(*Next<Function>("_ZN3qar14IDBManagerPure8InstanceEv")());
    return manager;
}

void Mox::Base::CMessageLoopDyThreadPool::PostTask(std::shared_ptr<CTask> task) {
    using Function = void (*)(CMessageLoopDyThreadPool*, std::shared_ptr<CTask>);
    static const auto next =
        Next<Function>("_ZN3Mox4Base24CMessageLoopDyThreadPool8PostTaskESt10shared_ptrINS0_5CTaskEE");
    next(this, std::make_shared<CountedTask>(std::move(task)));
}
