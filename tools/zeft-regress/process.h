// Children, started by argument lists, and the signals that end this program.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace regress {

/// Descriptors for a child's standard streams. Negative: those of this program.
struct Streams {
    int input = -1, output = -1, error = -1;
};

/// Starts a program, which is searched for in PATH. Descriptors that it must not inherit are closed
/// on exec.
/// @param ownGroup  in a separate process group, which does not receive the terminal's Ctrl-C
/// @return its process id. Throws Failure.
pid_t start(const std::vector<std::string>& command, const Streams& streams, bool ownGroup);

/// @return the status from waitpid()
int waitFor(pid_t child);

/// @return "exit status 3" or "signal 9 (Killed)"
std::string statusText(int status);

/// Runs a program to its end. @return what it wrote to both streams; sets its status
std::string outputOf(const std::vector<std::string>& command, int& status,
                     const std::string& input = "");

/// From here on SIGINT, SIGTERM and SIGHUP are only noted.
void catchSignals();
/// @return the first signal that was noted, or 0
int caughtSignal();

}  // namespace regress
