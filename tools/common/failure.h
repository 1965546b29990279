// How the programs fail: with one line on the error stream, and status 2.
#pragma once

#include <stdexcept>
#include <string>

namespace regress {

/// An error, with the message for the user.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exit statuses, those of `diff`, for one comparison and for all.
enum Status : int { kAgrees = 0, kDiffers = 1, kFailed = 2 };

/// @return "PATH: WHAT: " and the text of errno
std::string systemError(const std::string& path, const char* what);

}  // namespace regress
