#include "validate/run.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/qkassert.h"
#include "console/console.h"
#include "console/handlers.h"
#include "qkzeft.h"
#include "run/end_signal.h"
#include "run/printout.h"
#include "run/time.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"

namespace {

bool isInterrupted() { return sigintCount > 0 || pendingEndSignal() != 0; }

}  // namespace

TraceRun::TraceRun(QkFileReader& theComparison)
    : comparison(theComparison), tokens(theComparison.tokens), body(theComparison.body) {}

QkVCDTraces& TraceRun::vcdTraces() const { return comparison.vcdModel->traces; }

bool TraceRun::timeIsUp() { return qk_cycle >= stopTime && stopTime != kNoStop; }

void TraceRun::start() {
    stepNeeded = earlyInputs = clockPending = readFailed = sampleEnded = false;
}

// ---- A pass

int TraceRun::runTrace(bool final) {
    if (!QK_CHECK_AS(comparison.fileIsOpen(), "file != NULL")) return 0;
    passStart = std::clock();
    stopped = readFailed = false;
    lastOutOfSync = -1;
    isRunning = true;
    bool good = readLines();
    const bool complete = good && final && (tokens.atEnd() || sampleEnded) && !stopped;
    if (complete) good = finishTrace();
    comparison.results.stats.complete = complete && good;
    isRunning = false;
    vcdTraces().settleAll();
    if (!good) readFailed = true;
    const bool equal = good && comparison.nDifferences == 0;
    if (good && (complete || stopped)) {
        reportEnd();
        if (!qkConsole->interactive) comparison.close();
    }
    if (closeRequested) comparison.closeValidate();
    return equal;
}

/// @return false after a failure
bool TraceRun::readLines() {
    stopped = isInterrupted() || closeRequested;
    while (!stopped) {
        if (timeIsUp()) return true;
        if (vcdTraces().monitoredCount > 0 && !reportProgress()) {
            stopped = true;
            return true;
        }
        readPlainLines();
        if (isInterrupted() || closeRequested) {
            stopped = true;
            return true;
        }
        const std::string_view token = tokens.readToken();
        if (token.empty()) return !tokens.input()->failure();
        if (!readLine(token)) return false;
        if (sampleEnded) return true;
        stopped = isInterrupted() || closeRequested;
    }
    return true;
}

/// @return false when the limit of differences is reached
bool TraceRun::reportProgress() {
    if (comparison.threshold != -1 && static_cast<unsigned>(comparison.nDifferences) >=
                                          static_cast<unsigned>(comparison.threshold))
        return false;
    if (nOutOfSync == lastOutOfSync) return true;
    lastOutOfSync = nOutOfSync;
    qk_printf("Time: %s: %d signal%s out-of-sync\n", qk_cycle_as_string(), nOutOfSync,
              nOutOfSync == 1 ? "" : "s");
    return true;
}

bool TraceRun::readLine(std::string_view token) {
    if (token.front() == '#') return readTime(token);
    if (token.front() != '$') return readValue(token);
    if (!comparison.isStrict) return readKeyword(token);
    if (token == "$dumpon") return body.readInitialValues(false) != 0;
    tokens.reportIgnored(token);
    return true;
}

bool TraceRun::readTime(std::string_view token) {
    const std::string line = body.timeWords(token);  // the model may do anything, in its step
    if (!body.pausedSince) {
        if (!finishTimeStep()) return false;
        if (vcdTraces().monitoredCount > 0) checkSyncTimeouts();
        InputSample* const taken = vcdTraces().sample;
        sampleEnded = taken && taken->endStep();
        if (sampleEnded) return true;
    }
    if (!body.readTimeLine(line)) return false;
    if (comparison.areStepsSaid())
        qk_printf("Time: %s: Start VCD timestep:\n", qk_cycle_as_string());
    return true;
}

/// Steps the model if the lines of a time step require it.
bool TraceRun::finishTimeStep() {
    if (comparison.clockFirst) {
        if (!stepClockFirst()) return false;
    } else if (stepNeeded || clockPending) {
        if (!stepModel("time change")) return false;
    } else {
        vcdTraces().commitPending(false);
    }
    stepNeeded = clockPending = false;
    return true;
}

bool TraceRun::readValue(std::string_view token) {
    std::string_view value;
    bool passed = false;
    QkVCDId* const id = body.readValueLine(token, value, comparison.isStrict ? nullptr : &passed);
    if (!id) return passed;
    if (!id->linked) return true;
    if (comparison.stepsInOrder()) return applyInClockOrder(*id, value);
    id->setVCDValue(value, false);
    if (id->isStimulus) stepNeeded = true;
    return true;
}

