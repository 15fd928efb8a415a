#include "demo_run/view.h"

#include <cstdio>

#include "demo_cameras/time_text.h"

namespace demo {

namespace {

constexpr std::chrono::milliseconds kRedrawn{200};
constexpr std::chrono::milliseconds kPrintedAgain{6000};  // where pictures go below each other
constexpr std::size_t kMostEvents = 100;

/// A range as the camera's clock shows it: "2026-11-01 04:25 to 05:41".
std::string RangeText(const JournalLine& line) {
    const std::string begin = FormatMinute(line.begin.utc_s + line.begin.offset_s);
    const std::string end = FormatMinute(line.end.utc_s + line.end.offset_s);
    constexpr std::size_t kDate = 11;
    return begin + " to " + (begin.substr(0, kDate) == end.substr(0, kDate) ? end.substr(kDate) : end);
}

}  // namespace

void PlainView::OnJournal(const JournalLine& line, std::int64_t) {
    if (line.event == JournalEvent::kTold || line.event == JournalEvent::kDone) {
        std::printf("%s\n", line.text.c_str());
        std::fflush(stdout);
    }
}

void PlainView::OnEvent(const std::string&, std::int64_t) {}

LiveView::LiveView(const TerminalAbilities& abilities) : abilities_(abilities), terminal_(abilities) {}

void LiveView::OnJournal(const JournalLine& line, std::int64_t now_s) {
    const std::string camera = "camera " + std::to_string(line.camera);
    switch (line.event) {
        case JournalEvent::kTold:
            OnEvent(camera + " gap " + RangeText(line) + " told", now_s);
            break;
        case JournalEvent::kFetching:
            break;
        case JournalEvent::kFailed:
            OnEvent(camera + " fetch failed: " + line.error, now_s);
            break;
        case JournalEvent::kDone:
            OnEvent(camera + " gap " + RangeText(line) + " fetched", now_s);
            break;
    }
}

void LiveView::OnEvent(const std::string& text, std::int64_t now_s) {
    events_.push_back(FormatHourMinute(now_s) + " " + text);
    if (events_.size() > kMostEvents) {
        events_.pop_front();
    }
}

bool LiveView::WantsPicture() const { return std::chrono::steady_clock::now() >= next_; }

void LiveView::Show(Picture picture) {
    next_ = std::chrono::steady_clock::now() + (abilities_.cursor ? kRedrawn : kPrintedAgain);
    picture.events.assign(events_.begin(), events_.end());
    terminal_.Show(Draw(picture, abilities_.style));
}

void LiveView::Finish(Picture picture) {
    constexpr std::size_t kLinesBelow = 3;
    if (abilities_.style.lines > kLinesBelow) {
        abilities_.style.lines -= kLinesBelow;
    }
    Show(std::move(picture));
}

std::unique_ptr<View> MakeView(const TerminalAbilities& abilities) {
    if (abilities.terminal) {
        return std::make_unique<LiveView>(abilities);
    }
    return std::make_unique<PlainView>();
}

}  // namespace demo
