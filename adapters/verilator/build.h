// The steps from sources to a program.
#pragma once

#include "options.h"

namespace qkverilate {

/// What stopped a build; for the user.
struct BuildError {
    std::string text;
};

/// Builds what the options ask for. Throws BuildError, DesignError or TreeError.
void build(const Options& options);

}  // namespace qkverilate