/// Inputs before the first clock in a time step reach the model before it, and consecutive clocks
/// reach it together.
bool TraceRun::applyInClockOrder(QkVCDId& id, std::string_view value) {
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

bool TraceRun::canStep() const {
    if (!qk_step_fn) qk_printf("ZEFT Validate: 'qk_step_fn()' not registered\n");
    return qk_step_fn != nullptr;
}

/// Evaluates the model, by qk_step_fn or another of its functions, which cannot change the time.
void TraceRun::evaluate(void (*function)(), const char* reason) {
    if (comparison.areStepsSaid()) qk_printf("Time: %s: Step (%s)\n", qk_cycle_as_string(), reason);
    const bool wasRunning = isRunning;
    isRunning = true;  // nothing that is in use here may go away
    const uint64_t time = qk_cycle;
    const int precision = qk_timescale_precision;
    function();
    qk_cycle = inTicksNow(time, precision);
    isRunning = wasRunning;
}

int TraceRun::stepModel(const char* reason) {
    if (!canStep()) return 0;
    vcdTraces().commitPending(false);
    evaluate(qk_step_fn, reason);
    vcdTraces().scanLiveChanges();
    return 1;
}

int TraceRun::settleModel(const char* reason) {
    if (!canStep()) return 0;
    vcdTraces().commitPending(false);
    evaluate(qk_settle_fn ? qk_settle_fn : qk_step_fn, reason);
    vcdTraces().scanLiveChanges();
    return 1;
}

/// Ends a time step whose order of lines does not count: early inputs reach the model first, then
/// clocks, then all other inputs. Its changes are looked for only once.
bool TraceRun::stepClockFirst() {
    constexpr struct {
        CommitGroup group;
        const char* reason;
    } groups[] = {
        {kEarlyInputs, "early inputs"}, {kClocks, "clocks"}, {kOtherInputs, "other inputs"}};
    bool stepped = false;
    for (const auto& [group, reason] : groups) {
        if (!vcdTraces().commitGroup(group)) continue;
        if (!canStep()) return false;
        evaluate(qk_step_fn, reason);
        stepped = true;
    }
    if (stepped) vcdTraces().scanLiveChanges();
    return true;
}

void TraceRun::regroup() {
    if (!comparison.vcdModel) return;
    // Pending values must reach the model in the new order, too.
    if (vcdTraces().isGrouped() != comparison.clockFirst && vcdTraces().isInputPending())
        stepNeeded = true;
    vcdTraces().regroup(comparison.clockFirst);
}

bool TraceRun::finishTrace() {
    if (comparison.clockFirst) {
        if (!stepClockFirst()) return false;
    } else {
        vcdTraces().commitPending(false);
        const bool stepped = stepNeeded || (clockPending && !qk_strict);
        if (stepped && !stepModel("end")) return false;
    }
    stepNeeded = clockPending = false;
    if (InputSample* const taken = vcdTraces().sample) {
        if (!sampleEnded) taken->endStep();
        taken->finish();
    }
    vcdTraces().scanLiveChanges();
    vcdTraces().endOfTrace();
    return true;
}

void TraceRun::reportEnd() {
    vcdTraces().summarise();
    if (comparison.timeExecution)
        qk_printf("  %.2f CPU-seconds elapsed\n",
                  static_cast<double>(std::clock() - passStart) / CLOCKS_PER_SEC);
    if ((comparison.verbosestep || comparison.verbose > 0) && vcdTraces().countClockStimuli() > 0) {
        qk_printf("\nClocks:\n");
        lsCommand("-c");
    }
}

// ---- Pauses of the trace

bool TraceRun::readKeyword(std::string_view token) {
    if (isDumpOff(token)) return beginPause();
    if (isDumpOn(token)) return endPause();
    return body.readKeyword(token);
}

/// Until the trace goes on, nothing is driven and nothing compared.
bool TraceRun::beginPause() {
    if (body.pausedSince) return true;
    if (!finishTimeStep()) return false;
    if (vcdTraces().monitoredCount > 0) checkSyncTimeouts();
    vcdTraces().beginPause();
    body.pausedSince = qk_cycle;
    return true;
}

/// What happened in a pause is not known: the model takes over the values at its end.
bool TraceRun::endPause() {
    const int line = tokens.line();
    const std::string until = qk_cycle_as_string();
    const std::string since = body.pausedSince ? qk_time_as_string(*body.pausedSince) : "";
    if (!body.pausedSince && !finishTimeStep()) return false;
    body.pausedSince.reset();
    if (!body.readDump(false)) return false;
    const std::vector<QkVCDTrace*> given = vcdTraces().takeDump();
    // The model finds out what follows from its inputs, and loses what it takes for an edge.
    if (!settleModel("resume")) return false;
    vcdTraces().takeAgain(given);
    const auto taken = std::count_if(given.begin(), given.end(),
                                     [](const QkVCDTrace* trace) { return trace->isMatched(); });
    const std::string pause = since.empty()
                                  ? "$dumpon at " + until + " without $dumpoff"
                                  : "the trace has no values from " + since + " to " + until;
    tokens.reportAt(line, "%s: %d register%s taken over", pause.c_str(), static_cast<int>(taken),
                    taken == 1 ? "" : "s");
    return true;
}
