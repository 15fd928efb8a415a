#include "host/StatusText.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <vector>

namespace qarhost {

namespace {

using Row = std::vector<std::string>;

std::string Utc(int64_t ms) {
    const std::time_t seconds = ms / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%SZ");
    return text.str();
}

// Columns as wide as their widest text; rows.front() is the head.
void Table(std::ostream& out, const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    out << "\n";
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            out << std::left << std::setw(static_cast<int>(widths[i] + 2)) << row[i];
        }
        out << row.back() << "\n";
    }
}

}  // namespace

std::string StatusText(const HostStatus& status) {
    std::ostringstream out;
    out << "site " << status.site << ", pid " << status.pid << "\n"
        << "clock " << Utc(status.clock_now_ms) << ", scale " << status.clock_scale << "\n"
        << "database " << status.database_dir << "\n"
        << "front " << (status.front.empty() ? "none" : status.front) << "\n";

    std::vector<Row> devices{{"DEVICE", "ONLINE", "GUARD", "CLOCK"}};
    for (const auto& device : status.devices) {
        devices.push_back({std::to_string(device.id), device.online ? "yes" : "no", device.guard ? "on" : "off",
                           device.clock_known ? "known" : "unknown"});
    }
    Table(out, devices);

    std::vector<Row> plugins{{"PLUG-IN", "STATE"}};
    for (const auto& plugin : status.plugins) plugins.push_back({plugin.id, plugin.state});
    Table(out, plugins);

    std::vector<Row> timers{{"TIMER", "INTERVAL", "TICKS", "STARTED"}};
    for (const auto& timer : status.timers) {
        timers.push_back({timer.name, std::to_string(timer.interval_ms) + " ms", std::to_string(timer.ticks),
                          Utc(timer.started_ms)});
    }
    Table(out, timers);
    return out.str();
}

}  // namespace qarhost
