#pragma once

#include <filesystem>

#include "standalone/site/SiteFile.h"
#include "standalone/site/TomlSection.h"

namespace qarplatform {

/// Reads the section [http] of a site file.
/// @param folder  of the site file, absolute
/// @return the options; only to be used when no error was reported
HttpOptions ReadHttpSection(TomlSection& section, const std::filesystem::path& folder);

}  // namespace qarplatform
