// The one live model of the process: the database of the design, and the parts of the run.
//
// Each folder below has a pointer to its own part; here all parts are made, connected and
// destroyed.
#pragma once

#include "console/console.h"
#include "genrt/report.h"
#include "handles/handles.h"
#include "netdb/database.h"
#include "netdb/listener.h"
#include "run/life.h"
#include "tracing/trace_writer.h"
#include "validate/file_reader.h"

struct QkLiveModel final : QkDatabase, private DatabaseListener {
    QkLiveModel();

    QkTraceWriter writer;
    QkHandleTable handles;
    QkFileReader reader;
    QkConsole console;
    ActivityCounters activity;

    /// Makes `model` the one that all folders use; null: there is none.
    static void install(QkLiveModel* model);

private:
    void scopeGoes(QkScope* scope) override;
};

/// Null before kelvo_start() and after the exit routine.
extern QkLiveModel* qkLiveModel;

/// The exit routine has run: destructors must not touch the model.
extern bool modelGone;
