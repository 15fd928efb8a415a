#pragma once

struct sqlite3;

namespace qarplatform {

/// Makes every collation name usable on a connection. "binary", "nocase" and "rtrim" are the engine's own. A name that
/// is a locale of this system with UTF-8 ("de_DE.UTF-8", or "de_DE", which is tried as "de_DE.UTF-8") sorts as that
/// locale does; any other name sorts by Unicode code point, with one line in the log.
void OfferCollations(sqlite3* connection);

}  // namespace qarplatform
