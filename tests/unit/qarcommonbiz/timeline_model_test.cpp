// Long random sequences of operations, beside a second account of the rules.

#include "timeline_model.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <tuple>

#include "history_fixture.h"

namespace qar::history_test {
namespace {

using Peer = CHistoryStateMgrPeer;
using Model = TimelineModel;

constexpr int kSequences = 600;  // of each shard
constexpr int kShards = 4;
constexpr int kSteps = 40;

class TimelineModelTest : public HistoryTest, public ::testing::WithParamInterface<int> {
protected:
    struct Key {
        std::string plugin;
        int busi;
        int camera;
        bool operator<(const Key& other) const {
            return std::tie(plugin, busi, camera) < std::tie(other.plugin, other.busi, other.camera);
        }
    };

    TimelineModelTest() {
        platform.log.SetLevel(5);
        platform.site.AddCamera(102, kDevice);
    }

    static std::string Table(const std::string& plugin) { return plugin + ".history"; }

    int Pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

    /// A moment out of two hours, so that seconds meet often; the offset changes now and then.
    Model::ModelPoint Moment() {
        char text[32];
        std::snprintf(text, sizeof text, "2024-02-%02d %02d:%02d:00", 28 + Pick(2), 23 * Pick(2), Pick(20));
        const char* const offsets[] = {"+08:00", "+08:00", "+08:00", "+07:00", "-05:30"};
        return {text, offsets[Pick(5)], 1 + (Pick(20) == 0 ? 4 : Pick(2))};
    }

    static int Seconds(const std::string& offset) {
        int hours = 0;
        int minutes = 0;
        std::sscanf(offset.c_str() + 1, "%d:%d", &hours, &minutes);
        return (offset[0] == '-' ? -1 : 1) * (hours * 3600 + minutes * 60);
    }

    static std::string OffsetText(int seconds) {
        char text[16];
        const int minutes = std::abs(seconds) / 60;
        std::snprintf(text, sizeof text, "%c%02d:%02d", seconds < 0 ? '-' : '+', minutes / 60, minutes % 60);
        return text;
    }

    /// Runs the statements that succeeded on the tables.
    void TakeStatements() {
        for (const auto& statement : platform.database.fake.Statements()) {
            if (!statement.ok || statement.sql.rfind("SELECT", 0) == 0) continue;
            ASSERT_NE(statement.sql.find(" " + Table(statement.plugin)), std::string::npos) << statement.sql;
            ASSERT_TRUE(tables_[statement.plugin].Run(statement.sql)) << statement.sql;
        }
        platform.database.fake.Clear();
    }

    void RegisterBoth() {
        for (const char* plugin : {"a", "b"}) {
            std::vector<std::vector<std::string>> rows;
            for (const auto& row : tables_[plugin].rows) {
                rows.push_back({std::to_string(row.camera), std::to_string(row.busi), row.time,
                                std::to_string(row.differ), std::to_string(row.state)});
            }
            platform.database.fake.Answer("SELECT * FROM " + Table(plugin), HistoryRows(rows));
            ASSERT_TRUE(manager.Register([](auto&, int) {}, {1, 2}, plugin, Table(plugin), "id"));
        }
    }

    /// What the table holds is what memory holds from now on.
    void Restart() {
        manager.UnRegister("a");
        manager.UnRegister("b");
        RegisterBoth();
        model_.clear();
        for (const auto& [plugin, table] : tables_) {
            for (const auto& row : table.rows) {
                Model::Timeline& timeline = model_[{plugin, row.busi, row.camera}];
                // of several rows of one wall clock the one whose text sorts last counts, of equal texts the last row
                const Model::ModelPoint point{row.time, OffsetText(row.differ), row.state};
                const auto same = std::find_if(timeline.begin(), timeline.end(),
                                               [&](const auto& other) { return other.plain == point.plain; });
                if (same == timeline.end()) {
                    Model::Insert(timeline, point);
                } else if (same->offset <= point.offset) {
                    *same = point;
                }
            }
        }
    }

    void Compare(const std::string& what) {
        for (const auto& [key, timeline] : model_) {
            std::vector<std::string> points;
            for (const auto& point : timeline) points.push_back(Model::Iso(point) + " " + std::to_string(point.state));
            ASSERT_EQ(Peer::Points(manager, key.plugin, key.busi, key.camera), points) << what;
            std::map<int, std::vector<SStateRange>> ranges;
            ASSERT_TRUE(manager.GetExceptionRange(ranges, key.plugin, key.busi));
            std::vector<std::string> texts;
            for (const auto& range : ranges[key.camera]) {
                texts.push_back(range.str_begin_time_ + " " + range.str_end_time_);
            }
            ASSERT_EQ(texts, Model::Ranges(timeline)) << what;
        }
    }

