// How the program gives up: with one line on the error stream, and status 2.
#pragma once

#include <stdexcept>
#include <string>

namespace regress {

/// What cannot be done, as the user is to read it.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exit statuses, those of `diff`; of one comparison as of all.
enum Status : int { kAgrees = 0, kDiffers = 1, kFailed = 2 };

/// @return "PATH: WHAT: " and what errno says
std::string systemError(const std::string& path, const char* what);

}  // namespace regress
