#pragma once

#include <toml++/toml.h>

#include <string>

#include "standalone/site/SiteFileErrors.h"

namespace qarplatform {

/// Turns a table into a JSON object. Dates and times become texts.
/// @param path  name of the table in messages
/// @param errors  gets each value that JSON cannot tell (inf, nan); it stands as null in the result
std::string TomlToJson(const toml::table& table, const std::string& path, SiteFileErrors& errors);

}  // namespace qarplatform
