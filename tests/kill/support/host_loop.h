#pragma once

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "integration/support/host_process.h"
#include "integration/support/test_site.h"
#include "kill/support/activity.h"
#include "kill/support/database_folder.h"
#include "kill/support/processes.h"

namespace qartest {

struct LoopOptions {
    int rounds = 6;
    unsigned seed = 1;
    int signal = SIGKILL;       ///< what ends the host: SIGKILL or SIGTERM
    std::string fault;          ///< of the database; see plugins/statement_record.cpp
    std::string plugin;         ///< one more test plug-in, stopped before the others
    std::string plugin_config;  ///< lines of TOML
    /// Called between two rounds with the folder of the database.
    std::function<void(const std::filesystem::path&)> meddle;

    /// @param rounds  environment variable that tells how many; QAR_SEED tells the seed, else it is a new one each time
    static LoopOptions FromEnvironment(int signal, const char* rounds);
};

/// What a loop has come upon.
struct LoopReport {
    std::string failure;  ///< the evidence; "" where nothing was wrong

    int rounds = 0;                           ///< of a busy host
    int early_rounds = 0;                     ///< in addition: ended before the host was busy
    int while_sweeping = 0;                   ///< rounds that ended during a sweep over all cameras
    int while_fetching = 0;                   ///< rounds that ended while a program fetched
    int in_statement = 0;                     ///< rounds that ended while a text was executed
    int open_in_table = 0;                    ///< texts that took effect and were not answered any more
    long sweeps = 0;                          ///< sweeps begun
    long events = 0;                          ///< devices' events handled
    long statements = 0;                      ///< texts that were answered true
    long refused = 0;                         ///< texts that were answered false
    int starts_compared = 0;                  ///< registrations whose exception ranges were compared with the rows
    long ranges = 0;                          ///< exception ranges in those
    std::chrono::milliseconds longest_end{};  ///< from the signal to the end of the host, real time

    std::string Summary() const;
};

/// A busy host that is ended at random moments and started again on what it left, round after round. It is busy when
/// in this run it has begun a sweep, handled an event and fetched; SIGTERM comes during a sweep and a fetch. After each
/// fifth round there is one more that ends at a random moment before that. After each round
/// - each text that the database answered true is in its tables, and nothing else, but for the texts without an answer,
///   each of which is there whole or not at all;
/// - after the next start the exception ranges are those that follow from the rows;
/// - the database's files are sound;
/// - a host that was asked to end has done so within five seconds, with code 0, without the report of a sanitizer and
///   without leaving a process behind.
class HostLoop {
public:
    explicit HostLoop(LoopOptions options);

    LoopReport Run();

private:
    using Clock = std::chrono::steady_clock;

    /// One of the checks does not hold.
    struct Failure : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    void AddPlugins();
    void Round(int signal, bool early);
    void WaitForRandomMoment(HostProcess& host, int signal, bool early);
    void Watch(HostProcess& host, std::chrono::milliseconds time, const std::function<bool()>& until);
    void StirCameras();
    bool Sweeping() const { return activity_->sweeps_begun > activity_->sweeps_ended; }
    void End(HostProcess& host, int signal);
    void CheckStop(HostProcess& host, int exit_code) const;
    void CheckRanges(const StatementRecord& record);
    void CheckStatements(const StatementRecord& record);
    std::string DifferenceAfter(const std::vector<RecordedStatement>& statements,
                                const DatabaseFolder::Tables& found) const;
    int Draw(int from, int to);

    const LoopOptions options_;
    LoopReport report_;
    std::mt19937 random_;
    const Orphanage orphanage_;

    TestSite site_;
    std::vector<demo::SimulatedCamera*> cameras_;
    HostOptions host_options_;
    const std::filesystem::path record_;
    const SharedActivity activity_;
    const DatabaseFolder before_;  // as the last host left it
    const DatabaseFolder after_;
    const DatabaseFolder model_;

    std::string moment_;                         // at which the round's host was ended, for people
    std::chrono::milliseconds busy_after_{300};  // how long the last host took to become busy
    Clock::time_point next_stir_;
};

}  // namespace qartest
