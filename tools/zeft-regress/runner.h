// Running one comparison.
#pragma once

#include <string>

#include "result.h"

namespace regress {

/// Runs what the folder was prepared for, and writes its result. A signal that ends this program
/// ends the model first.
/// @param timeout  seconds; 0: the model may take any time
/// @return false when it was ended by a signal
bool runEntry(const Folder& folder, int timeout);

/// @return the command with what a model needs to write its report, and the waveform of its end:
///         "{}" in it stands for the folder; a command without that gets options
std::vector<std::string> completeCommand(const std::vector<std::string>& command,
                                         const std::string& folder, int last);

}  // namespace regress
