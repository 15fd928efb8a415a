#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "history_table.h"
#include "mock/Platform.h"
#include "qarcommonbiz/HistoryDataMgrImpl.h"
#include "timeline_model.h"
#include "world.h"

namespace qartest {

constexpr int kPlugins = 2;
constexpr const char* kNames[kPlugins] = {"gap", "road"};  // in the order in which the library goes through them
constexpr int kBusiTypes[] = {-1, 1, 2, 3, 7};             // no plug-in registers the last one

/// @return "{1, 2}"
std::string List(const std::set<int>& numbers);

/// What a test process is made with.
struct Setting {
    std::set<int> node;  ///< cameras of this node; the library reads them once in a process
    std::string time_zone;
    int server_offset;  ///< seconds ahead of UTC, as `time_zone` says
};

/// The library and its model beside each other: each operation is done to both. The library works on the mock platform,
/// which shows it the world that the model sees, and on tables in memory. One at a time in a process, all of a process
/// with the same cameras of the node.
class SideBySide {
public:
    explicit SideBySide(const Setting& setting);
    ~SideBySide();

    /// Begins anew, but for what the library keeps as long as the process lives.
    void StartSequence();

    /// Stands before each operation. Statement by statement both sides have the same outcomes.
    /// @param luck             decides which statements fail
    /// @param one_in           how many do; 0: none
    /// @param callbacks_throw  whether the plug-ins' callbacks throw after they have taken the ranges
    void StartStep(uint64_t luck, unsigned int one_in, bool callbacks_throw);
    /// Stands after each operation. @return what differs, in words; "" when nothing does
    std::string Difference();
    /// @return the library's statements of this step with their outcomes, a line each
    std::string Statements() const;

    void Register(int plugin, const std::set<int>& busi_types, bool with_callback);
    void UnRegister(int plugin);
    void SetCare(int plugin, int busi, const std::set<int>& cameras, bool ex);
    void DelCare(int plugin, int busi, const std::set<int>& cameras);
    void DelCareByCamera(int plugin, int camera);
    void MoveOut(int plugin, const std::set<int>& cameras);
    /// @param text  what `at` was read from
    void AddState(int plugin, Key key, const std::string& text, MaybeMoment at, int state);
    void DelRange(int plugin, Key key, const std::string& begin_text, MaybeMoment begin, const std::string& end_text,
                  MaybeMoment end);
    /// What becomes of what is posted to the workers.
    struct Queue {
        bool full;      ///< nothing can be posted
        int64_t later;  ///< seconds until it is handled
    };
    /// A message of the topic that device events come on.
    void Event(int type, int resource_type, int id, Queue queue);
    void Tick(uint64_t tick, Queue queue);
    void Uninit();
    /// The process ends and is started again.
    void Restart();
    /// Another node puts a row into a plug-in's table.
    void RowFromElsewhere(int plugin, Key key, const Row& row);

    struct Call {  // of a plug-in's callback
        int plugin;
        int busi;
        Ranges ranges;
        bool operator==(const Call&) const = default;
    };
    struct Answers {                               // of one step
        std::vector<std::optional<bool>> results;  // nothing: it threw
        std::vector<Call> told;
    };

    World world;
    std::vector<TimelineModel> models;
    std::vector<HistoryTable> tables;  ///< the library's
    Answers expected;
    Answers got;
    /// How often something has been met that has to be met; counted as long as nobody clears it.
    std::map<std::string, uint64_t> seen;

    /// To see that a mistake is found: the first is given the world that the model sees, before each operation; the
    /// second stands before each comparison.
    std::function<void(World&)> mislead;
    std::function<void(SideBySide&)> spoil;

private:
    struct Statement {
        std::string sql;
        bool ok;
    };

    struct CallbackThrew : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    void AnswerForThePlatform();
    void ShowWorld();
    void ShowModelTheWorld();
    /// Posts by `post`, and lets the workers work.
    template <class Post>
    void Handle(Queue queue, Post post);
    void StartProcess();
    void EndProcess();
    TimelineModel& Model(int plugin) { return models[static_cast<size_t>(plugin)]; }
    bool Outcome(size_t statement) const;
    bool Run(const std::string& plugin, uint32_t conn_type, const std::string& sql, qarmock::FakeRows* rows);
    template <class Operation>
    static std::optional<bool> Try(Operation operation);
    void TellModel(int plugin, int busi, const Ranges& ranges);
    Ranges Read(const std::map<int, std::vector<qar::SStateRange>>& ranges);
    void Saw(const std::string& what) { ++seen[what]; }
    void Complain(const std::string& what) { difference_ += "  " + what + "\n"; }
    void Compare(const std::string& what, const std::string& model, const std::string& library);
    void CompareAnswers();
    void CompareCaredAndRanges(int plugin);
    void ComparePoints(int plugin);
    void ComparePutOff(int plugin);
    void CompareRows(int plugin);

    const std::set<int> node_;
    bool node_read_ = false;
    World shown_;  // the world that the model sees
    qarmock::Platform platform_;
    std::map<int, std::shared_ptr<qarmock::FakeDevice>> devices_;
    std::map<int, std::shared_ptr<qarmock::FakeCamera>> cameras_;
    std::optional<qar::CHistoryStateMgr> manager_;  // at one address always: the bus keeps whom it was given
    int64_t last_id_ = 0;
    bool subscribed_ = false;
    bool running_ = false;  // the timer and the pool; the last UnRegister ends them for the rest of the process

    uint64_t luck_ = 0;
    unsigned int one_in_ = 0;
    bool callbacks_throw_ = false;
    bool caught_ = false;    // what a callback throws now does not leave the library
    const char* told_ = "";  // what a callback would be called for now
    std::vector<Statement> statements_;
    size_t expected_statements_ = 0;
    std::string difference_;
};

}  // namespace qartest
