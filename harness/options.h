// The command line of a model: the options that were given.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zeft_main.h"

namespace zeft_harness {

/// Exit statuses, those of `diff`.
enum Status : int { kAgrees = 0, kDiffers = 1, kCouldNotRun = 2 };

/// MODEL=TRACE
using Pair = std::pair<std::string, std::string>;

struct Options {
    std::string script, reference, log, vcd, report, coverage;
    std::string synctime, stop;  ///< as typed: the tick may get finer before they are used
    std::vector<Pair> maps, stimuli;
    std::vector<std::string> clocks, earlies, ignored, traced;
    std::optional<bool> clockFirst;  ///< after the model was built: its own choice, unless the
                                     ///< option was given
    std::optional<int> threshold, last;
    std::optional<uint32_t> seed;
    int verbose = 0;
    bool interactive = false;
    bool batch = false;
    bool strict = false;
    bool noThreads = false;
    bool scan = false;
    bool complete = false;
};

/// Reads the command line and passes the model its own options. Prints errors to the standard error
/// stream.
/// @param status  receives the exit status when there is nothing to run
/// @return whether there is something to run
bool readOptions(const zeft_model& model, int argc, char** argv, Options& options, Status& status);

/// Prints an error to the standard error stream, after the program's name.
[[gnu::format(printf, 1, 2)]] void complain(const char* format, ...);
/// The same for a message that is not the reason for a failure.
[[gnu::format(printf, 1, 2)]] void remark(const char* format, ...);

}  // namespace zeft_harness
