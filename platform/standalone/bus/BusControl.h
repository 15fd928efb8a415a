#pragma once

namespace qarplatform {

/// Delivers what is queued and ends the bus's threads. Later messages are refused. For the host's stop; a bus that was
/// never used is stopped all the same.
void StopBus();

}  // namespace qarplatform
