#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "plugins/backfill/ChildProcess.h"

namespace backfill {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

ChildResult Shell(const std::string& script, milliseconds timeout = seconds(60)) {
    const StopEvent stop;
    return RunChild({"sh", "-c", script}, timeout, stop);
}

TEST(ChildProcessTest, CodeZeroIsSuccess) {
    const ChildResult result = Shell("echo much; exit 0");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.error, "");
}

TEST(ChildProcessTest, OtherCodeIsToldWithWhatTheProgramPrinted) {
    const ChildResult result = Shell("echo cannot connect >&2; exit 7");
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error, "sh ended with code 7: cannot connect");
}

TEST(ChildProcessTest, SignalIsTold) { EXPECT_EQ(Shell("kill -9 $$").error, "sh was ended by signal 9"); }

TEST(ChildProcessTest, ProgramThatDoesNotExistIsTold) {
    const StopEvent stop;
    EXPECT_EQ(RunChild({"/no/such/program"}, seconds(1), stop).error,
              "cannot run /no/such/program: No such file or directory");
}

TEST(ChildProcessTest, ProgramThatTakesTooLongIsKilledWithItsChildren) {
    const ChildResult result = Shell("sleep 600 & sleep 600", milliseconds(50));
    EXPECT_FALSE(result.success);
    EXPECT_EQ(result.error, "sh took longer than 50 ms");
}

TEST(ChildProcessTest, StopEndsARunningProgram) {
    StopEvent stop;
    std::thread stopper([&stop] { stop.Set(); });
    const ChildResult result = RunChild({"sleep", "600"}, seconds(600), stop);
    stopper.join();
    EXPECT_EQ(result.error, "sleep was stopped");
}

TEST(ChildProcessTest, ChildLeftBehindDoesNotHoldUpTheResult) { EXPECT_TRUE(Shell("sleep 600 & exit 0").success); }

TEST(ChildProcessTest, ProgramGetsNoDescriptorOfThisProcess) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);  // without close-on-exec, as careless code has them
    EXPECT_TRUE(Shell("test ! -e /proc/self/fd/" + std::to_string(ends[1])).success);
    close(ends[0]);
    close(ends[1]);
}

TEST(ChildProcessTest, LongOutputIsCutToItsEnd) {
    const ChildResult result = Shell("head -c 100000 /dev/zero | tr '\\0' x; echo; echo the end; exit 1");
    EXPECT_LT(result.error.size(), 400u);
    EXPECT_EQ(result.error.substr(result.error.size() - 7), "the end");
}

TEST(ChildProcessTest, OutputIsToldAsOneLineOfUtf8) {
    EXPECT_EQ(Shell("printf 'one\\ntwo\\ttür \\344\\344 \\000x'; exit 1").error,
              "sh ended with code 1: one two tür ?  x");
    // the cut goes through a character
    const std::string error = Shell("for i in $(seq 200); do printf ü; done; printf x; exit 1").error;
    EXPECT_EQ(error.substr(0, 27), "sh ended with code 1: ?üü");
}

TEST(ChildProcessTest, StopThatCameBeforeEndsTheProgramAtOnce) {
    StopEvent stop;
    stop.Set();
    EXPECT_EQ(RunChild({"sleep", "600"}, seconds(600), stop).error, "sleep was stopped");
}

TEST(ChildProcessTest, ProgramOutlivesAnInterruptedWait) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    // $PPID is this process; the signal goes to its one thread, which waits
    EXPECT_EQ(Shell("kill -USR1 $PPID; kill -USR1 $PPID; exit 5").error, "sh ended with code 5");
}

}  // namespace
}  // namespace backfill
