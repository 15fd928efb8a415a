#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "host/PluginFile.h"
#include "standalone/site/SiteFile.h"

namespace qarhost {

/// Reads a site file; everything that is wrong with it goes to `err`, one line each.
std::optional<qarplatform::SiteFile> ReadSite(const std::string& path, std::ostream& err);

/// @param plugin_dir  "" for the one beside the program
/// @return where the plug-ins of a site are looked for
PluginFolders FoldersOf(const std::string& site_file, const std::string& plugin_dir);

/// @return the path of the store of a site
std::string StorePath(const std::string& data_dir);

/// Refuses the data folder as the folder of the database: the host's own files there would count as schemas.
bool CheckDatabaseDir(const std::string& database_dir, const std::string& data_dir, std::string& error);

}  // namespace qarhost
