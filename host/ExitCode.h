#pragma once

namespace qarhost {

/// What qarhost exits with.
enum ExitCode {
    kExitOk = 0,
    kExitFailure = 1,      ///< something failed while it ran
    kExitCommandLine = 2,  ///< the command line cannot be understood
    kExitSiteFile = 3,     ///< the site file is missing or wrong
    kExitPlugin = 4,       ///< a plug-in could not be loaded or started
    kExitDatabase = 5      ///< the site store or the database failed, or holds what cannot be right
};

}  // namespace qarhost
