#pragma once

namespace qarplatform {

/// Module of the bus's last errors (Mox::Base::Error).
inline constexpr int kErrorModuleBus = 1;

/// Codes of the bus's last errors.
enum BusErrorCode {
    kBusErrorNoFunction = 1,      ///< subscribing with an empty function
    kBusErrorOtherFunction = 2,   ///< subscribing a pair of plug-in and topic that has another function
    kBusErrorNoSubscription = 3,  ///< ending a plain subscription that is not there
    kBusErrorNoTopic = 4,         ///< sending on a topic that nobody registered
    kBusErrorStopped = 5,         ///< sending on a bus that has stopped
    kBusErrorNoThread = 6,        ///< sending while no thread can be made
};

}  // namespace qarplatform
