#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "demo_cameras/camera_fleet.h"

namespace demo {

/// Where the demonstration keeps what the host and its plug-in write, all below one folder.
struct DemoFolder {
    std::filesystem::path root;

    std::filesystem::path SiteFile() const { return root / "site.toml"; }
    std::filesystem::path Data() const { return root / "data"; }
    std::filesystem::path ControlSocket() const { return Data() / "qarhost.sock"; }
    std::filesystem::path HostLog() const { return Data() / "log" / "qarhost.log"; }
    std::filesystem::path HistoryDatabase() const { return Data() / "db" / "backfill.db"; }
    std::filesystem::path Journal() const { return Data() / "backfill.journal"; }
    std::filesystem::path Fetched() const { return root / "fetched"; }
};

/// A site with every camera of a fleet, the demonstration's zones, and the plug-in `backfill`, which fetches with curl
/// from the cameras' archives.
std::string SiteFileText(const CameraFleet& fleet, const DemoFolder& folder);

/// Writes the site file into the folder, which is created where it is missing.
/// @throws std::runtime_error  where that fails
void WriteSiteFile(const CameraFleet& fleet, const DemoFolder& folder);

}  // namespace demo
