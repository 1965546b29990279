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
    std::vector<std::string> forVerilator;  ///< sources, and all that is not an option of ours
    std::string output;                     ///< empty: MODULE_sim
    std::string build;                      ///< empty: OUTPUT.build
    std::string zeft;                       ///< prefix of the library, if given
    int jobs = 0;                           ///< 0: as many as there are processors
    bool tables = false;
    bool verbose = false;
    bool lint = false;
};

/// Exit statuses.
enum Status : int { kDone = 0, kFailed = 2 };

/// Reads the command line; prints help, version and errors.
/// @param status  receives how to leave when there is nothing to do
/// @return whether there is something to do
bool readOptions(int argc, char** argv, Options& options, Status& status);

/// Prints a line on the error stream, with the program's name in front.
void complain(const std::string& text);

}  // namespace qkverilate
