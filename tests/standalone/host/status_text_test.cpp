#include <gtest/gtest.h>

#include "host/StatusText.h"

namespace qarhost {
namespace {

TEST(StatusTextTest, ShowsEverythingInColumns) {
    HostStatus status;
    status.site = "demo";
    status.pid = 42;
    status.clock_scale = 600;
    status.clock_now_ms = 1793484000000;
    status.database_dir = "/data/db";
    status.front = "http://127.0.0.1:8080";
    status.timers = {{"HistoryStateMgr.timer", 60000, 1793484000000, 7}};
    status.devices = {{1, 2001, true, true, true}, {12, 2001, false, false, false}};
    status.plugins = {{"backfill", "started"}};
    EXPECT_EQ(
        "site demo, pid 42\n"
        "clock 2026-10-31T22:00:00Z, scale 600\n"
        "database /data/db\n"
        "front http://127.0.0.1:8080\n"
        "\n"
        "DEVICE  ONLINE  GUARD  CLOCK\n"
        "1       yes     on     known\n"
        "12      no      off    unknown\n"
        "\n"
        "PLUG-IN   STATE\n"
        "backfill  started\n"
        "\n"
        "TIMER                  INTERVAL  TICKS  STARTED\n"
        "HistoryStateMgr.timer  60000 ms  7      2026-10-31T22:00:00Z\n",
        StatusText(status));
}

}  // namespace
}  // namespace qarhost
