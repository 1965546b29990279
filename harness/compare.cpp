// The trace drives the run, and calls qk_step_fn whenever it has changed an input: at that point
// options that need an open trace are carried out, progress is shown and the run is stopped.
#include "harness/compare.h"

#include <qkzeft.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "harness/report.h"

namespace zeft_harness {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDefaultThreshold = 10;
constexpr auto kProgressInterval = std::chrono::milliseconds(250);
constexpr unsigned kStepsPerLook = 64;  // between looks at the wall clock

struct Comparison {
    const Options* options = nullptr;
    void (*step)() = nullptr;    ///< of the model
    void (*settle)() = nullptr;  ///< of the model, or null
    void (*prints)(const char*) = nullptr;
    uint64_t stopTicks = UINT64_MAX;
    bool begun = false;     ///< the trace is open
    bool stopped = false;   ///< at the time that the user gave
    bool unusable = false;  ///< the reason has been printed
    bool pairsChecked = false;
    bool showsProgress = false;
    bool progressShown = false;
    unsigned steps = 0;
    Clock::time_point lastProgress;
};
Comparison comparison;

void refuse(const char* option, const std::string& what, const char* why) {
    complain("%s %s: %s", option, what.c_str(), why);
    comparison.unusable = true;
}

void giveUp() {
    comparison.unusable = true;
    if (comparison.begun) qk_cli("close");
}

std::string countOf(int differences) {
    return std::to_string(differences) + (differences == 1 ? " difference" : " differences");
}

// ---- Progress

void showProgress() {
    if (!comparison.showsProgress || comparison.steps++ % kStepsPerLook != 0) return;
    const Clock::time_point now = Clock::now();
    if (comparison.progressShown && now - comparison.lastProgress < kProgressInterval) return;
    comparison.lastProgress = now;
    qk_mtc_stats stats;
    qk_mtc_statistics(&stats);
    std::fflush(stdout);
    std::fputc('\r', stderr);
    if (stats.file_bytes != 0)
        std::fprintf(
            stderr, "%3.0f %% of ",
            100 * static_cast<double>(stats.bytes_read) / static_cast<double>(stats.file_bytes));
    std::fprintf(stderr, "%s, %s, %s\033[K", comparison.options->reference.c_str(),
                 qk_cycle_as_string(), countOf(stats.differences).c_str());
    std::fflush(stderr);
    comparison.progressShown = true;
}

void printOverProgress(const char* text) {
    clearProgress();
    if (comparison.prints) comparison.prints(text);
}

// ---- Within the run

/// @return whether model and trace are linked as the options request
bool isLinkedAsAsked() {
    if (comparison.pairsChecked) return !comparison.unusable;
    comparison.pairsChecked = true;
    const char *model, *trace;
    for (int kind, i = 0; (kind = qk_mtc_unlinked(i, &model, &trace)) != 0; ++i)
        refuse(kind == 1 ? "--map" : "--stimulus", std::string(model) + "=" + trace,
               kind == 1 ? "the trace has no such scope, or it is another scope's"
                         : "the trace has no such net, or it does not fit");
    return !comparison.unusable;
}

/// From here on ticks are those of the trace, if these are finer.
void beginTrace() {
    comparison.begun = true;
    const Options& options = *comparison.options;
    if (!options.synctime.empty())
        qk_mtc_synctime(qk_parse_time(options.synctime.c_str(), nullptr), nullptr);
    if (!options.stop.empty()) comparison.stopTicks = qk_parse_time(options.stop.c_str(), nullptr);
    if (!isLinkedAsAsked()) return giveUp();
    for (const std::string& net : options.clocks) {
        const bool isNone = net.ends_with("=off");
        if (qk_mtc_clock(net.substr(0, net.size() - (isNone ? 4 : 0)).c_str(), isNone ? 0 : 1))
            continue;
        complain("--clock %s: the trace drives no such input", net.c_str());
        giveUp();
    }
    for (const std::string& net : options.earlies) {
        if (qk_mtc_early(net.c_str(), 1)) continue;
        complain("--early %s: the trace drives no such input", net.c_str());
        giveUp();
    }
}

void evaluate(void (*function)()) {
    if (!comparison.begun) beginTrace();
    function();
    if (qk_cycle >= comparison.stopTicks && !comparison.stopped) {
        comparison.stopped = true;
        qk_cli("close");
    }
    showProgress();
}

void stepCompared() { evaluate(comparison.step); }
void settleCompared() { evaluate(comparison.settle); }

// ---- Before it

void applyOptions(const Options& options) {
    for (const auto& [model, trace] : options.maps)
        if (!qk_mtc_map(model.c_str(), trace.c_str()))
            refuse("--map", model, "the model has no such scope");
    for (const auto& [model, trace] : options.stimuli)
        if (!qk_mtc_stimulus(model.c_str(), trace.c_str()))
            refuse("--stimulus", model, "the model has no such net");
    for (const std::string& pattern : options.ignored)
        if (!qk_mtc_ignore(pattern.c_str())) refuse("--ignore", pattern, "no net matches");
    if (options.threshold) qk_mtc_threshold(*options.threshold);
    qk_mtc_verbose(options.verbose);
    qk_mtc_clock_first(options.clockFirst.value_or(false));
}

// ---- After it

void proposeMaps() {
    const char *model, *trace;
    for (int i = 0; qk_mtc_proposal(i, &model, &trace); ++i)
        remark("the trace has ports of %s at %s: %s --map %s=%s", model, trace,
               i == 0 ? "try" : "or", model, trace);
}

/// @return null, or the reason why the numbers prove nothing about the model
const char* whyUseless(const qk_mtc_stats& stats, bool linked) {
    if (!linked) return "cannot be read";
    if (stats.damaged) return "is damaged, or ends early";
    if (stats.linked == 0) return "nothing is linked: the trace has no net of the model";
    if (stats.driven == 0) return "nothing is linked: the trace has no input of the model";
    if (stats.compared == 0)
        return stats.comparable == 0
                   ? "nothing comparable: the model has no net that can be compared"
                   : "nothing comparable: the trace has no net to compare";
    if (stats.unchanged == stats.compared && stats.differences == 0 && !qk_strict)
        return "nothing was compared: the trace changes no net that is compared";
    return nullptr;
}

constexpr int kNetsNamed = 10;

/// @param nameAt  returns the names one by one, then null
/// @return "3 nets NOT: a, b, c", with the first of many; empty when there are none
std::string listOf(const char* (*nameAt)(int), const char* noun, const char* lack) {
    int count = 0;
    std::string names;
    for (; const char* const name = nameAt(count); ++count)
        if (count < kNetsNamed) names += (count == 0 ? ": " : ", ") + std::string(name);
    if (count == 0) return "";
    if (count > kNetsNamed) names += " ...";
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s") + " " + lack + names;
}

/// @return whether no net of the model was left out
bool reportMissingNets() {
    const std::string nets = listOf(qk_mtc_not_compared, "comparable net", "not compared");
    const std::string inputs = listOf(qk_mtc_not_driven, "input", "not driven");
    if (nets.empty() && inputs.empty()) return true;
    const char* const between = nets.empty() || inputs.empty() ? "" : "; ";
    const auto say = comparison.options->complete ? complain : remark;
    say("%s: %s%s%s", comparison.options->reference.c_str(), nets.c_str(), between, inputs.c_str());
    return false;
}

bool isFinished(const Options& options, const qk_mtc_stats& stats) {
    const int threshold = options.threshold.value_or(kDefaultThreshold);
    return stats.complete || comparison.stopped ||
           (threshold > 0 && stats.differences >= threshold);
}

}  // namespace

