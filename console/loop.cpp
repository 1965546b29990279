// The command loop, and when it opens.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/qkassert.h"
#include "console/command.h"
#include "console/comparison.h"
#include "console/console.h"
#include "console/handlers.h"
#include "console/script.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/console_text.h"
#include "run/end_signal.h"
#include "run/failure.h"
#include "run/idle.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/time.h"
#include "tracing/trace_writer.h"

QkConsole* qkConsole = nullptr;
uint64_t stopTime = kNoStop;
bool resumeRequested = false;
const char* currentPrompt = kPrompt;

namespace {

/// Maximum number of nested loops, as `cli` is a command like any other.
constexpr int kMaxLoops = 100;

int activeLoops = 0;
bool stdinExhausted = false;  // and stays so
bool bannerShown = false;
bool isLastConsole = false;  // the run is over
bool stopIsTyped = false;    // or it is the next time of the model
uint64_t lastNotedTime = 0;  // of the latest qk_takenote()

/// In strict mode, a script that was running the model continues.
void serveSigint() {
    if (sigintCount == 0) return;
    qk_printf("^C\n");
    sigintCount = 0;
    if (!qk_strict) abandonScripts();
}

bool isInputTyped() { return qk_stdin && isatty(fileno(qk_stdin)); }

void printReadyLine() {
    if (!bannerShown) qk_printf("\nZEFT RunTime command processor\n");
    bannerShown = true;
    int traced = 0;
    ScopeRing::each(qkDatabase->top_scopes,
                    [&](const QkScope* scope) { traced += scope->tracedCount; });
    qk_printf("\ntime=%s: %d of %d values traced: ready\n", qk_cycle_as_string(), traced,
              qkDatabase->visibleNames);
}

/// Prompts and reads a line. @return false at the end of input
bool readLine(std::string& line) {
    char* const typed = readConsoleLine(currentPrompt);
    if (!typed) return false;
    line = typed;
    std::free(typed);
    return true;
}

void recordHistory(const char* command) {
    if (std::strncmp(command, "savet", 5) == 0) return;
    HistoryRing::append(qkConsole->history, new HistoryEntry{nullptr, nullptr, StringBuf(command)});
}

/// In strict mode the run continues, and cannot be stopped any more.
void noteEndOfInput() {
    stopTime = kNoStop;
    stdinExhausted = true;
    if (qk_strict) return;
    if (!isInputTyped()) {
        // There is no prompt any more: signals that would open one end the run.
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) qk_end_on_signal(signal);
    } else if (isLastConsole) {
        qk_printf("\n");
    } else {
        qk_printf("exit\n");
        exitCommand("");
    }
}

/// Handles what is pending, or else one line of input. @return whether the loop continues
bool runPass() {
    serveSigint();
    if (runPendingScripts()) {
        if (sigintCount == 0) return false;
        stopTime = 0;
        serveSigint();
    }
    // After SIGPIPE, the remaining commands of a pipe run without output, until the next
    // qk_takenote().
    if (pendingEndSignal() != 0 && (pendingEndSignal() != SIGPIPE || isInputTyped())) {
        endAsRequested();
        return false;
    }
    printReadyLine();

    std::string line;
    if (!readLine(line)) {
        if (isEndRequested()) {
            qk_printf("\n");
            endAsRequested();
        } else {
            noteEndOfInput();
        }
        return false;
    }
    writeToLog(line.c_str());
    const char* const command = stripLine(line.data());
    recordHistory(command);
    if (!qk_cli(command)) qk_printf("Command %s\n", notRecognised(command));
    return stopTime <= qk_cycle;
}

/// Without a trace, a comparison cannot run: the prompt is shown again.
bool isTraceMissing() {
    if (!runningFromVCD || comparison().isTraceOpen()) return false;
    printFailure("ZEFT Validate: Trace file not open\n");
    stopTime = 0;
    return true;
}

/// @return kNoTime when the text is not a time. Strict mode has no message for that
uint64_t typedTime(const char* text) {
    const uint64_t time = parseConsoleTime(text);
    if (time != kNoTime) return time;
    const std::string message = "'" + std::string(text) + "' is not a time";
    noteFailure(message);
    if (!qk_strict) say("%s\n", message.c_str());
    return time;
}

