// Running the model along a trace. The trace owns time: it moves the clock, drives the inputs and
// says when the model is stepped.
#include <ctime>
#include <string_view>
#include <utility>

#include "base/qkassert.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/script.h"
#include "netdb/database.h"
#include "qkzeft.h"
#include "run/end_signal.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/time.h"
#include "tracing/trace_writer.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"

namespace {

bool timeIsUp() { return qk_cycle >= stopTime && stopTime != kNoStop; }

bool isInterrupted() { return sigintCount > 0 || pendingEndSignal() != 0; }

}  // namespace

// ---- Opening and closing

int QkFileReader::openTrace(const char* path) {
    if (file) {
        say("Open Trace: VCD already open (%s)\n", path);
        return 0;
    }
    passRunning = true;  // initial values may have the console open, at a break
    const bool opened = readOpening(path);
    passRunning = false;
    const bool closed = std::exchange(closeRequested, false);
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
    warnOfBounds();
    const int stimuli = findStimuli();
    countLinks();
    findProposals();
    regroup();
    if (sample) sample->start(vcdModel->traces);
    vcdModel->traces.sample = sample.get();
    if (!stimuli) return failed("find stimuli");
    qk_cycle = 0;
    forgetNotedTime();
    const ToggleCoverage::Pause whileSetting(qkTraceWriter->coverage);
    stepNeeded = earlyInputs = clockPending = readFailed = sampleEnded = false;
    if (!readInitialValues(true)) {
        printFailure("%s:%d: Open Trace: Failed to read VCD 'dumpvars'\n", path, lineNumber);
        return false;
    }
    if (!settleModel("init")) return false;
    vcdModel->traces.endDump();
    if (qkConsole->interactive) qk_printf("\nTimescale precision is %s\n", qk_time_as_string(1));
    return true;
}

