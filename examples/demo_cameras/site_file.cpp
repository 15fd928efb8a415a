#include "demo_cameras/site_file.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

constexpr int kFirstElementId = 1001;

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + "\"";
}

void WriteHead(std::ostream& out, const ScaledClock& clock) {
    out << "[site]\n"
        << "name = \"demo\"\n"
        << "data_dir = \"data\"\n\n"
        << "[log]\n"
        << "level = \"information\"\n"
        << "file = \"log/qarhost.log\"\n\n"
        << "[clock]\n"
        << "scale = " << clock.Scale() << "\n"
        << "origin = " << FormatUtc(clock.OriginSeconds()) << "\n"
        << "start = " << FormatUtc(clock.StartSeconds()) << "\n\n"
        << "[database]\n"
        << "dir = \"db\"\n\n"
        << "[probe]\n"
        << "period_s = 60\n"
        << "timeout_ms = 2000\n"
        << "failures = 1\n\n";
}

void WriteZone(std::ostream& out, const ZoneRule& zone) {
    out << "[[zone]]\n"
        << "name = " << Quoted(zone.name) << "\n"
        << "display_name = " << Quoted(zone.display_name) << "\n"
        << "bias = " << zone.bias_min << "\n";
    if (zone.daylight) {
        out << "daylight_enable = true\n"
            << "daylight_date = " << Quoted(zone.daylight->begins.Text()) << "\n"
            << "standard_date = " << Quoted(zone.daylight->ends.Text()) << "\n"
            << "daylight_bias = " << zone.daylight->bias_min << "\n";
    }
    out << "\n";
}

void WriteCamera(std::ostream& out, const SimulatedCamera& camera, std::size_t index, const ZoneRule& zone) {
    const std::size_t device = index + 1;
    const std::string name = "Camera " + std::to_string(camera.Id());
    out << "[[device]]\n"
        << "id = " << device << "\n"
        << "name = " << Quoted(name) << "\n"
        << "probe = " << Quoted(camera.ProbeUrl()) << "\n"
        << "archive = " << Quoted(camera.ArchiveUrl()) << "\n"
        << "zone = " << Quoted(zone.name) << "\n\n"
        << "[[channel]]\n"
        << "id = " << camera.Id() << "\n"
        << "device = " << device << "\n"
        << "no = 1\n\n"
        << "[[element]]\n"
        << "id = " << kFirstElementId + index << "\n"
        << "name = " << Quoted(name) << "\n"
        << "channel = " << camera.Id() << "\n"
        << "area = 1\n\n";
}

void WritePlugin(std::ostream& out, const DemoFolder& folder) {
    out << "[[plugin]]\n"
        << "id = \"backfill\"\n"
        << "path = \"backfill.so\"\n\n"
        << "[plugin.config]\n"
        << "schema = \"backfill\"\n"
        << "cameras = \"all\"\n"
        << "busi_types = [1]\n"
        << "fetch = [\"curl\", \"-fsS\", \"--max-time\", \"30\", \"-o\", \"{out}\",\n"
        << "         \"{archive}/{camera}?begin={begin_unix}&end={end_unix}\"]\n"
        << "out_dir = " << Quoted(folder.Fetched().string()) << "\n"
        << "journal = " << Quoted(folder.Journal().string()) << "\n"
        << "per_device = 1\n"
        << "total = 4\n"
        << "retry_first_s = 1\n"
        << "retry_max_s = 5\n"
        << "timeout_s = 40\n";
}

}  // namespace

std::string SiteFileText(const CameraFleet& fleet, const DemoFolder& folder) {
    std::ostringstream out;
    WriteHead(out, fleet.Clock());
    for (const ZoneRule& zone : fleet.Zones()) {
        WriteZone(out, zone);
    }
    out << "[[area]]\n"
        << "id = 1\n"
        << "name = \"Yard\"\n\n";
    for (std::size_t i = 0; i < fleet.Size(); ++i) {
        WriteCamera(out, fleet.At(i), i, fleet.ZoneOf(i));
    }
    WritePlugin(out, folder);
    return out.str();
}

void WriteSiteFile(const CameraFleet& fleet, const DemoFolder& folder) {
    std::filesystem::create_directories(folder.root);
    std::ofstream file(folder.SiteFile());
    file << SiteFileText(fleet, folder);
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + folder.SiteFile().string());
    }
}

}  // namespace demo
