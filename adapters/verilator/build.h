// The steps from sources to a program.
#pragma once

#include "options.h"

namespace qkverilate {

/// Why a build failed, for the user.
struct BuildError {
    std::string text;
};

/// Builds what the options request. Throws BuildError, DesignError or TreeError.
void build(const Options& options);

}  // namespace qkverilate
