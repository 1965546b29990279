// Whether the run is idle: nothing is traced, watched or counted, the database is complete, and no
// reference trace drives the run.
//
// Every model calls qk_takenote() at every step, and in an idle run that has nothing to do but to
// look at the time and at signals. It asks all parts once whether they are idle, and takes their
// word until one of them gets something to do.
#pragma once

/// Set by qk_takenote() only.
extern bool runIsIdle;

/// Called by whoever gets something to do at qk_takenote().
inline void endIdleness() { runIsIdle = false; }
