#include "fault_scene.h"

#include <map>
#include <regex>

#include "qarcommonbiz/TaskDefine.h"

namespace qar::history_test {

namespace {

std::string Key(int camera, int busi) { return std::to_string(camera) + "/" + std::to_string(busi); }

std::string WithoutAddresses(const std::string& text) {
    static const std::regex address("0x[0-9a-f]+");
    return std::regex_replace(text, address, "PTR");
}

/// As a text, for a difference line by line.
std::string Whole(const Outcome& outcome) {
    std::string text = "result: " + outcome.result + "\nlog:\n" + outcome.log;
    const auto list = [&text](const char* name, const Lines& lines) {
        text += name;
        for (const std::string& line : lines) text += "\n    " + line;
        text += "\n";
    };
    list("memory:", outcome.memory);
    list("rows:", outcome.rows);
    list("told:", outcome.told);
    return text;
}

}  // namespace

FaultScene::FaultScene() {
    setenv("TZ", "SRV-1", 1);
    tzset();
    platform.time_util.fake.SetServerOffset(3600);
}

// The facade lives on: what was subscribed through it has to end.
FaultScene::~FaultScene() {
    platform.calls.Clear();
    for (const char* plugin : {"gap", "next"}) databases.Finalize(plugin);
    manager.Uninit();
}

void FaultScene::HasRows(const std::vector<StatementTable::Row>& rows) {
    stage_rows_ = rows;
    qarmock::FakeRows answer = HistoryRows({});
    for (const auto& row : rows) {
        answer.rows.push_back({row.camera, row.busi, row.time, row.differ, row.state});
    }
    platform.database.fake.Answer("SELECT", answer);
}

void FaultScene::Register() { ASSERT_TRUE(manager.Register(Keep(), {kBusi}, kPlugin, kTable, "id")); }

void FaultScene::RegisterAndCare() {
    platform.site.Device(kDevice)->guard = false;
    Register();
    ASSERT_TRUE(manager.SetCareCameraStateInfo(kPlugin, kBusi, {kCamera}));
    platform.site.Device(kDevice)->guard = true;
}

void FaultScene::SetConfig(const std::string& db_name) {
    auto info = std::make_shared<ZELPlatform::CLocalDBInfo>();
    info->SetValdbName(db_name);
    platform.local_config.fake.Set(info);
}

Lines FaultScene::PointLines() const {
    Lines lines;
    for (const auto& [plugin, busi_timelines] : Peer::Timelines(manager)) {
        for (const auto& [busi, cameras] : busi_timelines) {
            for (const auto& [camera, timeline] : cameras) {
                for (const auto& [time, state] : timeline) {
                    lines.push_back(Key(camera, busi) + " " + TimeToISO(state) + " " + std::to_string(state.state));
                }
            }
        }
    }
    return lines;
}

Lines FaultScene::Memory() const {
    Lines lines = PointLines();
    for (const auto& [plugin, info] : Peer::Registered(manager)) {
        lines.push_back("registered");
        for (const auto& [busi, cameras] : info.care_cameras_) {
            for (const int camera : cameras) lines.push_back("cares " + Key(camera, busi));
        }
    }
    for (const auto& [plugin, busi_types] : Peer::Delayed(manager)) {
        for (const auto& [busi, cameras] : busi_types) {
            for (const int camera : cameras) lines.push_back("put off " + Key(camera, busi));
        }
    }
    if (!around) return lines;
    for (const auto& [plugin, param] : platform.database.fake.Opened()) {
        lines.push_back("open " + plugin + " " + param.dbName);
    }
    for (const auto& subscription : platform.bus.fake.Subscriptions()) {
        lines.push_back("subscribed " + subscription.plugin);
    }
    for (const std::string& timer : platform.timers.fake.Running()) lines.push_back("timer " + timer);
    for (const auto& pool : platform.pools.All()) {
        if (pool->Running()) lines.push_back("pool with " + std::to_string(pool->Queued()) + " tasks");
    }
    return lines;
}

StatementTable FaultScene::Table() const {
    StatementTable table;
    table.rows = stage_rows_;
    const auto statements = platform.database.fake.Statements();
    for (std::size_t i = 0; i < statements.size(); ++i) {
        if (!statements[i].ok || statements[i].sql.rfind("SELECT", 0) == 0) continue;
        EXPECT_TRUE(table.Run(statements[i].sql)) << statements[i].sql;
    }
    return table;
}

Lines FaultScene::Rows() const {
    Lines lines;
    for (const auto& row : Table().rows) {
        lines.push_back(std::to_string(row.id) + ": " + Key(row.camera, row.busi) + " " + row.time +
                        (row.utc.empty() ? "" : " utc " + row.utc) + " " + std::to_string(row.differ) + " " +
                        std::to_string(row.state));
    }
    return lines;
}

Outcome FaultScene::Look(const std::string& result) const {
    return {result, WithoutAddresses(Log()), Memory(), Rows(), told};
}

void FaultScene::Begin() {
    const auto rows = Table().rows;
    HasRows(rows);
    platform.database.fake.Clear();
    platform.database.fake.SetNextId(11);
    platform.log.Clear();
    told.clear();
    platform.calls.Clear();
}

void FaultScene::ExpectMemoryOfTheRowsAfterARestart() {
    const auto rows = Table().rows;
    std::map<std::string, std::string> points;  // by camera, business type and moment
    for (const auto& row : rows) {
        const SHistoryTime time = PlainToTime(row.time, row.differ);
        points[Key(row.camera, row.busi) + " " + TimeToISO(time)] = std::to_string(row.state);
    }
    Lines expected;
    for (const auto& [point, state] : points) expected.push_back(point + " " + state);
    manager.UnRegister(kPlugin);
    EXPECT_THAT(Peer::Timelines(manager), IsEmpty());
    HasRows(rows);
    platform.database.fake.Clear();
    platform.database.fake.Open(kPlugin, 1, SDBParam());
    Register();
    EXPECT_EQ(PointLines(), expected);
}

// The cameras of this node are read once in a process, by the first registration.
FaultTest::FaultTest() { FaultScene().Register(); }

void FaultTest::ExpectFaults(const Stage& stage, const Act& act, const Outcome& usual,
                             const std::vector<Fault>& faults) {
    const auto run = [&](const std::string& failing, const Outcome& expected) {
        SCOPED_TRACE(failing.empty() ? "no call fails" : failing + " fails");
        FaultScene scene;
        stage(scene);
        scene.Begin();
        if (!failing.empty()) {
            const std::size_t blank = failing.rfind(' ');
            scene.platform.calls.Fail(failing.substr(0, blank), std::stoul(failing.substr(blank + 1)));
        }
        const std::string result = act(scene);
        const Lines made = scene.platform.calls.Made();
        scene.platform.calls.Clear();
        EXPECT_EQ(Whole(expected), Whole(scene.Look(result)));
        scene.ExpectMemoryOfTheRowsAfterARestart();
        return made;
    };
    const Lines calls = run("", usual);
    std::map<std::string, int> left;
    for (const Fault& fault : faults) {
        for (const std::string& call : fault.calls) ++left[call];
    }
    for (const std::string& call : calls) {
        const auto expected = left.find(call);
        if (expected == left.end()) {
            ADD_FAILURE() << "nothing is expected of a failing " << call;
            continue;
        }
        EXPECT_EQ(expected->second, 1) << call;
        left.erase(expected);
    }
    for (const auto& entry : left) ADD_FAILURE() << "this call is not made: " << entry.first;
    for (const Fault& fault : faults) {
        for (const std::string& call : fault.calls) run(call, fault.outcome);
    }
}

std::string Text(bool value) { return value ? "true" : "false"; }

std::string ExecuteFails(const std::string& sql) {
    return "5 QARCommon in CDBBaseSession::Execute is fail sql = " + sql + "\n";
}

std::string InsertFails(const std::string& sql, const std::string& iso, int state) {
    return ExecuteFails(sql) + "5 QARCommon AddDBHistoryStateInfo::AddCameraState dbExecute fail sql = " + sql +
           "\n5 QARCommon  add db state time is fail state plugin_id = gap, busi_type = 1, camera_id = 101, time = " +
           iso + ", state = " + std::to_string(state) + "\n";
}

std::string UpdateFails(const std::string& sql, const std::string& old_plain, const std::string& iso) {
    return ExecuteFails(sql) + "5 QARCommon UpdateDBHistoryStateTime::UpdateCameraState dbExecute fail sql = " + sql +
           "\n5 QARCommon  update db state time is fail state pu_id = gap, old_time = " + old_plain +
           ", busi_type = 1, camera_id = 101 time = " + iso + ", state = 2, old_state = 2\n";
}

std::string UpdateLine(const std::string& iso) {
    return "3 QARCommon CHistoryStateMgr::AddHistoryStateInfo add history state info update state plugin_id = gap, "
           "busi_type = 1, camera_id = 101, time = " +
           iso + ", state = 2\n";
}

std::string WithoutOffset(std::string iso) {
    const std::size_t offset = iso.find('+');
    return offset == std::string::npos ? iso : iso.erase(offset, 6);
}

}  // namespace qar::history_test
