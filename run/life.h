// Start and end of a run, for folders below the one that holds its parts together.
//
// That folder registers what is to be done, before the first static object of a model is
// constructed: a model may register its nets while its own static objects are.
#pragma once

#include <cstdint>

struct RunLife {
    void (*start)();                       ///< see kelvo_start()
    void (*finish)();                      ///< see kelvo_finish()
    void (*refineTicks)(uint64_t factor);  ///< see rescaleModel()
};

void registerLife(const RunLife& registered);

/// Builds the live model if there is none, as kelvo_start() does.
void startRun();
/// Ends the run as kelvo_finish() does.
void finishRun();

/// @return whether the live model has been built; it is, from startRun() to the exit routine
bool modelExists();
/// Written by whoever builds the model and takes it down.
void setModelExists(bool exists);

/// Has all parts of the live model that remember times count them in ticks `factor` times finer.
/// Called before the clock and the precision change.
void rescaleModel(uint64_t factor);

/// A reference trace drives the run: it moves the clock and makes the captures. Written by the
/// comparison.
extern bool runningFromVCD;
