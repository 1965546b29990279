// Signals that end the run.
//
// The handler only notes the signal. The run ends at the next place where files can be completed:
// in qk_takenote(), at a prompt, between the lines of a script or of a reference trace.
#pragma once

#include <csignal>

/// The first of these signals, taken or not; 0 while there was none. Written by the handler.
extern volatile std::sig_atomic_t notedEndSignal;

/// @return the signal that requests the end of the run, 0 when there is none or takeEndSignal() has
///         returned it
int pendingEndSignal();

/// Requests the end of the run as `signal` would.
void requestEnd(int signal);

/// Clears and returns the pending signal, for a caller that ends the run now: from here on there is
/// no time limit.
/// @return 0 when there is none
int takeEndSignal();
