#pragma once

#include <iosfwd>
#include <string>

namespace qarhost {

/// Sets a user's password in the store of a site, which is made as by a first start where there is none, and ends the
/// user's sessions. The password comes from standard input. A host may run on the site or not.
/// @return what to exit with
int SetPassword(const std::string& site_file, const std::string& user, std::ostream& out, std::ostream& err);

}  // namespace qarhost
