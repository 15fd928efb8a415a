#pragma once

#include <cstdint>
#include <string>

#include "standalone/site/SiteFile.h"
#include "standalone/site/SiteStore.h"

namespace qarhost {

/// Makes a folder, and those above it. What the host keeps is its owner's only; a folder that is there stays as it is.
/// @param error  gets the folder and why not
bool MakeFolder(const std::string& dir, std::string& error);

/// Opens the store of a site, as a start does: an empty one imports the site, one without users imports those.
/// The data folder must be there.
bool OpenStore(const qarplatform::SiteFile& file, qarplatform::SiteStore& store, std::string& error);

}  // namespace qarhost
