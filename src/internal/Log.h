#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "LogSink.h"

namespace qar::internal {

constexpr int kLogDebug = 2;
constexpr int kLogInformation = 3;
constexpr int kLogWarning = 4;
constexpr int kLogError = 5;
constexpr int kLogCritical = 6;

constexpr const char* kModuleCommon = "QARCommon";
constexpr const char* kModuleMsg = "QARCommonMsg";
constexpr const char* kModulePerf = "QarUtilsPerf";

/// A function's qualified name ("qar::CMessageBusEventMsg::BeSubscribedCB"), NUL-terminated.
struct FunctionName {
    std::array<char, 192> text{};
    constexpr const char* c_str() const { return text.data(); }
};

/// Reads the name out of __PRETTY_FUNCTION__. Inside a lambda it is the name of the function around it, in gcc's form
/// ("qar::A::B(int)::<lambda(int)>") and in clang's ("qar::A::B(int)::(anonymous class)::operator()(int) const").
constexpr FunctionName ReadFunctionName(std::string_view pretty) {
    // the parameter list begins at the first '(' outside template arguments that does not open "(anonymous ...)"
    std::size_t end = pretty.size();
    int depth = 0;
    for (std::size_t i = 0; i < pretty.size(); ++i) {
        if (pretty[i] == '<') ++depth;
        if (pretty[i] == '>' && depth > 0) --depth;
        if (pretty[i] != '(' || depth != 0) continue;
        if (pretty.substr(i, 10) == "(anonymous") {
            while (i < pretty.size() && pretty[i] != ')') ++i;
            continue;
        }
        end = i;
        break;
    }
    // the name begins behind the last blank before it that is outside template arguments and "(anonymous ...)"
    std::size_t begin = 0;
    depth = 0;
    for (std::size_t i = end; i > 0; --i) {
        const char c = pretty[i - 1];
        if (c == '>' || c == ')') ++depth;
        if (c == '<' || c == '(') --depth;
        if (depth == 0 && (c == ' ' || c == '*' || c == '&')) {
            begin = i;
            break;
        }
    }
    FunctionName name;
    std::size_t length = 0;
    for (std::size_t i = begin; i < end && length + 1 < name.text.size(); ++i) name.text[length++] = pretty[i];
    return name;
}

}  // namespace qar::internal

/// Writes one line to the platform's log, in place: the function's full name goes first, file and line last. The format
/// is one literal, so that a line of the log can be found in the sources.
#define QAR_LOG(level, module, format, ...)                                                               \
    do {                                                                                                  \
        static constexpr auto qar_function_name = ::qar::internal::ReadFunctionName(__PRETTY_FUNCTION__); \
        QAR_LOG_FOR(qar_function_name.c_str(), level, module, format __VA_OPT__(, ) __VA_ARGS__);         \
    } while (false)

/// QAR_LOG in a helper, whose lines bear the name of the function that it works for.
#define QAR_LOG_FOR(function_name, level, module, format, ...) \
    ::LogSinkWrite(level, module, format, function_name __VA_OPT__(, ) __VA_ARGS__, __FILE__, __LINE__)
