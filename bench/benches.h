#pragma once

#include <vector>

#include "bench/comparison.h"
#include "bench/history_tables.h"
#include "bench/options.h"

namespace bench {

/// A point moved and a point added through the library's history store.
std::vector<Comparison> TimelineChange(const Options& options, HistoryTables& tables);

/// The table read at a registration, and the half-hourly check over all cameras, each guarded and online.
std::vector<Comparison> Sweep(const Options& options, HistoryTables& tables);

/// A change message from its post to the end of the subscriber's callback.
std::vector<Comparison> ChangeMessage(const Options& options);

}  // namespace bench
