// Counters of the activity of a model's signals, and the report of them at the end of a run.
//
// Generated code numbers the signals of each module from 0 and counts events on them. A scope's
// counters live as long as the scope.
#pragma once

#include "netdb/listener.h"

/// Writes "dump.xml" in the current directory and overwrites an existing one; writes nothing when
/// no scope has counters. Failures are reported on the standard error stream.
void writeActivityReport();

/// Updates the counters when the database changes.
class ActivityCounters final : public DatabaseListener {
    void scopeGoes(QkScope* scope) override;
};
