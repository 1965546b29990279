// Running other programs: with lists of arguments, never through a shell.
#pragma once

#include <string>
#include <vector>

namespace qkverilate {

struct Outcome {
    bool isFound = false;  ///< the program could be started
    int status = 0;        ///< its exit status; 128 + N when signal N ended it
    std::string output;    ///< of both its streams, if they were captured
};

/// Where a program's text goes.
enum class Text { kShown, kTaken };

/// Runs a program to its end.
/// @param arguments  the program, searched for in PATH, and its arguments
Outcome runProgram(const std::vector<std::string>& arguments, Text text);

/// From now on, prints each command line before it is run.
void showCommands();

}  // namespace qkverilate
