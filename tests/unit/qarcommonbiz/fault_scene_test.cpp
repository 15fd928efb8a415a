// What the tests of failing calls would find.

#include "fault_scene.h"

#include <gtest/gtest-spi.h>

namespace qar::history_test {
namespace {

class FaultSceneTest : public FaultTest {
protected:
    static void Close(const Outcome& usual, const std::vector<Fault>& faults) {
        ExpectFaults([](FaultScene&) {}, [](FaultScene& scene) { return Text(scene.databases.Finalize("gap")); }, usual,
                     faults);
    }
    const Outcome kRefused = {"false", "", {}, {}, {}};
    const std::vector<Fault> kFaults = {{{"IDBManagerPure::Finalize 1"}, kRefused}};
};

TEST_F(FaultSceneTest, CompleteListPasses) { Close(kRefused, kFaults); }

TEST_F(FaultSceneTest, CallWithoutAnExpectationFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(Close(kRefused, {}), "nothing is expected of a failing IDBManagerPure::Finalize 1");
}

TEST_F(FaultSceneTest, ExpectationWithoutItsCallFailsTheTest) {
    std::vector<Fault> faults = kFaults;
    faults.push_back({{"IDBManagerPure::Execute 1"}, kRefused});
    EXPECT_NONFATAL_FAILURE(Close(kRefused, faults), "this call is not made: IDBManagerPure::Execute 1");
}

TEST_F(FaultSceneTest, EachPartOfAnOutcomeIsCompared) {
    for (const Outcome& wrong : {kRefused.Result("true"), kRefused.Log("5 QARCommon line\n"),
                                 kRefused.Memory({"registered"}), kRefused.Rows({"row"}), kRefused.Told({"range"})}) {
        EXPECT_NONFATAL_FAILURE(Close(wrong, kFaults), "no call fails");
        EXPECT_NONFATAL_FAILURE(Close(kRefused, {{kFaults[0].calls, wrong}}), "IDBManagerPure::Finalize 1 fails");
    }
}

}  // namespace
}  // namespace qar::history_test
