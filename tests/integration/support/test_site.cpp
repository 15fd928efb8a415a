#include "integration/support/test_site.h"

#include <chrono>
#include <sstream>
#include <utility>

#include "demo_cameras/time_text.h"

namespace qartest {

namespace {

constexpr std::int64_t kStartS = 1772323200;  // 2026-03-01T00:00:00Z
constexpr int kFirstChannel = 101;
constexpr int kFirstElement = 1001;

std::int64_t RealNowS() {
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

TestSite::TestSite(int scale) : clock_(scale, RealNowS(), kStartS) {}

demo::SimulatedCamera& TestSite::AddCamera(const std::string& zone, demo::CameraOptions options) {
    options.id = kFirstChannel + devices_;
    options.seed = 1;
    cameras_.push_back(std::make_unique<demo::SimulatedCamera>(io_, clock_, std::move(options)));
    demo::SimulatedCamera& camera = *cameras_.back();
    AddRecords(zone, camera.ProbeUrl(), camera.ArchiveUrl());
    return camera;
}

int TestSite::AddDevice(const std::string& probe) {
    AddRecords("east8", probe, "");
    return kFirstChannel + devices_ - 1;
}

void TestSite::AddPlugin(const std::string& id, const std::string& path, const std::string& config) {
    plugins_ += "[[plugin]]\nid = \"" + id + "\"\npath = \"" + path + "\"\n[plugin.config]\n" + config + "\n";
}

void TestSite::AddFront(const std::string& settings) {
    front_ = "[http]\naddress = \"127.0.0.1:0\"\n" + settings +
             "\n[[role]]\nname = \"Administrator\"\npermissions = []\n"
             "[[role]]\nname = \"guard\"\npermissions = [11, 12]\n"
             "[[user]]\nid = 1\nname = \"anna\"\nroles = [\"Administrator\"]\n"
             "[[user]]\nid = 2\nname = \"bert\"\nroles = [\"guard\"]\n"
             "[[user]]\nid = 3\nname = \"carl\"\nroles = []\nperson = 77\n";
}

void TestSite::AddRecords(const std::string& zone, const std::string& probe, const std::string& archive) {
    const int channel = kFirstChannel + devices_;
    const int element = kFirstElement + devices_;
    ++devices_;
    std::ostringstream out;
    out << "[[device]]\nid = " << devices_ << "\nname = \"Camera " << channel << "\"\nprobe = \"" << probe << "\"\n";
    if (!archive.empty()) out << "archive = \"" << archive << "\"\n";
    out << "zone = \"" << zone << "\"\n"
        << "[[channel]]\nid = " << channel << "\ndevice = " << devices_ << "\nno = 1\n"
        << "[[element]]\nid = " << element << "\nname = \"Camera " << channel << "\"\nchannel = " << channel
        << "\narea = 1\n";
    records_ += out.str();
}

std::string TestSite::Write() const {
    std::ostringstream out;
    out << "[site]\nname = \"test\"\ndata_dir = \"data\"\n"
        << "[log]\nlevel = \"" << log_level_ << "\"\n"
        << "[clock]\nscale = " << clock_.Scale() << "\norigin = " << demo::FormatUtc(clock_.OriginSeconds())
        << "\nstart = " << demo::FormatUtc(clock_.StartSeconds()) << "\n"
        << "[database]\ndir = \"db\"\n"
        << "[probe]\nperiod_s = " << probe_period_s_ << "\ntimeout_ms = " << probe_timeout_ms_
        << "\nfailures = 1\nconnections = " << probe_connections_ << "\n"
        << "[[zone]]\nname = \"east8\"\ndisplay_name = \"UTC+08:00\"\nbias = -480\n"
        << "[[zone]]\nname = \"west530\"\ndisplay_name = \"UTC-05:30\"\nbias = 330\n"
        << "[[area]]\nid = 1\nname = \"Yard\"\n"
        << front_ << records_ << plugins_;
    return folder_.Write("site.toml", out.str());
}

std::vector<std::string> TestSite::LogLines(const std::string& text) const {
    std::vector<std::string> found;
    std::istringstream log(ReadText(LogFile()));
    for (std::string line; std::getline(log, line);) {
        if (line.find(text) != std::string::npos) found.push_back(line);
    }
    return found;
}

}  // namespace qartest
