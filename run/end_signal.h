// Signals that end the run.
//
// The handler only notes the signal. The run ends at the next place where that leaves whole files:
// in qk_takenote(), at a prompt, between the lines of a script or of a reference trace.
#pragma once

#include <csignal>

/// The first of these signals, taken or not; 0 while there was none. Written by the handler.
extern volatile std::sig_atomic_t notedEndSignal;

/// @return the signal that asks for the end of the run, 0 when there is none or takeEndSignal() has
///         taken it
int pendingEndSignal();

/// Asks for the end of the run as `signal` would.
void requestEnd(int signal);

/// Takes the pending signal, for a caller that ends the run now: from here on it may take its time.
/// @return 0 when there is none
int takeEndSignal();
