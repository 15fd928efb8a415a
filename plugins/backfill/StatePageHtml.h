#pragma once

namespace backfill {

/// The page at /ID. It reads the plug-in's other URLs, relative to its own.
extern const char* const kStatePageHtml;

}  // namespace backfill
