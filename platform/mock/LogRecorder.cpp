#include "mock/LogRecorder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>

#include "LogSink.h"
#include "mock/Platform.h"

namespace qarmock {

namespace {

constexpr std::string_view kHead = "[%s]";
constexpr std::string_view kTail = "[%s(%d)]";

std::string Render(const char* format, va_list arguments) {
    va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    if (length <= 0) return std::string();
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

void Split(LogLine& line, const char* function) {
    line.body = line.text;
    const std::string_view format = line.format;
    if (format.size() < kHead.size() + kTail.size() || !format.starts_with(kHead) || !format.ends_with(kTail)) return;
    line.function = function;
    const std::size_t head = line.function.size() + 2;
    const std::size_t tail = line.text.rfind('[');
    const std::size_t number = line.text.rfind('(');
    line.body = line.text.substr(head, tail - head);
    line.file = line.text.substr(tail + 1, number - tail - 1);
    line.line = std::atoi(line.text.c_str() + number + 1);
}

class LineMatcher : public ::testing::MatcherInterface<const LogLine&> {
public:
    LineMatcher(const ::testing::Matcher<const std::string&>& function, const ::testing::Matcher<int>& level,
                const ::testing::Matcher<const std::string&>& module,
                const ::testing::Matcher<const std::string&>& body)
        : function_(function), level_(level), module_(module), body_(body) {}

    bool MatchAndExplain(const LogLine& line, ::testing::MatchResultListener* listener) const override {
        const bool matches = level_.Matches(line.level) && module_.Matches(line.module) &&
                             function_.Matches(line.function) && body_.MatchAndExplain(line.body, listener);
        return matches;
    }
    void DescribeTo(std::ostream* out) const override {
        *out << "is a line whose level ";
        level_.DescribeTo(out);
        *out << ", module ";
        module_.DescribeTo(out);
        *out << ", function ";
        function_.DescribeTo(out);
        *out << ", text ";
        body_.DescribeTo(out);
    }

private:
    ::testing::Matcher<const std::string&> function_;
    ::testing::Matcher<int> level_;
    ::testing::Matcher<const std::string&> module_;
    ::testing::Matcher<const std::string&> body_;
};

}  // namespace

void PrintTo(const LogLine& line, std::ostream* out) {
    *out << line.level << " " << line.module << " [" << line.function << "]" << ::testing::PrintToString(line.body);
}

std::vector<LogLine> LogRecorder::Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

std::vector<LogLine> LogRecorder::LinesFrom(int level) const {
    std::vector<LogLine> found;
    for (auto& line : Lines()) {
        if (line.level >= level) found.push_back(std::move(line));
    }
    return found;
}

std::vector<LogLine> LogRecorder::LinesOf(const std::string& module) const {
    std::vector<LogLine> found;
    for (auto& line : Lines()) {
        if (line.module == module) found.push_back(std::move(line));
    }
    return found;
}

std::string LogRecorder::Text() const {
    std::ostringstream text;
    for (const auto& line : Lines()) text << line.level << " " << line.module << " " << line.body << "\n";
    return text.str();
}

void LogRecorder::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

void LogRecorder::SetLevel(int level) {
    std::lock_guard<std::mutex> lock(mutex_);
    level_ = level;
}

void LogRecorder::Write(int level, const char* module, const char* format, va_list arguments) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (level < level_) return;
    }
    const int saved_errno = errno;
    LogLine line;
    line.level = level;
    line.module = module;
    line.format = format;
    const char* function = "";
    if (line.format.starts_with(kHead)) {
        va_list first;
        va_copy(first, arguments);
        function = va_arg(first, const char*);
        va_end(first);
    }
    line.text = Render(format, arguments);
    Split(line, function);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(std::move(line));
    }
    errno = saved_errno;
}

::testing::Matcher<const LogLine&> Line(const ::testing::Matcher<int>& level,
                                        const ::testing::Matcher<const std::string&>& module,
                                        const ::testing::Matcher<const std::string&>& body) {
    return LineIn(::testing::_, level, module, body);
}

::testing::Matcher<const LogLine&> LineIn(const ::testing::Matcher<const std::string&>& function,
                                          const ::testing::Matcher<int>& level,
                                          const ::testing::Matcher<const std::string&>& module,
                                          const ::testing::Matcher<const std::string&>& body) {
    return ::testing::MakeMatcher(new LineMatcher(function, level, module, body));
}

}  // namespace qarmock

void LogSinkWrite(int level, const char* module, const char* format, ...) {
    qarmock::Platform* platform = qarmock::Platform::Installed();
    if (platform == nullptr) return;
    va_list arguments;
    va_start(arguments, format);
    platform->log.Write(level, module, format, arguments);
    va_end(arguments);
}
