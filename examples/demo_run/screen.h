#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "demo_run/time_line.h"

namespace demo {

/// What the terminal can show.
struct ScreenStyle {
    bool colour = false;
    bool utf8 = false;
    std::size_t columns = 80;
    std::size_t lines = 24;
};

struct CameraLine {
    int camera = 0;
    std::int64_t offset_s = 0;
    bool away = false;
    Mark week = Mark::kNothing;  // the seven days before its first contact
    std::vector<Mark> marks;
    std::size_t told = 0;
    std::size_t closed = 0;
};

/// All that one picture of the demonstration shows.
struct Picture {
    unsigned seed = 0;
    int scale = 0;
    std::int64_t now_s = 0;  // site's clock
    std::string phase;       // "38 s left"
    std::int64_t begin_s = 0;
    std::int64_t step_s = 1;
    std::vector<CameraLine> cameras;
    std::size_t told = 0;
    std::size_t closed = 0;
    std::size_t open = 0;
    std::size_t outages = 0;
    std::vector<std::string> events;  // the newest last
};

/// How many places a time line has on such a screen.
std::size_t TimeLinePlaces(const ScreenStyle& style);

/// The lines of the picture, at most `style.lines` - 1 of at most `style.columns` - 1 characters each (colour codes not
/// counted), so that nothing wraps or scrolls.
std::vector<std::string> Draw(const Picture& picture, const ScreenStyle& style);

}  // namespace demo
