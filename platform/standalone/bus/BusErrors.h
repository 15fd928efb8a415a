#pragma once

#include "Mox/Base/Error.h"

namespace qarplatform {

/// Module of the bus's last errors (Mox::Base::Error).
inline constexpr int kErrorModuleBus = 1;

/// Codes of the bus's last errors.
enum BusErrorCode {
    kBusErrorNoFunction = 1,      ///< subscribing or publishing with an empty function
    kBusErrorOtherFunction = 2,   ///< subscribing a pair of plug-in and topic that has another function
    kBusErrorNoSubscription = 3,  ///< ending a plain subscription that is not there
    kBusErrorNoTopic = 4,         ///< sending on a topic that nobody registered
    kBusErrorStopped = 5,         ///< sending on a bus that has stopped
    kBusErrorNoThread = 6,        ///< sending while no thread can be made
    kBusErrorNoName = 7,          ///< a subscriber or publisher without a name
    kBusErrorUnknownKind = 8,     ///< a subscriber of no known kind
    kBusErrorNoContent = 9,       ///< pushing nothing, or a message without content
};

/// Sets the calling thread's last error. @return false
inline bool Refuse(BusErrorCode code) {
    Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode(kErrorModuleBus, code));
    return false;
}

}  // namespace qarplatform
