// Why a command failed.
//
// A command's handler returns 1 whether or not it succeeded, since 0 means "not recognised". So the
// code that prints the message of a failure notes it here, in whichever layer, and the caller of a
// command asks afterwards. The first message counts: later ones are consequences of it.
#pragma once

#include <string>
#include <string_view>

/// Notes a message that has been printed, or is about to be. Its first line is kept.
void noteFailure(std::string_view message);

/// Prints the message of a failure, of any length, and notes it.
/// @return 1, the result of a handler that failed
int printFailure(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Collects what is noted while it exists. What is noted inside a nested one does not reach the
/// outer one.
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
