// The trace does not show how its inputs must be applied: dumps of some simulators list the changes
// of a time step in an arbitrary order. So it is found by trial. A child process tries each way,
// with the model in its state before a comparison, and answers through a pipe; the model of this
// process does not change.
#include "harness/scan.h"

#include <fcntl.h>
#include <qkzeft.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "harness/compare.h"

namespace zeft_harness {

namespace {

constexpr int kClockSteps = 10000;  // time steps in which a clock changes

struct Input {
    std::string name;
    bool clock = false, early = false, looksLikeClock = false;
    uint64_t withClock = 0;
};

/// A way to apply the trace: what is added to the options that the user gave.
struct Way {
    bool otherOrder = false;  ///< clocks first if the user's options select the order of lines, and
                              ///< vice versa
    std::vector<std::string> clocks, earlies;
};

/// The result of a comparison.
struct Outcome {
    bool ran = false;
    int signal = 0;                                    ///< the signal that ended the child
    uint64_t differences = 0, longest = 0, until = 0;  ///< times in ticks of the child
    std::string longestText, untilText;
    std::vector<Input> inputs;

    bool isPerfect() const { return ran && differences == 0 && longest == 0; }
    bool isBetterThan(const Outcome& other) const {
        if (!ran || !other.ran) return ran && !other.ran;
        return differences != other.differences ? differences < other.differences
                                                : longest < other.longest;
    }
};

struct Trial {
    Way way;
    Outcome outcome;
};

class Scan {
public:
    explicit Scan(const Options& theOptions) : options(theOptions) {}
    Status run();

private:
    std::string textOf(const Way& way) const;
    Outcome measure(const Way& way) const;
    [[noreturn]] void compareAsChild(const Way& way, FILE* answer) const;
    /// @return whether the way is better than the best so far, which it then replaces
    bool tries(const Way& way);
    void tryUnmarkedClocks();
    void tryEarlyInputs();
    void dropNeedless(std::vector<std::string> Way::*list);
    void report() const;

