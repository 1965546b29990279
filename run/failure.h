// Why a command could not do what it was asked to.
//
// A command's handler returns 1 whether or not it succeeded, since 0 means "not recognised". So the
// message of a failure is noted here, by whichever layer prints it, and whoever runs a command asks
// afterwards. The first message counts: later ones tell what follows from it.
#pragma once

#include <string>
#include <string_view>

/// Notes a message that has been printed, or is about to be. Its first line is kept.
void noteFailure(std::string_view message);

/// Prints the message of a failure, which may be of any length, and notes it.
/// @return 1, the result of a handler that could not do what was asked
int printFailure(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Collects what is noted while it exists. Inside another one it keeps its failures to itself.
class FailureWatch {
public:
    FailureWatch();
    ~FailureWatch();
    FailureWatch(const FailureWatch&) = delete;
    FailureWatch& operator=(const FailureWatch&) = delete;

    /// The first message, without its line end; empty when all went well.
    std::string reason;

private:
    FailureWatch* outer;
};
