// Comparing a model with a reference trace, and the verdict.
#pragma once

#include "harness/options.h"

namespace zeft_harness {

/// Runs the comparison that the options request, after the model has been built.
void compare(const Options& options);

/// Reports the result of a comparison, which may have ended early.
Status judge(const Options& options);

/// @return whether the comparison reached its end and its result proves something
bool isConclusive(const Options& options);

/// Removes the line of progress from the terminal, if there is one.
void clearProgress();

}  // namespace zeft_harness
