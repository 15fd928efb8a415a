#pragma once

#include <vector>

#include "bench/comparison.h"
#include "bench/history_tables.h"
#include "bench/options.h"

namespace bench {

/// The table read at a registration, and the memory that it takes.
std::vector<Comparison> Registration(const Options& options, HistoryTables& tables);

/// A point moved and a point added, as a plug-in does it.
std::vector<Comparison> TimelineChange(const Options& options, HistoryTables& tables);

/// The half-hourly check and the hourly expiry over all time lines, each camera guarded and online, and how long a
/// plug-in's call takes meanwhile.
std::vector<Comparison> Sweeps(const Options& options, HistoryTables& tables);

/// The exception ranges of all cameras of a business type.
std::vector<Comparison> Ranges(const Options& options);

/// A change message from its post to the end of the subscriber's callback.
std::vector<Comparison> ChangeMessage(const Options& options);

/// An event from its post to the end of its subscribers' functions, for 1, 10 and 100 of them.
std::vector<Comparison> EventDelivery(const Options& options);

/// A notify message from its post to the end of its subscribers' functions, for 1, 10 and 100 of them.
std::vector<Comparison> NotifyDelivery(const Options& options);

/// The session id masked in a URL.
std::vector<Comparison> Masking(const Options& options);

/// A request of a plug-in's URL over kept-alive connections.
std::vector<Comparison> Requests(const Options& options);

}  // namespace bench
