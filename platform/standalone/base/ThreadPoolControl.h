#pragma once

#include <string>
#include <vector>

namespace qarplatform {

/// Ends every thread pool of the process and waits until no worker runs any more, however long that takes; what is
/// queued is dropped. For the host's stop, after the plug-ins have stopped: a pool that was ended without waiting may
/// still be at work. The bus has such a pool: what it is to deliver, it delivers in StopBus, before this. No pool
/// starts afterwards. Must not be called from a worker.
void JoinThreadPools();

/// @return what the workers of all pools are at: as their tasks describe it, other tasks by the name of their class.
///         Never waits for a task. Threads: any
std::vector<std::string> RunningTasks();

}  // namespace qarplatform
