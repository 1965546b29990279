// Start and end of a run, for folders below the one that holds its parts together.
//
// That folder registers the functions to be called, before the first static object of a model is
// constructed: a model may register its nets while its own static objects are constructed.
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

/// @return whether the live model exists, which it does from startRun() to the exit routine
bool modelExists();
/// Called by the code that builds and destroys the model.
void setModelExists(bool exists);

/// Makes all parts of the live model that store times count them in ticks `factor` times finer.
/// Called before the clock and the precision change.
void rescaleModel(uint64_t factor);

/// A reference trace drives the run: it advances the clock and makes the captures. Written by the
/// comparison.
extern bool runningFromVCD;
