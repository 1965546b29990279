// Evaluating the model: at the library's request, in a free run, and after its state was loaded.
#ifndef QKVL_ENGINE_H
#define QKVL_ENGINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "qkvl.h"

class kelvo_module;

/// Thrown from an evaluation during the probe, when the design would end the run.
struct QkvlComplaint {};

/// Until the end of the probe the design's tasks print nothing and end nothing.
void qkvlBeginProbe();
void qkvlEndProbe();

/// The main program of a model.
int qkvlMain(int argc, char** argv);

/// Settings that main() makes for the engine.
struct QkvlSettings {
    bool isInteractive = false;  ///< $stop opens the console
    bool allNets = false;        ///< comparisons compare every net
};
extern QkvlSettings qkvlSettings;

/// A clock of the free run: an input that toggles by itself.
struct QkvlToggle {
    unsigned char* storage = nullptr;
    uint64_t period = 0, first = 0;  ///< ticks; first: of the first rise
    uint64_t next = 0;               ///< time of its next change
    bool isRise = false;             ///< whether that change is a rise

    uint64_t highTicks() const { return period / 2; }
    bool levelAt(uint64_t time) const {
        return time >= first && (time - first) % period < highTicks();
    }
    /// @return the first time after `time` at which it changes; UINT64_MAX beyond the end of time
    uint64_t nextAfter(uint64_t time) const;
    /// Makes the next change the first one after `time`: it depends only on the time.
    void goTo(uint64_t time);
    /// Carries out the next change.
    void toggle();
    /// Undoes the change at that time, if there was one.
    void takeBack(uint64_t time) {
        if (levelAt(time) != levelAt(time - 1)) *storage = levelAt(time - 1);
    }
};

/// Runs the model by its clocks until `stop`, or until its design finishes. Between their changes
/// it visits the times that the console waits for.
/// @param findToggles  gives the clocks, in ticks of now; called again when the time has moved
void qkvlRunFreely(uint64_t stop, std::vector<QkvlToggle> (*findToggles)());

/// Registers the design's tables with the library. Part of qkvl_attach().
/// @return the module, which lives until the process ends
kelvo_module& qkvlRegister(const struct QkvlPlaces& places);

/// Evaluates at the time of the library; becomes qk_step_fn.
void qkvlEvaluate();
/// Evaluates after the state was loaded, without clock edges; becomes qk_settle_fn.
void qkvlSettleState();
/// @return ticks of the library in one of the model's time units
uint64_t qkvlTimeUnit();
/// @return storage of the one-bit input of that name, null when there is none
unsigned char* qkvlInput(const std::string& name);

#endif
