// From a description and a command line to an exit status. There are three ways out: zeft_main()
// returns, something calls qk_exit(), or exit() itself, as the library does for broken tables.
#include "zeft_main.h"

#include <fcntl.h>
#include <qkzeft.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "harness/compare.h"
#include "harness/options.h"
#include "harness/report.h"
#include "harness/scan.h"

namespace zeft_harness {
namespace {

enum class Phase { kPreparing, kComparing, kRunning, kOver };

Phase phase = Phase::kPreparing;
Options options;
void (*leaveProcess)(int) = nullptr;
bool traceOpened = false;
int runStatus = 0;        // as the model set it
bool isAttended = false;  // a user at a terminal can correct what fails
bool hasFailed = false;   // something requested could not be done, and a message was printed
std::string ownCommand;   // the command run by this file, and why it failed
std::string ownFailure;

// ---- The ways out

const char* vcdName() { return options.vcd.empty() ? nullptr : options.vcd.c_str(); }

bool isRecording() { return !options.vcd.empty() || !options.traced.empty() || options.last; }

/// The outcome of the run, before its files are checked.
int outcomeOf(Phase ended, int status, int signal) {
    if (signal != 0) {
        if (signal != SIGPIPE) complain("ended at %s: %s", qk_cycle_as_string(), strsignal(signal));
        return 128 + signal;
    }
    if (ended == Phase::kComparing) return judge(options);
    if (ended != Phase::kPreparing || hasFailed) return status;
    if (status == 0 && options.reference.empty()) return status;
    complain("ended before the run began");
    return kCouldNotRun;
}

/// @return whether everything written has reached its file
bool isAllWritten() {
    bool isWritten = true;
    const auto miss = [&](const char* what) {
        complain("%s: cannot be written", what);
        isWritten = false;
    };
    if (!qk_trace_written()) miss(vcdName() ? vcdName() : "the trace");
    if (const char* const file = qk_text_lost()) miss(file);
    if ((std::fflush(stdout) != 0 || std::ferror(stdout)) && qk_end_signal() != SIGPIPE)
        miss("standard output");
    return isWritten;
}

/// @param status  status of the part that ends here
/// @return the status of the program
int conclude(int status) {
    const Phase ended = phase;
    if (ended == Phase::kOver) return status;
    clearProgress();
    phase = Phase::kOver;
    const int signal = qk_end_signal();
    status = outcomeOf(ended, status, signal);
    if (hasFailed && signal == 0) status = kCouldNotRun;
    if (traceOpened) qk_traceclose();
    const bool isSaved =
        !options.last || status == 0 || ended == Phase::kPreparing || qk_save(vcdName()) != 0;
    if ((!isAllWritten() || !isSaved) && signal == 0) status = kCouldNotRun;
    const bool hasRun = ended != Phase::kPreparing && !options.coverage.empty();
    if (hasRun && !qk_coverage(options.coverage.c_str())) {
        complain("%s: cannot be written", options.coverage.c_str());
        if (signal == 0) status = kCouldNotRun;
    }
    if (!writeReport(status) && signal == 0) status = kCouldNotRun;
    return status;
}

/// At the last console of a run `exit` does not change its status.
void leave(int status) {
    if (status == 0 && !options.strict) status = runStatus;
    leaveProcess(conclude(status));
}

/// Code that calls exit() at this point has found that the model cannot run.
void atExit() {
    if (phase == Phase::kRunning || phase == Phase::kOver) return;
    clearProgress();
    noteMessage("the model ended the program", true);
    writeReport(kCouldNotRun);
    std::fflush(nullptr);
    std::_Exit(kCouldNotRun);
}

// ---- Commands that fail

/// A failed command ends the run if there is no user who could continue.
void noteFailedCommand(const char* file, int line, const char* command, const char* reason) {
    if (!file) {
        if (command == ownCommand) ownFailure = reason;
        return;
    }
    const std::string prefix = std::string(command) + ": ";
    if (std::strncmp(reason, prefix.c_str(), prefix.size()) == 0) reason += prefix.size();
    clearProgress();
    std::fflush(stdout);
    const std::string text =
        std::string(file) + ":" + std::to_string(line) + ": " + command + ": " + reason;
    std::fprintf(stderr, "%s\n", text.c_str());
    noteMessage(text, true);
    hasFailed = true;
    if (!isAttended) qk_exit(kCouldNotRun);
}

/// @return whether the command, which is not in a script, succeeded
bool runCommand(const char* command, const std::string& argument) {
    ownCommand = command;
    ownFailure.clear();
    qk_cli((ownCommand + " " + argument).c_str());
    ownCommand.clear();
    return ownFailure.empty();
}

// ---- Preparations

/// Without opening it: a pipe opens only once.
bool isReadable(const std::string& path) {
    struct stat status;
    const bool isThere = access(path.c_str(), R_OK) == 0 && stat(path.c_str(), &status) == 0;
    if (isThere && !S_ISDIR(status.st_mode)) return true;
    complain("%s: cannot be read: %s", path.c_str(), std::strerror(isThere ? EISDIR : errno));
    return false;
}

/// A file opened later must not get the descriptor of a closed standard stream: printed text would
/// go to that file.
void openStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY));
}

