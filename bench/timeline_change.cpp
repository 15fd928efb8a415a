#include <string>
#include <vector>

#include "bench/benches.h"
#include "bench/site.h"
#include "bench/statements.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"

namespace bench {

namespace {

constexpr int kInOrder = 2;
constexpr int kContact = 1;

/// A change as either side does it.
struct Change {
    std::string sql;
    std::string iso_time;
    Line line;
};

/// Change number `n` takes the next time line, each time round a second later than `first_moment`.
int MomentOf(const Options& options, int first_moment, int n) {
    return first_moment + n / (options.cameras * kBusiTypes);
}

}  // namespace

std::vector<Comparison> TimelineChange(const Options& options, HistoryTables& tables) {
    const auto ignore = [](std::map<int, std::vector<qar::SStateRange>>&, int) {};
    qar::CHistoryStateMgr manager;
    Require(manager.Register(ignore, {1, 2, 3, 4}, kPlugin, kTable, kKeyColumn), "register");

    std::vector<Change> changes;  // of a round
    int state = 0;
    bool written = false;
    Work work;
    work.operations = options.changes;
    work.rounds = options.rounds * kShortRounds;
    work.raw = [&] {
        for (const Change& change : changes) {
            tables.Raw().Execute(change.sql);
        }
    };
    work.ours = [&] {
        for (const Change& change : changes) {
            Require(manager.AddCameraState(kPlugin, state, change.iso_time, change.line.busi, change.line.camera),
                    "add");
        }
        if (written) {
            WriteLogLines(options, true);  // the lines are in the file when this returns
        }
    };

    const int last = tables.PointsOfLine() - 1;
    int moves = 0;
    const auto prepare_moves = [&] {
        changes.clear();
        for (int i = 0; i < options.changes; ++i, ++moves) {
            const Line line = LineAt(options, moves);
            const int moment = MomentOf(options, last, moves);
            changes.push_back({MoveText(line, PlainTime(moment), PlainTime(moment + 1)), IsoTime(moment + 1), line});
        }
    };
    int adds = 0;
    const auto prepare_adds = [&] {
        changes.clear();
        for (int i = 0; i < options.changes; ++i, ++adds) {
            const Line line = LineAt(options, adds);
            const int moment = MomentOf(options, last + 10000, adds);
            changes.push_back({AddText(1 + adds, line, kContact, PlainTime(moment)), IsoTime(moment), line});
        }
    };

    std::vector<Comparison> comparisons;
    const auto compare = [&](const std::string& name) {
        for (const bool lines : {false, true}) {
            written = lines;
            WriteLogLines(options, written);
            work.name = name + (written ? ", lines written" : ", sink filtering");
            work.limit = written ? 1.3 : 1.15;
            comparisons.push_back(Compare(work));
            tables.RequireEqual();
        }
    };
    // all moves before all points of state 1, which would not be moved
    state = kInOrder;
    work.raw_name = "sqlite3_exec of the same UPDATE";
    work.prepare = prepare_moves;
    compare("time line: a point moved");
    state = kContact;
    work.raw_name = "sqlite3_exec of the same INSERT";
    work.prepare = prepare_adds;
    compare("time line: a point added");
    Require(tables.Raw().Number(std::string("SELECT count(*) FROM ") + kTable + " WHERE camera_state = 1") == adds,
            "every point was added");
    return comparisons;
}

}  // namespace bench