void clearProgress() {
    if (!comparison.progressShown) return;
    comparison.progressShown = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

void compare(const Options& options) {
    comparison.options = &options;
    if (!qk_step_fn) {
        complain("the model has no function that evaluates it: nothing to compare");
        comparison.unusable = true;
        return;
    }
    applyOptions(options);
    if (comparison.unusable) return;
    comparison.step = qk_step_fn;
    qk_step_fn = stepCompared;
    comparison.settle = qk_settle_fn;
    if (qk_settle_fn) qk_settle_fn = settleCompared;
    comparison.showsProgress = isatty(STDERR_FILENO) != 0;
    comparison.prints = qk_prints;
    if (comparison.showsProgress) qk_prints = printOverProgress;
    qk_mtc(options.reference.c_str());
    clearProgress();
    qk_prints = comparison.prints;
    qk_step_fn = comparison.step;
    qk_settle_fn = comparison.settle;
}

bool isConclusive(const Options& options) {
    qk_mtc_stats stats;
    const bool linked = qk_mtc_statistics(&stats) != 0;
    return !comparison.unusable && !whyUseless(stats, linked) && isFinished(options, stats);
}

namespace {

/// If nets differ, or agree late, inputs may have been applied in the wrong order.
void proposeScan(const Options& options, const qk_mtc_stats& stats) {
    struct stat status;
    if (stats.differences == 0 && qk_mtc_longest_sync() == 0) return;
    if (stat(options.reference.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    remark("%s: if clock and data change at one time, --scan may help", options.reference.c_str());
}

void announce(const std::string& verdict) {
    setVerdict(verdict);
    qk_printf("%s\n", verdict.c_str());
}

}  // namespace

Status judge(const Options& options) {
    const char* const path = options.reference.c_str();
    if (comparison.unusable) return kCouldNotRun;
    qk_mtc_stats stats;
    const bool linked = qk_mtc_statistics(&stats) != 0;
    if (linked && !isLinkedAsAsked()) return kCouldNotRun;
    if (linked)
        qk_printf(
            "%d signals in the trace, %d linked; of the model %d nets comparable, %d compared, "
            "%d driven\n",
            stats.signals, stats.linked, stats.comparable, stats.compared, stats.driven);
    if (const char* const why = whyUseless(stats, linked)) {
        complain("%s: %s", path, why);
        proposeMaps();
        return kCouldNotRun;
    }
    const std::string until = qk_time_as_string(stats.time);
    if (!isFinished(options, stats)) {
        complain("%s: left at %s, before its end, after %s", path, until.c_str(),
                 countOf(stats.differences).c_str());
        return kCouldNotRun;
    }
    proposeScan(options, stats);
    const bool isComplete = reportMissingNets();
    if (stats.differences != 0)
        announce("The model differs from " + options.reference + ": " + countOf(stats.differences) +
                 " until " + until);
    if (options.complete && !isComplete) return kCouldNotRun;
    if (stats.differences != 0) return kDiffers;
    if (const uint64_t apart = qk_mtc_longest_sync(); apart != 0 && options.synctime.empty()) {
        complain("%s: agrees, but nets were up to %s apart: give --synctime", path,
                 qk_time_as_string(apart));
        return kCouldNotRun;
    }
    announce("The model agrees with " + options.reference + " until " + until);
    return kAgrees;
}

}  // namespace zeft_harness
