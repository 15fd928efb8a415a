#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "standalone/site/SiteFile.h"

namespace qarplatform {

/// Collects what is wrong with one site file.
class SiteFileErrors {
public:
    explicit SiteFileErrors(std::string file);

    void Add(std::size_t line, std::string key, std::string message);
    bool Empty() const { return errors_.empty(); }

    /// @return all of them in order of lines, those of one line in the order in which they were found
    std::vector<SiteFileError> Sorted() const;

private:
    std::string file_;
    std::vector<SiteFileError> errors_;
};

}  // namespace qarplatform