    const Options& options;
    std::vector<Trial> trials;
    Trial best;
};

std::string Scan::textOf(const Way& way) const {
    std::string text;
    const auto add = [&](const std::string& option) { text += (text.empty() ? "" : " ") + option; };
    if (way.otherOrder) add(*options.clockFirst ? "--clock-first=off" : "--clock-first");
    for (const std::string& net : way.clocks) add("--clock " + net);
    for (const std::string& net : way.earlies) add("--early " + net);
    return text;
}

// ---- The child

void Scan::compareAsChild(const Way& way, FILE* answer) const {
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (nowhere >= 0) dup2(nowhere, descriptor);
    qk_logfile_close();
    qk_prints = [](const char*) {};
    qk_exit = _exit;

    Options own = options;
    own.clockFirst = *options.clockFirst != way.otherOrder;
    own.clocks.insert(own.clocks.end(), way.clocks.begin(), way.clocks.end());
    own.earlies.insert(own.earlies.end(), way.earlies.begin(), way.earlies.end());
    own.threshold = 0;
    own.verbose = 0;
    const bool isFirst = trials.empty();
    qk_mtc_sample(isFirst ? kClockSteps : INT32_MAX,
                  isFirst ? UINT64_MAX : trials.front().outcome.until);
    compare(own);
    qk_mtc_stats stats;
    if (!isConclusive(own) || !qk_mtc_statistics(&stats)) _exit(kCouldNotRun);
    const uint64_t longest = qk_mtc_longest_sync();
    std::fprintf(answer, "%d %" PRIu64 " %" PRIu64 " ", stats.differences, longest, stats.time);
    std::fprintf(answer, "%s ", qk_time_as_string(longest));
    std::fprintf(answer, "%s\n", qk_time_as_string(stats.time));
    qk_mtc_input input;
    for (int i = 0; qk_mtc_sampled_input(i, &input); ++i)
        std::fprintf(answer, "%d %d %d %" PRIu64 " %s\n", input.clock, input.early,
                     input.like_clock, input.with_clock, input.name);
    _exit(std::fclose(answer) == 0 ? kAgrees : kCouldNotRun);
}

/// Reads the child's answer. @return whether it is complete
bool readAnswer(FILE* from, Outcome& outcome) {
    char* line = nullptr;
    size_t room = 0;
    char longest[64], until[64];
    bool good =
        getline(&line, &room, from) > 0 &&
        std::sscanf(line, "%" SCNu64 " %" SCNu64 " %" SCNu64 " %63s %63s", &outcome.differences,
                    &outcome.longest, &outcome.until, longest, until) == 5;
    if (good) {
        outcome.longestText = longest;
        outcome.untilText = until;
    }
    while (good && getline(&line, &room, from) > 0) {
        int clock, early, looksLikeClock, nameAt = 0;
        Input input;
        good = std::sscanf(line, "%d %d %d %" SCNu64 " %n", &clock, &early, &looksLikeClock,
                           &input.withClock, &nameAt) == 4;
        if (!good) break;
        input.clock = clock != 0;
        input.early = early != 0;
        input.looksLikeClock = looksLikeClock != 0;
        input.name.assign(line + nameAt, std::strcspn(line + nameAt, "\n"));
        outcome.inputs.push_back(input);
    }
    free(line);
    return good;
}

Outcome Scan::measure(const Way& way) const {
    Outcome outcome;
    int ends[2];
    if (pipe(ends) != 0) return outcome;
    std::fflush(nullptr);  // otherwise the child would write it, too
    const pid_t child = fork();
    FILE* const stream = child < 0 ? nullptr : fdopen(ends[child == 0], child == 0 ? "w" : "r");
    close(ends[child != 0]);
    if (!stream) {
        close(ends[child == 0]);
        if (child == 0) _exit(kCouldNotRun);
    }
    if (child == 0) compareAsChild(way, stream);
    const bool answered = stream && readAnswer(stream, outcome);
    if (stream) std::fclose(stream);
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    outcome.ran = answered && child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    return outcome;
}

// ---- The search

bool Scan::tries(const Way& way) {
    trials.push_back({way, measure(way)});
    const bool isBetter = trials.back().outcome.isBetterThan(best.outcome);
    if (isBetter) best = trials.back();
    return isBetter;
}

Way withClocksFirst(Way way, const Options& options) {
    way.otherOrder = !*options.clockFirst;
    return way;
}

void Scan::tryUnmarkedClocks() {
    const std::vector<Input> inputs = best.outcome.inputs;
    for (const Input& input : inputs) {
        if (!input.looksLikeClock || best.outcome.isPerfect()) continue;
        for (const bool clocksFirst : {true, false}) {
            Way way = best.way;
            way.otherOrder = clocksFirst != *options.clockFirst;
            way.clocks.push_back(input.name);
            const bool isTried = std::any_of(trials.begin(), trials.end(), [&](const Trial& trial) {
                return textOf(trial.way) == textOf(way);
            });
            if (!isTried && tries(way) && best.outcome.isPerfect()) return;
        }
    }
}

void Scan::tryEarlyInputs() {
    std::vector<std::string> candidates;
    for (const Input& input : best.outcome.inputs)
        if (!input.clock && !input.early && input.withClock > 0) candidates.push_back(input.name);
    // Each round adds the input that helps most.
    for (bool isBetter = true; isBetter;) {
        const Way from = withClocksFirst(best.way, options);
        isBetter = false;
        for (const std::string& net : candidates) {
            if (best.outcome.isPerfect()) return;
            if (std::count(from.earlies.begin(), from.earlies.end(), net)) continue;
            Way way = from;
            way.earlies.push_back(net);
            isBetter |= tries(way);
        }
    }
    // An input that does not help alone may help together with others.
    if (best.outcome.isPerfect() || candidates.size() < 2) return;
    Way way = withClocksFirst(best.way, options);
    way.earlies = candidates;
    if (tries(way)) dropNeedless(&Way::earlies);
}

/// Removes each net from the best way without which it is as good.
void Scan::dropNeedless(std::vector<std::string> Way::*list) {
    const std::vector<std::string> nets = best.way.*list;
    for (const std::string& net : nets) {
        Way way = best.way;
        std::erase(way.*list, net);
        const Outcome outcome = measure(way);
        if (!outcome.ran || best.outcome.isBetterThan(outcome)) continue;
        best = {way, outcome};
        trials.push_back(best);
    }
}

void Scan::report() const {
    size_t width = std::strlen("as given");
    for (const Trial& trial : trials) width = std::max(width, textOf(trial.way).size());
    const int columns = static_cast<int>(width);
    qk_printf("%s until %s:\n  %-*s  differences  longest time to synchronise\n",
              options.reference.c_str(), trials.front().outcome.untilText.c_str(), columns,
              "options");
    for (const Trial& trial : trials) {
        const std::string text = textOf(trial.way);
        qk_printf("  %-*s  ", columns, text.empty() ? "as given" : text.c_str());
        if (trial.outcome.ran)
            qk_printf("%11" PRIu64 "  %s\n", trial.outcome.differences,
                      trial.outcome.longestText.c_str());
        else
            qk_printf("the model ended the comparison\n");
    }
    for (const Input& input : trials.front().outcome.inputs)
        if (input.looksLikeClock)
            qk_printf("%s looks like a clock: registers change with it, and with no clock\n",
                      input.name.c_str());
    const std::string text = textOf(best.way);
    const bool rests = best.outcome.differences == 0 && best.outcome.longest != 0;
    qk_printf("The model %s%s:\n%s\n",
              best.outcome.isPerfect() ? "agrees"
              : rests                  ? "agrees within a tolerance"
                                       : "differs least",
              text.empty() ? " as given" : " with these options", text.c_str());
}

Status Scan::run() {
    tries({});
    if (!best.outcome.ran) {
        if (best.outcome.signal != 0) {
            complain("--scan: the model ended by signal %d", best.outcome.signal);
            return kCouldNotRun;
        }
        compare(options);  // for its messages
        judge(options);
        return kCouldNotRun;
    }
    if (!best.outcome.isPerfect()) tries({true, {}, {}});
    tryUnmarkedClocks();
    tryEarlyInputs();
    report();
    const bool isTolerated = !options.synctime.empty();
    return best.outcome.isPerfect() || (best.outcome.differences == 0 && isTolerated) ? kAgrees
                                                                                      : kDiffers;
}

}  // namespace

Status scan(const Options& options) {
    struct stat status;
    if (stat(options.reference.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        complain("--scan: %s is read several times, and must be a file", options.reference.c_str());
        return kCouldNotRun;
    }
    return Scan(options).run();
}

}  // namespace zeft_harness
