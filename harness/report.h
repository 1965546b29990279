// The report of a run (`--report`), and what it says.
#pragma once

#include <string>

#include "harness/options.h"

namespace zeft_harness {

/// Sets the result of a comparison that reached its end. Without it, the first complaint is the
/// reason.
void setVerdict(const std::string& text);

/// Keeps a line that was printed on the standard error stream.
/// @param isReason  it says why the run failed
void noteMessage(const std::string& line, bool isReason);

/// Writes the report of a run that has just begun, in case it never reaches its end.
/// @return false with a message; true when none is requested
bool writeFirstReport(const zeft_model& model, int argc, char** argv, const Options& options);

/// Writes the report of a run that ends.
/// @return false with a message; true when none is requested
bool writeReport(int status);

}  // namespace zeft_harness