/// A time that was typed never means "no stop": the prompt is shown again instead.
uint64_t typedStop(uint64_t time) { return time == kNoStop ? 0 : time; }

}  // namespace

bool enterConsole() {
    qkConsole->interactive = true;
    QK_ASSERT_AS(qk_stdin != nullptr, "qk_stdin != 0");
    if (stdinExhausted || !qk_stdin) {
        stopTime = kNoStop;  // a breakpoint may have moved it, and no prompt could move it again
        return false;
    }
    stopTime = 0;
    // An inner loop does exactly what the outer one would do next: many are not needed.
    if (activeLoops == kMaxLoops) return false;
    ++activeLoops;
    while (runPass()) continue;
    --activeLoops;
    sigintCount = 0;
    return true;
}

void openLastConsole() {
    isLastConsole = true;
    qk_cli("cli");
    isLastConsole = false;
}

bool isEndRequested() {
    if (sigintCount > 0 && stdinExhausted && !qk_strict) requestEnd(SIGINT);
    return pendingEndSignal() != 0;
}

void endAsRequested() {
    const int signal = takeEndSignal();
    stopTime = kNoStop;
    qkConsole->interactive = false;  // no prompt must open
    runStatus = 128 + signal;
    finishRun();
    qk_exit(runStatus);
}

int cliCommand(const char*) {
    enterConsole();
    return 1;
}

const char* notRecognised(const char* line) {
    const QkCommand* const command = findCommand(firstWord(skipSpace(line)).word);
    return command && command->validateOnly && currentPrompt != kValidatePrompt
               ? "not recognised (ZEFT Validate is not running)"
               : "not recognised";
}

void forgetNotedTime() { lastNotedTime = 0; }

void rescaleConsoleTimes(uint64_t factor) {
    stopTime = limitInFinerTicks(stopTime, factor);
    lastNotedTime *= factor;
}

int stepCommand(const char* argument) {
    stopTime = qk_cycle + 1;
    stopIsTyped = *argument != '\0';
    if (*argument) stopTime = typedStop(qk_cycle + typedTime(argument));
    isTraceMissing();
    return 1;
}

int continueCommand(const char* argument) {
    stopTime = *argument ? typedStop(typedTime(argument)) : kNoStop;
    stopIsTyped = true;
    if (isTraceMissing()) return 1;
    resumeRequested = stopTime == kNoStop || stopTime > qk_cycle;
    return 1;
}

/// At the last console the exit status is that of the run, except in strict mode.
int exitCommand(const char*) {
    qk_exit(qk_strict ? 0 : runStatus);
    return 0;
}

/// Accepts a value, for old scripts, and changes nothing.
int clearsimCommand(const char*) { return 1; }

uint64_t qk_next_stop() { return stopIsTyped ? stopTime : kNoStop; }

namespace {

/// All that qk_takenote() does, when there is something to do.
[[gnu::noinline]] void takeNote() {
    completeRegistration(true);
    if (runningFromVCD) return;  // the trace controls time
    if (qk_cycle < lastNotedTime) {
        const char* const now = qk_cycle_as_string();
        qk_printf("Warning, time now=%s, previous time was %s\n", now,
                  qk_time_as_string(lastNotedTime));
    }
    lastNotedTime = qk_cycle;
    qkTraceWriter->captureEntry();
    runIsIdle = qkDatabase->isComplete() && qkTraceWriter->isIdle();
    if (isEndRequested())
        endAsRequested();
    else if (sigintCount > 0 || (qk_cycle >= stopTime && stopTime != kNoStop))
        qk_cli("cli");
}

}  // namespace

void qk_takenote() {
    const bool isDue = qk_cycle >= stopTime || (notedEndSignal | sigintCount) != 0;
    if (!runIsIdle || isDue || qk_cycle < lastNotedTime)
        takeNote();
    else
        lastNotedTime = qk_cycle;
}
