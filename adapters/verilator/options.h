// The command line of qkverilate.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "design.h"

namespace qkverilate {

struct Options {
    DesignOptions design;
    std::vector<std::pair<std::string, std::string>> periods;  ///< of clocks, NET and PERIOD
    std::vector<std::string> forVerilator;  ///< sources, and all options that are not ours
    std::string output;                     ///< empty: MODULE_sim
    std::string build;                      ///< empty: OUTPUT.build
    std::string zeft;                       ///< prefix of the library, if given
    int jobs = 0;                           ///< 0: one for each processor
    bool tables = false;
    bool verbose = false;
    bool lint = false;
};

/// Exit statuses.
enum Status : int { kDone = 0, kFailed = 2 };

/// Reads the command line; prints help, version and errors.
/// @param status  receives the exit status when there is nothing to do
/// @return whether there is something to do
bool readOptions(int argc, char** argv, Options& options, Status& status);

/// Prints a line to the error stream, after the program's name.
void complain(const std::string& text);

}  // namespace qkverilate
