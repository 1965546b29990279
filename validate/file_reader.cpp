#include "validate/file_reader.h"

#include <utility>

#include "base/qkassert.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/script.h"
#include "netdb/database.h"
#include "qkzeft.h"
#include "run/end_signal.h"
#include "run/failure.h"
#include "run/idle.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/time.h"
#include "tracing/trace_writer.h"
#include "validate/header.h"
#include "validate/input_buffer.h"

QkFileReader* qkReader = nullptr;

// ---- A trace

void QkFileReader::start(bool loading) {
    QK_ASSERT_AS(vcdModel == nullptr, "vcdModel == NULL");
    isStrict = qk_strict;
    vcdModel = std::make_unique<QkVCDModel>(isStrict);
    loadingState = loading;
    runningFromVCD = !loading;
    endIdleness();
    nDifferences = nDifferencesTotal = 0;
    tokens.start(isStrict);
    body.start(*vcdModel, isStrict, loading);
    results.start();
}

int QkFileReader::readHeader(const char* path) {
    if (!tokens.open(path)) return 0;
    nDifferences = 0;
    return HeaderReader(tokens, *vcdModel, isStrict, body.timeMultiplier).read();
}

void QkFileReader::close() {
    currentStats();
    if (vcdModel && !loadingState) results.record.gather(*vcdModel, tokens.path());
    tokens.close();
    vcdModel = nullptr;
    for (const StimulusMap& map : stimulusMaps) map.live->stimulus = false;
    if (qkConsole->interactive) return;
    runningFromVCD = false;
    currentPrompt = kPrompt;
}

QkVCDTrace* QkFileReader::traceOf(const QkName* name) const {
    if (!vcdModel) return nullptr;
    QkVCDTrace* const found = vcdModel->traces.find(name->trace);
    if (found) vcdModel->traces.settle(found);
    return found;
}

void QkFileReader::traceGoes(QkTrace* trace) {
    if (!vcdModel) return;
    vcdModel->usesChanged();
    vcdModel->traces.retire(trace);
}

void QkFileReader::copiesFound() {
    if (vcdModel) vcdModel->traces.settleAll();
}

void QkFileReader::nameGoes(QkName* name) {
    if (vcdModel) vcdModel->unlink(name);
    std::erase_if(stimulusMaps, [&](const StimulusMap& map) { return map.live == name; });
}

void QkFileReader::scopeGoes(QkScope* scope) {
    if (vcdModel) vcdModel->unlink(scope);
    std::erase_if(mappedScopes, [&](const MappedScope& map) { return map.live == scope; });
}

const qk_mtc_stats& QkFileReader::currentStats() {
    qk_mtc_stats& stats = results.stats;
    if (vcdModel) results.countChanges(*vcdModel);
    if (const VcdInputBuffer* const input = tokens.input()) {
        stats.file_bytes = input->fileBytes();
        stats.bytes_read = input->position();
        stats.damaged = input->isDamaged() || body.isDamaged();
        stats.time = qk_cycle;
    }
    stats.differences = nDifferences + nDifferencesTotal;
    return stats;
}

void QkFileReader::rescaleTimes(uint64_t factor) {
    synctime = limitInFinerTicks(synctime, factor);
    results.stats.time *= factor;
    results.record.rescaleTimes(factor);
    body.timeMultiplier *= factor;
    if (!vcdModel) return;
    for (const auto& trace : vcdModel->traces.all)
        for (uint64_t* const time :
             {&trace->lastStateChange, &trace->maxSyncToVCD, &trace->maxSyncToLive})
            *time *= factor;
}

// ---- Opening and closing

int QkFileReader::openTrace(const char* path) {
    if (fileIsOpen()) {
        say("Open Trace: VCD already open (%s)\n", path);
        return 0;
    }
    run.isRunning = true;  // initial values may have the console open, at a break
    const bool opened = readOpening(path);
    run.isRunning = false;
    const bool closed = std::exchange(run.closeRequested, false);
    return opened && !closed;
}

