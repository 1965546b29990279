// From a description and a command line to an exit status. There are three ways out: zeft_main()
// returns, something calls qk_exit(), or exit() itself, as the library does for broken tables.
#include "zeft_main.h"

#include <qkzeft.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "harness/compare.h"
#include "harness/options.h"

namespace zeft_harness {
namespace {

enum class Phase { kPreparing, kComparing, kRunning, kOver };

Phase phase = Phase::kPreparing;
Options options;
void (*leaveProcess)(int) = nullptr;
bool traceOpened = false;

// ---- The ways out

const char* vcdName() { return options.vcd.empty() ? nullptr : options.vcd.c_str(); }

bool isRecording() { return !options.vcd.empty() || !options.traced.empty() || options.last; }

/// @param status  of what ends here, as its end was told
/// @return that of the program
int conclude(int status) {
    const Phase ended = phase;
    if (ended == Phase::kOver) return status;
    clearProgress();
    phase = Phase::kOver;
    if (ended == Phase::kComparing) {
        status = judge(options);
    } else if (ended == Phase::kPreparing && (status != 0 || !options.reference.empty())) {
        complain("ended before the run began");
        status = kCouldNotRun;
    }
    if (traceOpened) qk_traceclose();
    if (options.last && status != 0 && ended != Phase::kPreparing && !qk_save(vcdName()))
        status = kCouldNotRun;
    if (!qk_trace_written()) status = kCouldNotRun;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        complain("standard output: cannot be written");
        status = kCouldNotRun;
    }
    return status;
}

void leave(int status) { leaveProcess(conclude(status)); }

/// Whatever calls exit() here has found that the model cannot run.
void atExit() {
    if (phase == Phase::kRunning || phase == Phase::kOver) return;
    clearProgress();
    std::fflush(nullptr);
    std::_Exit(kCouldNotRun);
}

// ---- Preparations

/// Without opening it: a pipe opens only once.
bool isReadable(const std::string& path) {
    struct stat status;
    const bool readable = access(path.c_str(), R_OK) == 0 && stat(path.c_str(), &status) == 0 &&
                          !S_ISDIR(status.st_mode);
    if (!readable) complain("%s: cannot be read", path.c_str());
    return readable;
}

/// Has every look at the terminal find the end of input, also that of $stop.
bool turnBatch() {
    if (std::freopen("/dev/null", "r", stdin)) return true;
    complain("/dev/null: cannot be read");
    return false;
}

bool startRecording() {
    if (options.traced.empty()) options.traced.emplace_back("*");
    for (const std::string& pattern : options.traced) qk_cli(("trace " + pattern).c_str());
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
    if (model.build && !model.build()) return false;
    if (model.step) qk_step_fn = model.step;
    return !isRecording() || startRecording();
}

void runConsole() {
    if (!options.batch && (options.interactive || isatty(STDIN_FILENO))) qk_sigint_install();
    if (!options.script.empty()) qk_loadt(options.script.c_str());
    if (options.interactive) qk_cli("cli");
}

int run(const zeft_model& model) {
    if (!prepare(model)) {
        phase = Phase::kOver;
        return kCouldNotRun;
    }
    runConsole();
    if (!options.reference.empty()) {
        phase = Phase::kComparing;
        compare(options);
        return conclude(0);
    }
    phase = Phase::kRunning;
    const uint64_t stop =
        options.stop.empty() ? UINT64_MAX : qk_parse_time(options.stop.c_str(), nullptr);
    const int status = model.run(stop);
    kelvo_finish();
    return conclude(status);
}

}  // namespace
}  // namespace zeft_harness

int zeft_main(const zeft_model& model, int argc, char** argv) {
    using namespace zeft_harness;
    Status status;
    if (!readOptions(model, argc, argv, options, status)) return status;
    leaveProcess = qk_exit;
    qk_exit = leave;
    std::atexit(atExit);
    const int result = run(model);
    qk_exit = leaveProcess;
    return result;
}
