#include <string>
#include <vector>

#include "bench/benches.h"
#include "qarcommonbiz/DBHistoryDataImpl.h"

namespace bench {

namespace {

constexpr int kInOrder = 2;
constexpr int kContact = 1;
constexpr int kStride = 7919;  // a prime: cameras come in no order of theirs

std::string MoveText(int camera, int from, int to) {
    return std::string("UPDATE ") + kTable + " SET state_time = '" + PlainTime(to) +
           "' WHERE camera_id = " + std::to_string(camera) + " AND business_type = " + std::to_string(kBusiType) +
           " and state_time = '" + PlainTime(from) + "' and camera_state = " + std::to_string(kInOrder);
}

std::string AddText(long long id, int camera, int moment) {
    return std::string("INSERT INTO ") + kTable + "(" + kKeyColumn +
           ", camera_id, camera_state, state_time, state_utc_time, business_type, bi_type, differ) values(" +
           std::to_string(id) + ", " + std::to_string(camera) + ", " + std::to_string(kContact) + ", '" +
           PlainTime(moment) + "', '" + PlainTime(moment) + "', " + std::to_string(kBusiType) + ", " +
           std::to_string(kBusiType) + ", 0)";
}

/// The change number `n` of one side: which camera, and which moment it has by then.
struct Changes {
    const Options& options;
    int first_moment;
    int done = 0;

    int Camera(int n) const {
        return kFirstCamera + static_cast<int>(static_cast<long long>(n) * kStride % options.cameras);
    }
    int Moment(int n) const { return first_moment + n / options.cameras; }
};

}  // namespace

std::vector<Comparison> TimelineChange(const Options& options, HistoryTables& tables) {
    qar::CDBHistoryData store;
    std::vector<Comparison> comparisons;
    const int last = tables.PointsOfCamera() - 1;

    Changes raw_moves{options, last};
    Changes our_moves{options, last};
    comparisons.push_back(Compare(
        "timeline change: a point moved", "sqlite3_exec of the same UPDATE", options.rounds, options.changes,
        [&] {
            for (int i = 0; i < options.changes; ++i, ++raw_moves.done) {
                const int moment = raw_moves.Moment(raw_moves.done);
                tables.Raw().Execute(MoveText(raw_moves.Camera(raw_moves.done), moment, moment + 1));
            }
        },
        [&] {
            for (int i = 0; i < options.changes; ++i, ++our_moves.done) {
                const int moment = our_moves.Moment(our_moves.done);
                Require(store.UpdateDBHistoryStateTime(kPlugin, kBusiType, our_moves.Camera(our_moves.done),
                                                       PlainTime(moment), kInOrder, IsoTime(moment + 1), kTable),
                        "move a point");
            }
        }));
    Require(tables.Raw().Number(std::string("SELECT count(*) FROM ") + kTable + " WHERE state_time > '" +
                                PlainTime(last) + "'") > 0,
            "points have moved");
    tables.RequireEqual();

    const int new_moment = last + 1000;
    Changes raw_adds{options, new_moment};
    Changes our_adds{options, new_moment};
    comparisons.push_back(Compare(
        "timeline change: a point added", "sqlite3_exec of the same INSERT", options.rounds, options.changes,
        [&] {
            for (int i = 0; i < options.changes; ++i, ++raw_adds.done) {
                tables.Raw().Execute(
                    AddText(1 + raw_adds.done, raw_adds.Camera(raw_adds.done), raw_adds.Moment(raw_adds.done)));
            }
        },
        [&] {
            for (int i = 0; i < options.changes; ++i, ++our_adds.done) {
                Require(store.AddDBHistoryStateInfo(kPlugin, kBusiType, our_adds.Camera(our_adds.done), kContact,
                                                    IsoTime(our_adds.Moment(our_adds.done)), kTable, kKeyColumn),
                        "add a point");
            }
        }));
    tables.RequireEqual();
    return comparisons;
}

}  // namespace bench
