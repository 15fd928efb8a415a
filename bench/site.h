#pragma once

#include "bench/options.h"

namespace bench {

/// Puts a device for each camera into the device layer, guarded, online, its clock known; nothing is probed. The clock
/// runs so fast that every camera's time has moved on by the next sweep, from a day behind all points on.
void LoadSite(const Options& options);

/// The log lets information through and writes it to its file, or only errors.
void WriteLogLines(const Options& options, bool written);

}  // namespace bench
