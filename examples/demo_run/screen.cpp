#include "demo_run/screen.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

constexpr std::size_t kBeforeLine = 14;  // "101 +08:00 #  "
constexpr std::size_t kBehindLine = 12;  // " away  12/12"
constexpr std::size_t kFewestPlaces = 10;

struct Look {
    const char* plain;
    const char* utf8;
    const char* colour;
    const char* meaning;
};

const Look& LookOf(Mark mark) {
    static constexpr std::array<Look, 6> kLooks{{{" ", " ", "", ""},
                                                 {"=", "━", "32", "in order"},
                                                 {"#", "█", "36", "fetched"},
                                                 {".", "·", "90", "unknown"},
                                                 {"x", "░", "31", "gap"},
                                                 {"~", "▒", "33", "being fetched"}}};
    return kLooks[static_cast<std::size_t>(mark)];
}

std::string Coloured(const std::string& text, const char* colour, const ScreenStyle& style) {
    return style.colour && *colour != '\0' ? "\x1b[" + std::string(colour) + "m" + text + "\x1b[0m" : text;
}

std::string Symbol(Mark mark, const ScreenStyle& style) { return style.utf8 ? LookOf(mark).utf8 : LookOf(mark).plain; }

std::string DrawMarks(const std::vector<Mark>& marks, const ScreenStyle& style) {
    std::string drawn;
    for (std::size_t i = 0; i < marks.size();) {
        std::string run;
        std::size_t end = i;
        for (; end < marks.size() && marks[end] == marks[i]; ++end) {
            run += Symbol(marks[i], style);
        }
        drawn += Coloured(run, LookOf(marks[i]).colour, style);
        i = end;
    }
    return drawn;
}

template <typename... Values>
std::string Format(const char* format, Values... values) {
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

std::string Cut(std::string text, std::size_t width) { return text.size() > width ? text.substr(0, width) : text; }

std::string DrawCamera(const CameraLine& camera, const ScreenStyle& style) {
    return Format("%3d %6s ", camera.camera, FormatOffset(camera.offset_s).c_str()) + DrawMarks({camera.week}, style) +
           "  " + DrawMarks(camera.marks, style) + " " +
           Coloured(camera.away ? "away" : "    ", camera.away ? "31" : "", style) +
           Format(" %6s", (std::to_string(camera.closed) + "/" + std::to_string(camera.told)).c_str());
}

std::string Legend(const ScreenStyle& style) {
    std::string legend;
    for (const Mark mark : {Mark::kInOrder, Mark::kGap, Mark::kFetching, Mark::kFetched, Mark::kUnknown}) {
        legend += (legend.empty() ? "" : "   ") + Coloured(Symbol(mark, style), LookOf(mark).colour, style) + " " +
                  LookOf(mark).meaning;
    }
    return legend + "   7d: week before";
}

}  // namespace

std::size_t TimeLinePlaces(const ScreenStyle& style) {
    const std::size_t other = kBeforeLine + kBehindLine + 1;
    return style.columns > other + kFewestPlaces ? style.columns - other : kFewestPlaces;
}

std::vector<std::string> Draw(const Picture& picture, const ScreenStyle& style) {
    const std::size_t width = style.columns - 1;
    std::vector<std::string> lines;
    lines.push_back(Cut(Format("QARCommon demo   seed %u   clock x%d   %s UTC   %s", picture.seed, picture.scale,
                               FormatMinute(picture.now_s).c_str(), picture.phase.c_str()),
                        width));
    lines.push_back("");
    lines.push_back(Cut(
        "cam   zone 7d " + HourLabels(picture.begin_s, picture.step_s, TimeLinePlaces(style)) + "  now   done", width));
    for (const CameraLine& camera : picture.cameras) {
        lines.push_back(DrawCamera(camera, style));
    }
    lines.push_back("");
    lines.push_back(Legend(style));
    lines.push_back(Cut(Format("outages %zu   ranges told %zu   fetched %zu   open %zu", picture.outages, picture.told,
                               picture.closed, picture.open),
                        width));
    const std::size_t most = style.lines - 1;
    const std::size_t room = lines.size() < most ? most - lines.size() : 0;
    const std::size_t shown = std::min(room, picture.events.size());
    for (auto event = picture.events.end() - static_cast<std::ptrdiff_t>(shown); event != picture.events.end();
         ++event) {
        lines.push_back(Cut("  " + *event, width));
    }
    lines.resize(std::min(lines.size(), most));
    return lines;
}

}  // namespace demo
