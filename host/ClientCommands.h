#pragma once

#include <iosfwd>
#include <string>

namespace qarhost {

// What asks a running host. Each reads the site file for the data folder, prints the answer to `out` or what went wrong
// to `err`, and gives what to exit with.

/// @param json  the host's own answer instead of tables
int ShowStatus(const std::string& site_file, bool json, std::ostream& out, std::ostream& err);

int SetGuard(const std::string& site_file, int device_id, bool guard, std::ostream& out, std::ostream& err);

/// @param dir  relative to the present folder, or absolute
int SetDatabaseDir(const std::string& site_file, const std::string& dir, std::ostream& out, std::ostream& err);

}  // namespace qarhost
