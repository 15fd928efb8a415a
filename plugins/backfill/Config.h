#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "RangeQueue.h"

namespace backfill {

/// The plug-in's configuration.
struct Config {
    std::string schema = "backfill";  ///< schema of the plug-in's tables
    bool all_cameras = true;          ///< care for every camera of the site
    std::set<int> cameras;            ///< else for these
    std::set<int> busi_types = {1};
    std::vector<std::string> fetch;  ///< command that fetches a range: program and arguments, with placeholders
    std::string out_dir;             ///< absolute folder of what was fetched
    std::string journal;             ///< absolute path; "" writes none
    std::chrono::milliseconds timeout{3600000};  ///< after which a fetch is given up
    QueueLimits limits;
};

/// Reads the configuration.
/// @param json      an object
/// @param data_dir  folder against which relative paths count
/// @param error     gets what is wrong, with the key
/// @return false when anything is wrong; `config` is incomplete then
bool ReadConfig(const std::string& json, const std::string& data_dir, Config& config, std::string& error);

}  // namespace backfill
