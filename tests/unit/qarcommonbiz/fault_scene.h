#pragma once

#include <functional>
#include <string>
#include <vector>

#include "history_fixture.h"
#include "qarcommonbiz/DBManagerImpl.h"
#include "statement_table.h"

namespace qar::history_test {

using Peer = CHistoryStateMgrPeer;
using Lines = std::vector<std::string>;

inline const std::string kNow = "2024-03-08T09:00:00+08:00";
inline const std::string kWeekAgo = "2024-03-01T09:00:00+08:00";

/// What can be seen of one run of an operation.
struct Outcome {
    std::string result;
    std::string log;  ///< lines as LogRecorder::Text gives them, addresses as PTR
    Lines memory;     ///< see FaultScene::Memory
    Lines rows;       ///< see FaultScene::Rows
    Lines told;       ///< "<busi>/<camera>: <begin> <end>"

    // This outcome but for one thing.
    Outcome Result(const std::string& text) const { return Changed(&Outcome::result, text); }
    Outcome Log(const std::string& text) const { return Changed(&Outcome::log, text); }
    Outcome Memory(const Lines& lines) const { return Changed(&Outcome::memory, lines); }
    Outcome Rows(const Lines& lines) const { return Changed(&Outcome::rows, lines); }
    Outcome Told(const Lines& lines) const { return Changed(&Outcome::told, lines); }

private:
    template <class Value>
    Outcome Changed(Value Outcome::*field, const Value& value) const {
        Outcome changed = *this;
        changed.*field = value;
        return changed;
    }
};

/// What has to come of an operation when one of these calls fails, each in a run of its own.
struct Fault {
    Lines calls;  ///< as PlatformCalls::Made names them
    Outcome outcome;
};

/// One run: a platform and managers of its own. Camera 101 on device 1 is online and guarded, its clock stands at
/// 2024-03-08 09:00:00+08:00; the server's clock is an hour east of UTC.
class FaultScene : public HistoryTest {
public:
    FaultScene();
    ~FaultScene() override;
    void TestBody() override {}

    using HistoryTest::Keep;
    using HistoryTest::manager;
    using HistoryTest::platform;
    using HistoryTest::SetClock;

    CDBManagerImpl databases;
    bool around = false;  ///< Memory also lists what the platform holds for the library

    /// Puts rows into the table; reads answer with them. Each {camera, busi, plain time, differ, state}.
    void HasRows(const std::vector<StatementTable::Row>& rows);
    /// Registers the plug-in, which reads the rows.
    void Register();
    /// Registers the plug-in, which has the rows' points and cares for the camera.
    void RegisterAndCare();
    void SetConfig(const std::string& db_name);

    /// "101/1 <iso> <state>" of each point, "cares 101/1", "put off 101/1", "registered"; with `around` also the open
    /// databases, subscriptions, timers, pool and queue.
    Lines Memory() const;
    /// "<id>: 101/1 <plain> utc <plain> <differ> <state>" of each row, by the statements that succeeded.
    Lines Rows() const;
    Outcome Look(const std::string& result) const;

    /// What the run up to here has logged and told is forgotten, its statements count as rows; calls count from here.
    void Begin();
    /// After a restart the table wins: what a new registration has in memory is what the rows say.
    void ExpectMemoryOfTheRowsAfterARestart();

private:
    StatementTable Table() const;
    Lines PointLines() const;

    std::vector<StatementTable::Row> stage_rows_;
};

/// Tests of an operation under faults: one run without a fault numbers its calls, then each call fails in a run of its
/// own, and each outcome has to be the expected one. A call for which nothing is expected fails the test, as does an
/// expectation for a call that is not made.
class FaultTest : public ::testing::Test {
protected:
    using Stage = std::function<void(FaultScene&)>;
    using Act = std::function<std::string(FaultScene&)>;

    FaultTest();
    /// @param usual  what has to come of it when no call fails
    static void ExpectFaults(const Stage& stage, const Act& act, const Outcome& usual,
                             const std::vector<Fault>& faults);
};

std::string Text(bool value);

// Lines of the log.
std::string ExecuteFails(const std::string& sql);
std::string InsertFails(const std::string& sql, const std::string& iso, int state);
std::string UpdateFails(const std::string& sql, const std::string& old_plain, const std::string& iso);
std::string UpdateLine(const std::string& iso);
/// The text without the offset that stands in it.
std::string WithoutOffset(std::string iso);

}  // namespace qar::history_test