bool QkFileReader::readOpening(const char* path) {
    const auto failed = [&](const char* what) {
        printFailure("%s: Open Trace: Failed to %s\n", path, what);
        return false;
    };
    // Without clocks it turns itself off, for this trace.
    if (!steponclockRequested && !qk_strict) steponclock = true;
    if (!readHeader(path)) return failed("Open");
    if (!linkModel()) return failed("cross-reference model with VCD file");
    for (const StimulusMap& map : stimulusMaps) addStimulusMap(map);
    linker().warnOfBounds();
    const int stimuli = findStimuli();
    results.countLinks(*vcdModel, *this);
    results.findProposals(*vcdModel);
    run.regroup();
    if (sample) sample->start(vcdModel->traces);
    vcdModel->traces.sample = sample.get();
    if (!stimuli) return failed("find stimuli");
    qk_cycle = 0;
    forgetNotedTime();
    const ToggleCoverage::Pause whileSetting(qkTraceWriter->coverage);
    run.start();
    if (!readInitialValues(true)) {
        printFailure("%s:%d: Open Trace: Failed to read VCD 'dumpvars'\n", path, tokens.line());
        return false;
    }
    if (!run.settleModel("init")) return false;
    vcdModel->traces.endDump();
    if (qkConsole->interactive) qk_printf("\nTimescale precision is %s\n", qk_time_as_string(1));
    return true;
}

void QkFileReader::closeValidate() {
    if (!runningFromVCD) return;
    if (run.isRunning) {
        run.closeRequested = true;
        return;
    }
    run.closeRequested = false;
    close();
    if (qkConsole->interactive) {
        start(false);
    } else {
        stopTime = qk_cycle;
    }
}

/// Ends the comparison in any case.
void QkFileReader::endValidate() {
    close();
    runningFromVCD = false;
    stopTime = qk_cycle;
    currentPrompt = kPrompt;
}

// ---- Passes

namespace {

/// @return false when no prompt can open
bool openConsole() { return runPendingScripts() || enterConsole(); }

}  // namespace

int QkFileReader::runValidate() {
    QK_ASSERT_AS(qkDatabase->isComplete(), "qkLiveModel->isComplete()");
    QK_ASSERT_AS(runningFromVCD, "qkLiveModel->reader.runningFromVCD");
    bool failed = false;
    while (runningFromVCD) {
        bool pause = false;
        if (!tokens.atEnd() && !runPass(pause)) failed = true;
        if (isEndRequested()) {
            endAsRequested();
            endValidate();
        }
        if (!runningFromVCD) break;
        if (pause || sigintCount > 0 || (qkConsole->interactive && mustPause())) {
            if (!openConsole()) endValidate();
        } else if (!qkConsole->interactive && tokens.atEnd()) {
            endValidate();
        } else if (!qkConsole->interactive && TraceRun::timeIsUp()) {
            stopTime = kNoStop;  // no prompt could move it again
        }
        nDifferencesTotal += nDifferences;
        nDifferences = 0;
    }
    if (failed) qk_printf("ZEFT Validate: difference found while running simulation\n");
    return !failed;
}

/// @param pause  receives whether the console must open whatever the time
/// @return whether the pass went without a difference or a failure
bool QkFileReader::runPass(bool& pause) {
    vcdModel->traces.updateMonitoring();
    if (stopTime == kNoStop)
        qk_printf("\nZEFT Validate: Running simulation to completion\n");
    else if (stopTime == 0)
        qk_printf("\nZEFT Validate: Initialising simulation\n");
    else
        qk_printf("\nZEFT Validate: Running simulation until time >= %s\n",
                  qk_time_as_string(stopTime));
    if (!hasClocks(pause)) return false;
    const bool good = runTrace(true) != 0;
    if (run.hasReadFailed()) {
        if (qkConsole->interactive)
            pause = true;
        else
            closeValidate();
    }
    return good;
}

/// Stepping on clocks needs a clock; without one, it is switched off unless the user requested it.
bool QkFileReader::hasClocks(bool& pause) {
    if (!stepsInOrder() || vcdModel->traces.countClockStimuli() > 0) return true;
    if (!steponclockRequested) {
        steponclock = false;
        return true;
    }
    qk_printf("steponclock is on, but no stimuli are clocks.\n");
    if (qkConsole->interactive)
        pause = true;
    else
        closeValidate();
    return false;
}

bool QkFileReader::mustPause() const {
    const bool tooMany = threshold != -1 && nDifferences >= threshold;
    if (tooMany) qk_printf("ZEFT Validate: error threshold exceeded\n");
    return tooMany || TraceRun::timeIsUp() || tokens.atEnd();
}
