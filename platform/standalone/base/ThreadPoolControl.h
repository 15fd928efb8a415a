#pragma once

namespace qarplatform {

/// Ends every thread pool of the process and waits until no worker runs any more; what is queued is dropped. For the
/// host's stop, after the plug-ins have stopped: a pool that was ended without waiting may still be at work. No pool
/// starts afterwards. Must not be called from a worker.
void JoinThreadPools();

}  // namespace qarplatform
