// Running one comparison.
#pragma once

#include <string>

#include "result.h"

namespace regress {

/// Runs the command that the folder was prepared for, and writes its result. A signal that ends
/// this program ends the model first.
/// @param timeout  seconds; 0: no limit
/// @return false when it was ended by a signal
bool runEntry(const Folder& folder, int timeout);

/// @return the command, completed so that the model writes its report and the waveform of its end:
///         "{}" in it is replaced by the folder; options are added to a command without "{}"
std::vector<std::string> completeCommand(const std::vector<std::string>& command,
                                         const std::string& folder, int last);

}  // namespace regress
