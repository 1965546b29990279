// Comparing a model with a reference trace, and what that comes to.
#pragma once

#include "harness/options.h"

namespace zeft_harness {

/// Runs the comparison that the options ask for, once the model is built.
void compare(const Options& options);

/// Reports what a comparison, which may have been left early, has come to.
Status judge(const Options& options);

/// @return whether the comparison came to its end, and what it has come to says something
bool isConclusive(const Options& options);

/// Takes the line of progress off the terminal, if one stands there.
void clearProgress();

}  // namespace zeft_harness