void QkFileReader::closeValidate() {
    if (!runningFromVCD) return;
    if (passRunning) {
        closeRequested = true;
        return;
    }
    closeRequested = false;
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

int QkFileReader::runValidate() {
    QK_ASSERT_AS(qkDatabase->isComplete(), "qkLiveModel->isComplete()");
    QK_ASSERT_AS(runningFromVCD, "qkLiveModel->reader.runningFromVCD");
    bool failed = false;
    while (runningFromVCD) {
        bool pause = false;
        if (!atEnd() && !runPass(pause)) failed = true;
        if (isEndRequested()) {
            endAsRequested();
            endValidate();
        }
        if (!runningFromVCD) break;
        if (pause || sigintCount > 0 || (qkConsole->interactive && mustPause())) {
            if (!openConsole()) endValidate();
        } else if (!qkConsole->interactive && atEnd()) {
            endValidate();
        } else if (!qkConsole->interactive && timeIsUp()) {
            stopTime = kNoStop;  // nobody could move the run on
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
    if (readFailed) {
        if (qkConsole->interactive)
            pause = true;
        else
            closeValidate();
    }
    return good;
}

/// Stepping on clocks needs one; unless the user asked for it, it turns itself off without.
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
    return tooMany || timeIsUp() || atEnd();
}

/// @return false when there is nobody to ask
bool QkFileReader::openConsole() { return runPendingScripts() || enterConsole(); }

int QkFileReader::runTrace(bool final) {
    QK_ASSERT_AS(file != nullptr, "file != NULL");
    if (!file) return 0;
    passStart = std::clock();
    stopped = readFailed = false;
    lastOutOfSync = -1;
    passRunning = true;
    bool good = readLines();
    const bool complete = good && final && (atEnd() || sampleEnded) && !stopped;
    if (complete) good = finishTrace();
    stats.complete = complete && good;
    passRunning = false;
    vcdModel->traces.settleAll();
    if (!good) readFailed = true;
    const bool equal = good && nDifferences == 0;
    if (good && (complete || stopped)) {
        reportEnd();
        if (!qkConsole->interactive) close();
    }
    if (closeRequested) closeValidate();
    return equal;
}

/// @return false after a failure
bool QkFileReader::readLines() {
    stopped = isInterrupted() || closeRequested;
    while (!stopped) {
        if (timeIsUp()) return true;
        if (vcdModel->traces.monitoredCount > 0 && !reportProgress()) {
            stopped = true;
            return true;
        }
        readPlainLines();
        if (isInterrupted() || closeRequested) {
            stopped = true;
            return true;
        }
        const std::string_view token = readToken();
        if (token.empty()) return !file->failure();
        if (!readLine(token)) return false;
        if (sampleEnded) return true;
        stopped = isInterrupted() || closeRequested;
    }
    return true;
}

/// @return false when there are as many differences as the user wants
bool QkFileReader::reportProgress() {
    if (threshold != -1 && static_cast<unsigned>(nDifferences) >= static_cast<unsigned>(threshold))
        return false;
    if (nOutOfSync == lastOutOfSync) return true;
    lastOutOfSync = nOutOfSync;
    qk_printf("Time: %s: %d signal%s out-of-sync\n", qk_cycle_as_string(), nOutOfSync,
              nOutOfSync == 1 ? "" : "s");
    return true;
}

bool QkFileReader::readLine(std::string_view token) {
    if (token.front() == '#') return readTime(token);
    if (token.front() != '$') return readValue(token);
    if (!isStrict) return readKeyword(token);
    if (token == "$dumpon") return readInitialValues(false) != 0;
    say("%s:%d: '%.*s' ignored\n", filename.c_str(), lineNumber, static_cast<int>(token.size()),
        token.data());
    return true;
}

bool QkFileReader::readTime(std::string_view token) {
    const std::string line = timeWords(token);  // the model may do anything, in its step
    if (!pausedSince) {
        if (!finishTimeStep()) return false;
        if (vcdModel->traces.monitoredCount > 0) checkSyncTimeouts();
        InputSample* const taken = vcdModel->traces.sample;
        sampleEnded = taken && taken->endStep();
        if (sampleEnded) return true;
    }
    if (!readTimeLine(line)) return false;
    if (verbosestep || verbose > 3)
        qk_printf("Time: %s: Start VCD timestep:\n", qk_cycle_as_string());
    return true;
}

/// Steps the model if the lines of a time step ask for it.
bool QkFileReader::finishTimeStep() {
    if (clockFirst) {
        if (!stepClockFirst()) return false;
    } else if (stepNeeded || clockPending) {
        if (!stepModel("time change")) return false;
    } else {
        vcdModel->traces.commitPending(false);
    }
    stepNeeded = clockPending = false;
    return true;
}

bool QkFileReader::readValue(std::string_view token) {
    std::string_view value;
    bool passed = false;
    QkVCDId* const id = readValueLine(token, value, isStrict ? nullptr : &passed);
    if (!id) return passed;
    if (!id->linked) return true;
    if (stepsInOrder()) return applyInClockOrder(*id, value);
    id->setVCDValue(value, false);
    if (id->isStimulus) stepNeeded = true;
    return true;
}

/// Inputs that stand before the first clock in a time step reach the model before it, and clocks in
/// succession reach it together.
bool QkFileReader::applyInClockOrder(QkVCDId& id, std::string_view value) {
    if (id.isClock) {
        if (earlyInputs && !stepModel("apply early inputs")) return false;
        earlyInputs = false;
        clockPending = true;
    } else {
        stepNeeded |= id.isStepInput;
        earlyInputs |= id.isEarlyInput;
        if (clockPending && !stepModel("clock change")) return false;
        clockPending = false;
    }
    id.setVCDValue(value, false);
    return true;
}

bool QkFileReader::canStep() const {
    if (!qk_step_fn) qk_printf("ZEFT Validate: 'qk_step_fn()' not registered\n");
    return qk_step_fn != nullptr;
}

/// Has the model evaluated, by qk_step_fn or another function of it. It cannot move the time.
void QkFileReader::evaluate(void (*function)(), const char* reason) {
    if (verbosestep || verbose > 3)
        qk_printf("Time: %s: Step (%s)\n", qk_cycle_as_string(), reason);
    const bool wasRunning = passRunning;
    passRunning = true;  // nothing that is in use here may go away
    const uint64_t time = qk_cycle;
    const int precision = qk_timescale_precision;
    function();
    qk_cycle = inTicksNow(time, precision);
    passRunning = wasRunning;
}

int QkFileReader::stepModel(const char* reason) {
    if (!canStep()) return 0;
    vcdModel->traces.commitPending(false);
    evaluate(qk_step_fn, reason);
    vcdModel->traces.scanLiveChanges();
    return 1;
}

/// Has the model take up inputs and registers that were written from outside.
int QkFileReader::settleModel(const char* reason) {
    if (!canStep()) return 0;
    vcdModel->traces.commitPending(false);
    evaluate(qk_settle_fn ? qk_settle_fn : qk_step_fn, reason);
    vcdModel->traces.scanLiveChanges();
    return 1;
}

/// Ends a time step whose order of lines does not count: early inputs reach the model first, then
/// clocks, then all other inputs. What it makes of them is looked at once.
bool QkFileReader::stepClockFirst() {
    constexpr struct {
        CommitGroup group;
        const char* reason;
    } groups[] = {
        {kEarlyInputs, "early inputs"}, {kClocks, "clocks"}, {kOtherInputs, "other inputs"}};
    bool stepped = false;
    for (const auto& [group, reason] : groups) {
        if (!vcdModel->traces.commitGroup(group)) continue;
        if (!canStep()) return false;
        evaluate(qk_step_fn, reason);
        stepped = true;
    }
    if (stepped) vcdModel->traces.scanLiveChanges();
    return true;
}

void QkFileReader::regroup() {
    if (!vcdModel) return;
    QkVCDTraces& traces = vcdModel->traces;
    // What waits has to reach the model in the other order, too.
    if (traces.isGrouped() != clockFirst && traces.isInputPending()) stepNeeded = true;
    traces.regroup(clockFirst);
}

void QkFileReader::rescaleTimes(uint64_t factor) {
    synctime = limitInFinerTicks(synctime, factor);
    stats.time *= factor;
    record.rescaleTimes(factor);
    vcdTimeMultiplier *= factor;
    if (!vcdModel) return;
    for (const auto& trace : vcdModel->traces.all)
        for (uint64_t* const time :
             {&trace->lastStateChange, &trace->maxSyncToVCD, &trace->maxSyncToLive})
            *time *= factor;
}

bool QkFileReader::finishTrace() {
    QkVCDTraces& traces = vcdModel->traces;
    if (clockFirst) {
        if (!stepClockFirst()) return false;
    } else {
        traces.commitPending(false);
        const bool stepped = stepNeeded || (clockPending && !qk_strict);
        if (stepped && !stepModel("end")) return false;
    }
    stepNeeded = clockPending = false;
    if (InputSample* const taken = traces.sample) {
        if (!sampleEnded) taken->endStep();
        taken->finish();
    }
    traces.scanLiveChanges();
    traces.endOfTrace();
    return true;
}

void QkFileReader::reportEnd() {
    vcdModel->traces.summarise();
    if (timeExecution)
        qk_printf("  %.2f CPU-seconds elapsed\n",
                  static_cast<double>(std::clock() - passStart) / CLOCKS_PER_SEC);
    if ((verbosestep || verbose > 0) && vcdModel->traces.countClockStimuli() > 0) {
        qk_printf("\nClocks:\n");
        lsCommand("-c");
    }
}
