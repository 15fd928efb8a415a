#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>

#include "demo_run/journal.h"
#include "demo_run/screen.h"
#include "demo_run/terminal.h"

namespace demo {

/// Where the demonstration shows what happens.
class View {
public:
    virtual ~View() = default;

    /// A line that the journal gained.
    virtual void OnJournal(const JournalLine& line, std::int64_t now_s) = 0;
    /// Something else that happened.
    virtual void OnEvent(const std::string& text, std::int64_t now_s) = 0;
    /// Whether a picture is wanted now.
    virtual bool WantsPicture() const = 0;
    virtual void Show(Picture picture) = 0;
    /// The last picture, which leaves room for a few lines below it.
    virtual void Finish(Picture picture) = 0;
};

/// For standard output that is no terminal: the told and done lines as they come.
class PlainView : public View {
public:
    void OnJournal(const JournalLine& line, std::int64_t now_s) override;
    void OnEvent(const std::string& text, std::int64_t now_s) override;
    bool WantsPicture() const override { return false; }
    void Show(Picture) override {}
    void Finish(Picture) override {}
};

/// For a terminal: a picture that changes.
class LiveView : public View {
public:
    explicit LiveView(const TerminalAbilities& abilities);

    void OnJournal(const JournalLine& line, std::int64_t now_s) override;
    void OnEvent(const std::string& text, std::int64_t now_s) override;
    bool WantsPicture() const override;
    void Show(Picture picture) override;
    void Finish(Picture picture) override;

private:
    TerminalAbilities abilities_;
    Terminal terminal_;
    std::deque<std::string> events_;
    std::chrono::steady_clock::time_point next_{};
};

std::unique_ptr<View> MakeView(const TerminalAbilities& abilities);

}  // namespace demo
