// Children, started by argument lists, and the signals that end this program.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace regress {

/// Where a child's standard streams go. Negative: as this program's.
struct Streams {
    int input = -1, output = -1, error = -1;
};

/// Starts a program, which is looked for in PATH. Descriptors that are to stay out of it are closed
/// on exec.
/// @param ownGroup  in a process group of its own, which the terminal's Ctrl-C does not reach
/// @return its number. Throws Failure.
pid_t start(const std::vector<std::string>& command, const Streams& streams, bool ownGroup);

/// @return the status that waitpid() gives
int waitFor(pid_t child);

/// @return "exit status 3" or "signal 9 (Killed)"
std::string statusText(int status);

/// Runs a program to its end. @return what it wrote to both streams; sets its status
std::string outputOf(const std::vector<std::string>& command, int& status,
                     const std::string& input = "");

/// Has SIGINT, SIGTERM and SIGHUP noted from here on.
void catchSignals();
/// @return the first signal that was noted, or 0
int caughtSignal();

}  // namespace regress
