// The command line of a model: what is asked for.
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
    std::string synctime, stop;  ///< as typed: a tick may get finer until they are used
    std::vector<Pair> maps, stimuli;
    std::vector<std::string> clocks, earlies, ignored, traced;
    std::optional<bool> clockFirst;  ///< once the model is built: its own choice if none was made
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

/// Reads the command line and hands the model its own options. Says on the standard error stream
/// what is wrong.
/// @param status  receives how to leave when there is nothing to run
/// @return whether there is something to run
bool readOptions(const zeft_model& model, int argc, char** argv, Options& options, Status& status);

/// Says on the standard error stream, with the program's name in front, what went wrong.
[[gnu::format(printf, 1, 2)]] void complain(const char* format, ...);
/// The same for what is not the reason that a run fails.
[[gnu::format(printf, 1, 2)]] void remark(const char* format, ...);

}  // namespace zeft_harness
