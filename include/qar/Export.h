#pragma once

/// Marks what plug-ins may link against; everything else of the library is hidden.
#define QARCOMMON_API __attribute__((visibility("default")))
