#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "plugins/backfill/StatePageService.h"
#include "standalone/config/LocalConfigControl.h"
#include "standalone/database/DatabaseManager.h"
#include "tests/standalone/backfill/fake_state_source.h"
#include "tests/standalone/database/temp_folder.h"
#include "tests/support/other_thread.h"

namespace backfill {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test_support::OtherThread;
using testing::Each;
using testing::ElementsAre;

constexpr char kNoDatabase[] = R"({"error":"the database does not answer"})";
constexpr char kStops[] = R"({"error":"the plug-in stops"})";
constexpr char kBegin[] = "2024-03-01T00:00:00+08:00";
constexpr char kEnd[] = "2024-03-01T01:00:00+08:00";

/// Holds who passes until it is opened.
class Gate {
public:
    void Pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        ++passing_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }
    void WaitForOne() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return passing_ > 0; });
    }
    void Open() {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int passing_ = 0;
    bool open_ = false;
};

qar::SHttpRequest CamerasRequest(std::vector<long long> ids = {}) {
    qar::SHttpRequest request;
    request.vec_url_ids = std::move(ids);
    return request;
}

qar::SHttpRequest FetchRequest(const std::string& camera = "101") {
    qar::SHttpRequest request;
    request.map_params = {{"camera", camera}, {"busi", "1"}, {"begin", kBegin}, {"end", kEnd}};
    return request;
}

std::string OnlyCamera(long long points) {
    return R"({"cameras":[{"camera":101,"busi":1,"name":"door","points":)" + std::to_string(points) +
           R"(,"ranges":0,"fetching":0,"seconds":0,"attempts":0}]})";
}

std::string EmptyCamera(int camera) {
    return R"({"camera":)" + std::to_string(camera) + R"(,"busi":1,"points":[],"ranges":[]})";
}

class StatePageServiceTest : public testing::Test {
protected:
    StatePageServiceTest() {
        source_.cameras_ = {{{101, 1}, "door"}};
        source_.points_ = {{{101, 1}, 5}};
    }

    std::string Cameras() { return service_.Cameras(CamerasRequest()); }
    std::string Camera(int camera) { return service_.Cameras(CamerasRequest({camera, 1})); }

    /// Lets a first request read, which stands at the gate, and others wait for it.
    void LetOthersWait(Gate& gate, const std::vector<std::function<std::string()>>& requests) {
        answers_.resize(requests.size());
        for (std::size_t i = 0; i < requests.size(); ++i) {
            threads_.emplace_back([this, i, request = requests[i]] { answers_[i] = request(); });
            if (i == 0) {
                gate.WaitForOne();
            } else {
                EXPECT_TRUE(threads_.back().Waits()) << "request " << i;
            }
        }
    }

    /// @return the answers of LetOthersWait
    std::vector<std::string> Answers() {
        threads_.clear();
        return answers_;
    }

    std::atomic<RangeQueue::Time> now_{RangeQueue::Time(seconds(1000))};
    std::function<bool(const std::string&)> read_ = [](const std::string&) { return true; };
    FakeStateSource source_{[this](const std::string& what) { return read_(what); }};
    StatePageService service_{source_, [this] { return now_.load(); }};
    std::vector<std::string> answers_;
    std::list<OtherThread> threads_;
};

// --- one at a time ---------------------------------------------------------------------------------------------------

TEST_F(StatePageServiceTest, HoweverManyRequestsComeTheDatabaseKeepsItsOtherConnections) {
    const database_test::TempFolder folder;
    qarplatform::DatabaseWaits at_once;
    at_once.connection = milliseconds(0);  // who finds no connection free fails
    qarplatform::DatabaseManager database(at_once);
    qar::SDBParam param;
    param.dbType = qarplatform::kDatabaseSqlite;
    param.dbName = folder.Path();
    ASSERT_TRUE(database.Open("p", 2, param));
    Gate gate;
    read_ = [&](const std::string&) {
        return database.ExecuteQuery("p", 1, "SELECT 1 AS v", [&](db_layer::CConnect*) { gate.Pass(); });
    };

    std::vector<std::function<std::string()>> requests;
    for (int camera = 0; camera < 16; ++camera) requests.emplace_back([this, camera] { return Camera(camera); });
    for (int i = 0; i < 8; ++i) requests.emplace_back([this] { return Cameras(); });
    LetOthersWait(gate, requests);
    EXPECT_THAT(source_.Reads(), ElementsAre("points of 0"));
    EXPECT_TRUE(database.Execute("p", 1, "CREATE TABLE s.fetched(v)")) << "a connection is left for the fetchers";

    gate.Open();
    const std::vector<std::string> answers = Answers();
    std::vector<std::string> expected;
    for (int camera = 0; camera < 16; ++camera) expected.push_back(EmptyCamera(camera));
    expected.resize(24, OnlyCamera(5));
    EXPECT_EQ(expected, answers);
}

TEST_F(StatePageServiceTest, RequestsWithoutTheDatabaseAreServedWhileItIsRead) {
    Gate gate;
    ASSERT_EQ(OnlyCamera(5), Cameras());
    read_ = [&](const std::string&) {
        gate.Pass();
        return true;
    };
    LetOthersWait(gate, {[this] { return Camera(101); }});
    EXPECT_EQ(OnlyCamera(5), Cameras()) << "of what is remembered";
    EXPECT_EQ(R"({"fetching":true})", service_.Fetch(FetchRequest()));
    gate.Open();
    EXPECT_THAT(Answers(), ElementsAre(EmptyCamera(101)));
}

