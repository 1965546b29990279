// Running other programs: with lists of arguments, never through a shell.
#pragma once

#include <string>
#include <vector>

namespace qkverilate {

struct Outcome {
    bool isFound = false;  ///< the program could be started
    int status = 0;        ///< its exit status; 128 + N when signal N ended it
    std::string output;    ///< of both its streams, when they were taken
};

/// Where a program's text goes.
enum class Text { kShown, kTaken };

/// Runs a program to its end.
/// @param arguments  the program, looked for in PATH, and its arguments
Outcome runProgram(const std::vector<std::string>& arguments, Text text);

/// Prints each command line before it is run from now on.
void showCommands();

}  // namespace qkverilate
