#pragma once

#include <iosfwd>
#include <string>

namespace qarhost {

/// Checks a site without running it: the site file, the store where there is one, whether the plug-ins can be loaded,
/// and the rows of the plug-ins' history tables. No plug-in is started, nothing is imported or changed.
/// @param plugin_dir  "" for the one beside the program
/// @return what to exit with: the first of kExitSiteFile, kExitDatabase and kExitPlugin that applies
int CheckSite(const std::string& site_file, const std::string& plugin_dir, std::ostream& out, std::ostream& err);

}  // namespace qarhost