TEST_F(StatePageServiceTest, ThoseWhoWaitedForAFailureShareItAndTheNextReadsAnew) {
    Gate gate;
    read_ = [&](const std::string&) {
        gate.Pass();
        return false;
    };
    LetOthersWait(gate, {[this] { return Camera(1); }, [this] { return Camera(2); }, [this] { return Cameras(); }});
    gate.Open();
    EXPECT_THAT(Answers(), Each(std::string(kNoDatabase)));
    EXPECT_THAT(source_.Reads(), ElementsAre("points of 1"));

    read_ = [](const std::string&) { return true; };
    EXPECT_EQ(EmptyCamera(2), Camera(2));
    EXPECT_EQ(OnlyCamera(5), Cameras());
}

TEST_F(StatePageServiceTest, ErrorsThatCannotBeReadAreAFailureToo) {
    read_ = [](const std::string& what) { return what != "errors of 101"; };
    EXPECT_EQ(kNoDatabase, Camera(101));
    EXPECT_EQ(EmptyCamera(102), Camera(102));
}

TEST_F(StatePageServiceTest, WhatAReadThrowsIsToldAndTheNextIsServed) {
    read_ = [](const std::string&) -> bool { throw std::runtime_error("no memory"); };
    EXPECT_EQ(R"({"error":"no memory"})", Camera(101));
    EXPECT_EQ(R"({"error":"no memory"})", Cameras());
    read_ = [](const std::string&) { return true; };
    EXPECT_EQ(EmptyCamera(101), Camera(101));
    EXPECT_EQ(OnlyCamera(5), Cameras());
}

TEST_F(StatePageServiceTest, CloseWaitsForTheOneThatReadsAndRefusesThoseBehindIt) {
    Gate gate;
    read_ = [&](const std::string&) {
        gate.Pass();
        return true;
    };
    LetOthersWait(gate, {[this] { return Camera(1); }, [this] { return Camera(2); }, [this] { return Cameras(); }});
    {
        OtherThread close([this] { service_.Close(); });
        EXPECT_TRUE(close.Waits());
        while (service_.Fetch(FetchRequest("x")) != kStops) std::this_thread::yield();
        gate.Open();
    }
    EXPECT_THAT(Answers(), ElementsAre(EmptyCamera(1), kStops, kStops));
}

// --- what is remembered ----------------------------------------------------------------------------------------------

TEST_F(StatePageServiceTest, NumbersOfPointsAreRememberedForTwoSeconds) {
    EXPECT_EQ(OnlyCamera(5), Cameras());
    source_.points_ = {{{101, 1}, 6}};
    now_ = now_.load() + milliseconds(1999);
    EXPECT_EQ(OnlyCamera(5), Cameras());
    EXPECT_THAT(source_.Reads(), ElementsAre("counts"));
    now_ = now_.load() + milliseconds(1);
    EXPECT_EQ(OnlyCamera(6), Cameras());
    EXPECT_THAT(source_.Reads(), ElementsAre("counts", "counts"));
}

TEST_F(StatePageServiceTest, NamesAndOpenRangesAreNeverRemembered) {
    EXPECT_EQ(OnlyCamera(5), Cameras());
    source_.cameras_[0].name = "gate";
    source_.sums_ = {{{101, 1}, {3, 1, 60, 2}}};
    EXPECT_EQ(R"({"cameras":[{"camera":101,"busi":1,"name":"gate","points":5,"ranges":3,"fetching":1,"seconds":60,)"
              R"("attempts":2}]})",
              Cameras());
}

TEST_F(StatePageServiceTest, FetchThatChangesSomethingDropsTheRememberedNumbers) {
    EXPECT_EQ(OnlyCamera(5), Cameras());
    source_.points_ = {{{101, 1}, 6}};
    source_.hastens_ = false;
    EXPECT_EQ(R"({"error":"nothing of this range is to be fetched"})", service_.Fetch(FetchRequest()));
    EXPECT_EQ(OnlyCamera(5), Cameras()) << "nothing has changed";
    source_.hastens_ = true;
    EXPECT_EQ(R"({"fetching":true})", service_.Fetch(FetchRequest()));
    EXPECT_EQ(std::string("101/1 ") + kBegin + " " + kEnd, source_.hastened_);
    EXPECT_EQ(OnlyCamera(6), Cameras());
}

TEST_F(StatePageServiceTest, NumbersCountedAcrossAFetchAreNotRemembered) {
    Gate gate;
    read_ = [&](const std::string&) {
        gate.Pass();
        return true;
    };
    LetOthersWait(gate, {[this] { return Cameras(); }});
    EXPECT_EQ(R"({"fetching":true})", service_.Fetch(FetchRequest()));
    gate.Open();
    EXPECT_THAT(Answers(), ElementsAre(OnlyCamera(5)));
    source_.points_ = {{{101, 1}, 6}};
    EXPECT_EQ(OnlyCamera(6), Cameras());
}

TEST_F(StatePageServiceTest, ThoseWhoWaitedForACountShareIt) {
    Gate gate;
    read_ = [&](const std::string&) {
        gate.Pass();
        return true;
    };
    LetOthersWait(gate, std::vector<std::function<std::string()>>(6, [this] { return Cameras(); }));
    gate.Open();
    EXPECT_THAT(Answers(), Each(OnlyCamera(5)));
    EXPECT_THAT(source_.Reads(), ElementsAre("counts"));
}

}  // namespace
}  // namespace backfill
