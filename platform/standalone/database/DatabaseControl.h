#pragma once

namespace qarplatform {

/// Closes every plug-in's connections. For the host's stop, after the plug-ins have stopped.
void StopDatabase();

}  // namespace qarplatform
