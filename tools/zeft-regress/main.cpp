// zeft-regress: runs a list of comparisons, and summarises the results.
#include <getopt.h>
#include <sys/wait.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "files.h"
#include "process.h"
#include "regression.h"
#include "runner.h"

namespace regress {

namespace {

constexpr const char* kUsage =
    "usage: zeft-regress [OPTION]... LIST [--slurm [SBATCH-OPTION]...]\n"
    "       zeft-regress [--results DIR] --rerun NAME\n";

constexpr const char* kOptionsText =
    "\n"
    "Runs the comparisons of LIST, each a line with a name and the command line of a model,\n"
    "and sums up their reports.\n"
    "\n"
    "  -j, --jobs N         so many at a time, default: one for each processor\n"
    "      --results DIR    where reports go, default regress.out\n"
    "      --junit FILE     JUnit's XML of all, default DIR/junit.xml\n"
    "      --last N         changes that a model keeps for the waveform of its end,\n"
    "                       default 10000; 0: no waveform\n"
    "      --timeout S      seconds that one comparison may take\n"
    "      --resume         run only what has no report, or failed to run\n"
    "      --rerun NAME     print the command of a report, and run it again; NAME may be the\n"
    "                       file of the report\n"
    "      --verbose        list what agrees, too\n"
    "      --slurm [...]    run all as one job array; what follows goes to sbatch\n"
    "      --help, --version\n"
    "\n"
    "Exit status: 0 when all agree, 1 when some differ, 2 when some could not be compared.\n";

enum Long {
    kResults = 256,
    kJunit,
    kLast,
    kTimeout,
    kResume,
    kRerun,
    kVerbose,
    kSlurm,
    kHelpAsked,
    kVersion
};

const option kLongOptions[] = {{"jobs", required_argument, nullptr, 'j'},
                               {"results", required_argument, nullptr, kResults},
                               {"junit", required_argument, nullptr, kJunit},
                               {"last", required_argument, nullptr, kLast},
                               {"timeout", required_argument, nullptr, kTimeout},
                               {"resume", no_argument, nullptr, kResume},
                               {"rerun", required_argument, nullptr, kRerun},
                               {"verbose", no_argument, nullptr, kVerbose},
                               {"slurm", no_argument, nullptr, kSlurm},
                               {"help", no_argument, nullptr, kHelpAsked},
                               {"version", no_argument, nullptr, kVersion},
                               {nullptr, 0, nullptr, 0}};

int readCount(const char* option, const char* text, int least) {
    char* end = nullptr;
    errno = 0;
    const long count = std::strtol(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno != 0 || count < least || count > INT_MAX)
        throw Failure(std::string("--") + option + " cannot be '" + text + "'");
    return static_cast<int>(count);
}

/// What the command line requests.
enum class Asked { kRun, kHelpText, kVersionText, kUsageText };

Asked readOptions(int argc, char** argv, Options& options) {
    // Arguments after --slurm are for sbatch.
    int own = 1;
    while (own < argc && std::strcmp(argv[own], "--slurm") != 0) ++own;
    options.slurm = own < argc;
    for (int i = own + 1; i < argc; ++i) options.slurmOptions.emplace_back(argv[i]);
    for (int found; (found = getopt_long(own, argv, "j:", kLongOptions, nullptr)) != -1;) {
        switch (found) {
            case 'j': options.jobs = readCount("jobs", optarg, 1); break;
            case kResults: options.results = optarg; break;
            case kJunit: options.junit = optarg; break;
            case kLast: options.last = readCount("last", optarg, 0); break;
            case kTimeout: options.timeout = readCount("timeout", optarg, 1); break;
            case kResume: options.resume = true; break;
            case kRerun: options.rerun = optarg; break;
            case kVerbose: options.verbose = true; break;
            case kHelpAsked: return Asked::kHelpText;
            case kVersion: return Asked::kVersionText;
            default: return Asked::kUsageText;
        }
    }
    if (options.results.empty()) throw Failure("--results cannot be ''");
    const int operands = own - optind;
    if (operands != (options.rerun.empty() ? 1 : 0)) return Asked::kUsageText;
    if (operands == 1) options.list = argv[optind];
    return Asked::kRun;
}

/// @return the status of the model
int rerun(const Options& options) {
    const bool isFile = options.rerun.ends_with(".json");
    const std::string path =
        isFile ? options.rerun : Folder(options.results, options.rerun).file("report.json");
    const Report report(path);
    if (report.command.empty()) throw Failure(path + ": the report has no command");
    std::printf("%s\n", shellText(report.command).c_str());
    std::fflush(stdout);
    const int status = waitFor(start(report.command, {}, false));
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return 128 + WTERMSIG(status);
}

int runOne(const std::string& results, const std::string& timeout, const std::string& name) {
    runEntry(Folder(results, name), readCount("timeout", timeout.c_str(), 0));
    std::printf("%s\n", name.c_str());
    return kAgrees;
}

int runList(const Options& options) {
    const Regression regression(options);
    const int signal = options.slurm ? runBySlurm(regression) : runLocally(regression);
    const Status status = conclude(regression);
    return signal != 0 ? 128 + signal : status;
}

int run(int argc, char** argv) {
    // How this program starts itself: for one comparison, and as a task of a job array.
    if (argc == 5 && std::strcmp(argv[1], "--run-one") == 0)
        return runOne(argv[2], argv[3], argv[4]);
    if (argc == 4 && std::strcmp(argv[1], "--run-task") == 0)
        return runSlurmTask(argv[2], readCount("timeout", argv[3], 0));
    Options options;
    switch (readOptions(argc, argv, options)) {
        case Asked::kHelpText: std::printf("%s%s", kUsage, kOptionsText); return kAgrees;
        case Asked::kVersionText:
            std::printf("zeft-regress (zeft %s)\n", ZEFT_VERSION);
            return kAgrees;
        case Asked::kUsageText:
            std::fprintf(stderr, "%szeft-regress --help lists the options\n", kUsage);
            return kFailed;
        case Asked::kRun: break;
    }
    return options.rerun.empty() ? runList(options) : rerun(options);
}

}  // namespace

}  // namespace regress

int main(int argc, char** argv) {
    using namespace regress;
    std::signal(SIGPIPE, SIG_IGN);
    catchSignals();
    try {
        const int status = run(argc, argv);
        if (std::fflush(stdout) == 0) return status;
        throw Failure(systemError("standard output", "cannot be written"));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zeft-regress: %s\n", failure.what());
        return kFailed;
    }
}
