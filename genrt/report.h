// Counters of the activity of a model's signals, and the report of them at the end of a run.
//
// Generated code numbers the signals of each module from 0 and counts events on them. A scope's
// counters live as long as the scope.
#pragma once

#include "netdb/listener.h"

/// Writes "dump.xml" in the current directory, over any that is there; nothing when no scope has
/// counters. Failures are told on the standard error stream.
void writeActivityReport();

/// Keeps the counters in step with the database.
class ActivityCounters final : public DatabaseListener {
    void scopeGoes(QkScope* scope) override;
};
