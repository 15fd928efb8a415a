#pragma once

#include <exception>
#include <optional>
#include <string>

namespace qarmock {

/// Calls `fn` as the edge of a platform's thread does. @return the text of what it threw; nothing when it did not
template <class Function>
std::optional<std::string> CatchText(const Function& fn) {
    try {
        fn();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
    return std::nullopt;
}

}  // namespace qarmock
