#include "standalone/site/SiteFileErrors.h"

#include <algorithm>
#include <utility>

namespace qarplatform {

SiteFileErrors::SiteFileErrors(std::string file) : file_(std::move(file)) {}

void SiteFileErrors::Add(std::size_t line, std::string key, std::string message) {
    errors_.push_back({file_, line, std::move(key), std::move(message)});
}

std::vector<SiteFileError> SiteFileErrors::Sorted() const {
    std::vector<SiteFileError> sorted = errors_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const SiteFileError& left, const SiteFileError& right) { return left.line < right.line; });
    return sorted;
}

}  // namespace qarplatform
