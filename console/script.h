// Script files, whose commands run one line at a time between steps of the model.
//
// Open scripts form a stack; the top one runs. A script stays on the stack while the model runs, so
// that it continues when the console opens again.
#pragma once

/// The file of `savet` and `loadt` when none is named.
inline constexpr const char* kSavedCommandsFile = ".qk_savet";

/// Ends all open scripts, with a message for each.
void abandonScripts();

/// Runs the open scripts until a line moves the stop time or requests to resume, or none is left.
/// @return whether a script was open
bool runPendingScripts();