/// Ctrl-C opens the console if the run has one.
void installSignals() {
    for (const int signal : {SIGTERM, SIGHUP, SIGPIPE}) qk_end_on_signal(signal);
    if (!isAttended && !options.interactive) qk_end_on_signal(SIGINT);
}

/// Makes every read from the terminal find the end of input, including that of $stop.
bool turnBatch() {
    if (std::freopen("/dev/null", "r", stdin)) return true;
    complain("/dev/null: cannot be read");
    return false;
}

bool startRecording() {
    if (options.traced.empty()) options.traced.emplace_back("*");
    for (const std::string& pattern : options.traced) {
        if (runCommand("trace", pattern)) continue;
        complain("--trace %s: no net matches", pattern.c_str());
        return false;
    }
    if (options.last) return qk_circular(*options.last) != 0;
    traceOpened = qk_traceto(vcdName()) != 0;
    if (!traceOpened) complain("%s: cannot be written", vcdName() ? vcdName() : "the trace");
    return traceOpened;
}

bool isRunnable(const zeft_model& model) {
    if (!options.reference.empty() || model.run) return true;
    complain("the model has no stimulus of its own: --validate compares it with a trace");
    return false;
}

bool prepare(const zeft_model& model) {
    if (!options.script.empty() && !isReadable(options.script)) return false;
    if (!options.reference.empty() && !isReadable(options.reference)) return false;
    if (!isRunnable(model)) return false;
    if (options.batch && !turnBatch()) return false;
    if (!options.log.empty() && !qk_logfile_open(options.log.c_str(), 0)) {
        complain("%s: cannot be written", options.log.c_str());
        return false;
    }
    qk_strict = options.strict;
    if (options.seed) qk_set_seed(*options.seed);
    if (options.noThreads) qk_trace_thread(0);
    if (model.build && !model.build()) return false;
    if (model.step) qk_step_fn = model.step;
    if (model.settle) qk_settle_fn = model.settle;
    if (!options.clockFirst) options.clockFirst = model.clock_first;
    if (*options.clockFirst) {
        kelvo_start();
        qk_mtc_clock_first(1);  // also for a comparison at the console
    }
    if (isAttended || options.interactive) qk_sigint_install();
    if (isRecording() && !startRecording()) return false;
    if (!options.coverage.empty()) qk_cover(nullptr);
    return true;
}

bool runScript() {
    if (options.script.empty() || runCommand("loadt", options.script)) return true;
    complain("--script %s: %s", options.script.c_str(), ownFailure.c_str());
    return false;
}

int run(const zeft_model& model) {
    if (!prepare(model) || !runScript()) {
        phase = Phase::kOver;
        writeReport(kCouldNotRun);
        return kCouldNotRun;
    }
    if (options.interactive) qk_cli("cli");
    if (!options.reference.empty()) {
        if (options.scan) {
            phase = Phase::kRunning;
            return conclude(scan(options));
        }
        phase = Phase::kComparing;
        compare(options);
        return conclude(0);
    }
    phase = Phase::kRunning;
    const uint64_t stop =
        options.stop.empty() ? UINT64_MAX : qk_parse_time(options.stop.c_str(), nullptr);
    runStatus = model.run(stop);
    kelvo_finish();
    return conclude(runStatus);
}

}  // namespace
}  // namespace zeft_harness

int zeft_main(const zeft_model& model, int argc, char** argv) {
    using namespace zeft_harness;
    openStandardStreams();
    Status status;
    const bool isRun = readOptions(model, argc, argv, options, status);
    const bool asksForHelp = !isRun && status == kAgrees;
    if (asksForHelp) return status;
    if (!writeFirstReport(model, argc, argv, options)) return kCouldNotRun;
    if (!isRun) {
        writeReport(status);
        return status;
    }
    leaveProcess = qk_exit;
    qk_exit = leave;
    std::atexit(atExit);
    isAttended = !options.batch && isatty(STDIN_FILENO) != 0;
    installSignals();
    qk_command_failed = noteFailedCommand;
    const int result = run(model);
    qk_command_failed = nullptr;
    qk_exit = leaveProcess;
    return result;
}
