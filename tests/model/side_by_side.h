#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "history_table.h"
#include "mock/Platform.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "timeline_model.h"
#include "world.h"

namespace qartest {

constexpr int kPlugins = 2;
constexpr const char* kNames[kPlugins] = {"gap", "road"};  // in the order in which the library goes through them
constexpr int kBusiTypes[] = {1, 2, 3, 7};                 // no plug-in registers the last one

/// @return "{1, 2}"
std::string List(const std::set<int>& numbers);

/// What a test process is made with.
struct Setting {
    std::set<int> node;  ///< cameras of this node; the library reads them once in a process
    std::string time_zone;
    int server_offset;  ///< seconds ahead of UTC, as `time_zone` says
};

/// The library and its model beside each other: each operation is done to both. The library works on the mock platform,
/// which shows it the world that the model sees, and on tables in memory. One at a time in a process; all of a process
/// have the node's cameras of the first, as the library does not ask again.
class SideBySide {
public:
    explicit SideBySide(const Setting& setting);
    ~SideBySide();

    /// Begins anew, but for what the library keeps as long as the process lives.
    void StartSequence();

    /// Stands before each operation. Statement by statement both sides have the same outcomes.
    /// @param luck    decides which statements fail
    /// @param one_in  how many do; 0: none
    void StartStep(uint64_t luck, unsigned int one_in);
    /// Stands after each operation. @return what differs, in words; "" when nothing does
    std::string Difference();
    /// @return the library's statements of this step with their outcomes, a line each
    std::string Statements() const;

    void Register(int plugin, const std::set<int>& busi_types);
    void UnRegister(int plugin);
    void SetCare(int plugin, int busi, const std::set<int>& cameras, bool ex);
    void DelCare(int plugin, int busi, const std::set<int>& cameras);
    void DelCareByCamera(int plugin, int camera);
    void MoveOut(int plugin, const std::set<int>& cameras);
    /// @param text  what `at` was read from
    void AddState(int plugin, Key key, const std::string& text, MaybeMoment at, int state);
    void DelRange(int plugin, Key key, const std::string& begin_text, MaybeMoment begin, const std::string& end_text,
                  MaybeMoment end);
    /// A message of the topic that device events come on.
    void Event(int type, int resource_type, int id);
    void Tick(uint64_t tick);
    /// The process ends and is started again.
    void Restart();
    /// Another node puts a row into a plug-in's table.
    void RowFromElsewhere(int plugin, Key key, const Row& row);

    World world;
    std::vector<TimelineModel> models;

private:
    struct Call {  // of a plug-in's callback
        int plugin;
        int busi;
        Ranges ranges;
        bool operator==(const Call&) const = default;
    };
    struct Statement {
        std::string sql;
        bool ok;
    };

    void AnswerForThePlatform();
    void ShowWorld();
    void StartProcess();
    void EndProcess();
    TimelineModel& Model(int plugin) { return models[static_cast<size_t>(plugin)]; }
    bool Outcome(size_t statement) const;
    bool Run(const std::string& plugin, uint32_t conn_type, const std::string& sql, qarmock::FakeRows* rows);
    Ranges Read(const std::map<int, std::vector<qar::SStateRange>>& ranges);
    void Complain(const std::string& what) { difference_ += "  " + what + "\n"; }
    void Compare(const std::string& what, const std::string& expected, const std::string& got);
    void CompareResult(bool expected, bool got);
    void CompareTold();
    void CompareCaredAndRanges(int plugin);
    void CompareRows(int plugin);

    const std::set<int> node_;
    bool node_read_ = false;
    qarmock::Platform platform_;
    std::map<int, std::shared_ptr<qarmock::FakeDevice>> devices_;
    std::map<int, std::shared_ptr<qarmock::FakeCamera>> cameras_;
    std::vector<HistoryTable> tables_;
    std::optional<qar::CHistoryStateMgr> manager_;  // at one address always: the bus keeps whom it was given
    int64_t last_id_ = 0;
    bool running_ = false;  // the timer and the pool; the last UnRegister ends them for the rest of the process

    uint64_t luck_ = 0;
    unsigned int one_in_ = 0;
    std::vector<Statement> statements_;
    size_t expected_statements_ = 0;
    std::vector<Call> told_;
    std::vector<Call> expected_told_;
    std::string difference_;
};

}  // namespace qartest
