// Finding out how a trace must be applied to the model.
#pragma once

#include "harness/options.h"

namespace zeft_harness {

/// Compares the start of the trace in several ways, each in a separate process, and prints which
/// options make model and trace agree.
/// @return kAgrees when one of the ways agrees, kDiffers when none does; kCouldNotRun has a message
Status scan(const Options& options);

}  // namespace zeft_harness