    /// Without a failed statement and without a moved row the table holds what memory holds.
    void CompareTables(const std::string& what) {
        for (const auto& [key, timeline] : model_) {
            std::vector<std::string> expected;
            std::vector<std::string> found;
            for (const auto& point : timeline) expected.push_back(point.plain + " " + std::to_string(point.state));
            for (const auto& row : tables_[key.plugin].rows) {
                if (row.busi != key.busi || row.camera != key.camera) continue;
                found.push_back(row.time + " " + std::to_string(row.state));
            }
            std::sort(found.begin(), found.end());
            ASSERT_EQ(found, expected) << what;
        }
    }

    std::mt19937 random_;
    std::map<Key, Model::Timeline> model_;
    std::map<std::string, StatementTable> tables_;
};

TEST_P(TimelineModelTest, RandomSequencesAgreeWithTheModel) {
    long adds = 0;
    long checks = 0;
    long deletions = 0;
    long expiries = 0;
    long restarts = 0;
    long failures = 0;
    for (int sequence = 0; sequence < kSequences; ++sequence) {
        random_.seed(static_cast<unsigned>(GetParam() * kSequences + sequence));
        model_.clear();
        tables_.clear();
        RegisterBoth();
        bool failed = false;
        for (int step = 0; step < kSteps; ++step) {
            const std::string what = "sequence " + std::to_string(sequence) + " step " + std::to_string(step);
            const Key key{Pick(2) == 0 ? "a" : "b", 1 + Pick(2), 101 + Pick(2)};
            const Model::ModelPoint point = Moment();
            const int kind = Pick(20);
            // failing statements in every other sequence
            const bool fails = sequence % 2 == 1 && Pick(10) == 0;
            if (fails) {
                platform.database.fake.FailAll(Table(key.plugin));
                failed = true;
                ++failures;
            }
            if (kind < 3) {
                // a check looks at every camera that has a timeline
                ++checks;
                SetClock(point.plain, kDevice, Seconds(point.offset));
                manager.CheckCameraState();
                for (auto& [other, timeline] : model_) Model::Add(timeline, {point.plain, point.offset, 2});
            } else if (kind < 13) {
                ++adds;
                ASSERT_TRUE(manager.AddCameraState(key.plugin, point.state, Model::Iso(point), key.busi, key.camera));
                Model::Add(model_[key], point);
            } else if (kind < 16) {
                ++deletions;
                const Model::ModelPoint begin = Moment();
                ASSERT_TRUE(manager.DelHistoryStateInRange(key.plugin, key.busi, key.camera,
                                                           {Model::Iso(begin), Model::Iso(point)}));
                if (model_.count(key) != 0) Model::DeleteRange(model_[key], begin.plain, point);
            } else if (kind < 19) {
                ++expiries;
                // the sweep expires every camera by its device's clock less seven days: 28 February is 7 March's
                std::string clock = point.plain;
                clock.replace(0, 10, point.plain.substr(0, 10) == "2024-02-28" ? "2024-03-06" : "2024-03-07");
                SetClock(clock, kDevice, Seconds(point.offset));
                manager.CheckExpireState();
                for (auto& [other, timeline] : model_) {
                    if (!fails || other.plugin != key.plugin) Model::Expire(timeline, point);
                }
            }
            platform.database.fake.ClearFailures();
            TakeStatements();
            if (kind == 19) {
                ++restarts;
                Restart();
                platform.database.fake.Clear();
            }
            Compare(what);
            if (!failed) CompareTables(what);
            if (HasFatalFailure()) return;
        }
        manager.UnRegister("a");
        manager.UnRegister("b");
        platform.log.Clear();
    }
    // every kind of step was taken often
    EXPECT_GT(adds, kSequences * 10);
    EXPECT_GT(checks, kSequences * 3);
    EXPECT_GT(deletions, kSequences);
    EXPECT_GT(expiries, kSequences);
    EXPECT_GT(restarts, kSequences);
    EXPECT_GT(failures, kSequences / 2);
}

INSTANTIATE_TEST_SUITE_P(Shards, TimelineModelTest, ::testing::Range(0, kShards));

}  // namespace
}  // namespace qar::history_test
