#pragma once

#include <gmock/gmock.h>

#include <cstdarg>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace qarmock {

/// One line that went to the log. Lines of the usual form ("[%s]...[%s(%d)]") are split; of others `text` and `body`
/// are the same and the rest is empty.
struct LogLine {
    int level = 0;
    std::string module;
    std::string format;    ///< as it was given
    std::string text;      ///< rendered, whole
    std::string body;      ///< rendered, without the leading "[function]" and the trailing "[file(line)]"
    std::string function;  ///< full name of the function
    std::string file;
    int line = 0;
};

void PrintTo(const LogLine& line, std::ostream* out);

/// What LogSinkWrite was called with, in order. Keeps every line whole and leaves the thread's last error alone.
/// Threads: any.
class LogRecorder {
public:
    /// @return the lines since the last Clear
    std::vector<LogLine> Lines() const;
    /// @return the lines of a level and above
    std::vector<LogLine> LinesFrom(int level) const;
    std::vector<LogLine> LinesOf(const std::string& module) const;

    /// @return the lines as "<level> <module> <body>\n": EXPECT_EQ of two such texts shows a line-by-line difference
    std::string Text() const;

    void Clear();

    /// Lines below `level` are dropped before their format is touched. 2 at the start: nothing is dropped.
    void SetLevel(int level);

    /// For LogSinkWrite.
    void Write(int level, const char* module, const char* format, va_list arguments);

private:
    mutable std::mutex mutex_;
    int level_ = 2;
    std::vector<LogLine> lines_;
};

/// Matches a line by level, module and body, each a value or a matcher:
///     EXPECT_THAT(platform.log.Lines(), ElementsAre(Line(5, "QARCommon", "no register plugin_id = p")));
::testing::Matcher<const LogLine&> Line(const ::testing::Matcher<int>& level,
                                        const ::testing::Matcher<const std::string&>& module,
                                        const ::testing::Matcher<const std::string&>& body);

/// Line that also asks for the function's full name.
::testing::Matcher<const LogLine&> LineIn(const ::testing::Matcher<const std::string&>& function,
                                          const ::testing::Matcher<int>& level,
                                          const ::testing::Matcher<const std::string&>& module,
                                          const ::testing::Matcher<const std::string&>& body);

}  // namespace qarmock
