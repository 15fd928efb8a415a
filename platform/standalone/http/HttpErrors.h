#pragma once

namespace qarplatform {

/// Module of the last errors (Mox::Base::Error) of bound URLs and of pushes to sessions.
inline constexpr int kErrorModuleHttp = 2;

enum HttpErrorCode {
    kHttpErrorNoFunction = 1,  ///< binding a URL to an empty function
    kHttpErrorBadUrl = 2,      ///< a URL that is no plain absolute path, or an unknown method
    kHttpErrorReserved = 3,    ///< binding a URL that the platform serves itself
    kHttpErrorBound = 4,       ///< binding a method of a URL that is bound already
    kHttpErrorNotBound = 5,    ///< releasing or marking a URL that is not bound
    kHttpErrorNoContent = 6,   ///< pushing without a content, or one without a block
    kHttpErrorStopped = 7,     ///< pushing after the end
};

}  // namespace qarplatform
