#pragma once

#include <optional>
#include <string>

namespace qarhost {

/// Where plug-ins are looked for.
struct PluginFolders {
    std::string site_dir;    ///< folder of the site file
    std::string plugin_dir;  ///< folder of plug-ins
};

/// @return the folder of plug-ins that belongs to this program: ../lib/qarhost/plugins, seen from its own folder
std::string DefaultPluginDir();

/// Finds a plug-in's file: an absolute path as it stands, any other in the site file's folder and then in the folder of
/// plug-ins.
/// @param error  gets where it was looked for in vain
std::optional<std::string> FindPluginFile(const std::string& path, const PluginFolders& folders, std::string& error);

}  // namespace qarhost
