// The report of a run (`--report`), and what it says of it.
#pragma once

#include <string>

#include "harness/options.h"

namespace zeft_harness {

/// Sets what came of a comparison that came to its end. Without it, the first complaint counts.
void setVerdict(const std::string& text);

/// Keeps a line that was printed on the standard error stream.
/// @param isReason  it says why the run failed
void noteMessage(const std::string& line, bool isReason);

/// Writes the report of a run that has just begun, in case that it never gets to its end.
/// @return false with a message; true when none is wanted
bool writeFirstReport(const zeft_model& model, int argc, char** argv, const Options& options);

/// Writes the report of a run that ends.
/// @return false with a message; true when none is wanted
bool writeReport(int status);

}  // namespace zeft_harness
