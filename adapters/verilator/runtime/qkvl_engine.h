// Evaluating the model: at the library's request, in a free run, and after its state was given from
// outside.
#ifndef QKVL_ENGINE_H
#define QKVL_ENGINE_H

#include <cstdint>
#include <string>
#include <vector>

#include "qkvl.h"

class kelvo_module;

/// Thrown out of an evaluation during the probe, when the design would end the run.
struct QkvlComplaint {};

/// Until the end of the probe the design's tasks print nothing and end nothing.
void qkvlBeginProbe();
void qkvlEndProbe();

/// What a main() knows and the engine goes by.
struct QkvlSettings {
    bool isInteractive = false;  ///< $stop opens the console
    bool allNets = false;        ///< the comparison looks at every net
};
extern QkvlSettings qkvlSettings;

/// A clock of the free run: an input that toggles by itself.
struct QkvlToggle {
    unsigned char* storage = nullptr;
    uint64_t period = 0, first = 0;  ///< ticks; first: of the first rise
    uint64_t next = 0;               ///< time of its next change
    bool isRise = false;             ///< what that is

    uint64_t highTicks() const { return period / 2; }
    bool levelAt(uint64_t time) const {
        return time >= first && (time - first) % period < highTicks();
    }
    /// @return the first time after `time` at which it changes; UINT64_MAX beyond the end of time
    uint64_t nextAfter(uint64_t time) const;
    /// Makes the next change that after `time`: all follows from the time, whatever was before.
    void goTo(uint64_t time);
    /// Makes the change that is due.
    void toggle();
};

/// Runs the model by its clocks until `stop`, or until its design finishes. Between their changes
/// it visits the times that the console waits for.
/// @param findToggles  gives the clocks, in ticks of now; called again when the time has moved
void qkvlRunFreely(uint64_t stop, std::vector<QkvlToggle> (*findToggles)());

/// Registers the design's tables with the library. Part of qkvl_attach().
/// @return the module, which lives until the process ends
kelvo_module& qkvlRegister(const struct QkvlPlaces& places);

/// Evaluates at the time of the library: what qk_step_fn becomes.
void qkvlEvaluate();
/// What qk_settle_fn becomes: the state was given from outside, and no edge is one.
void qkvlSettleState();
/// @return ticks of the library in one of the model's time units
uint64_t qkvlTimeUnit();
/// @return storage of an input of one bit, null when there is none of that name
unsigned char* qkvlInput(const std::string& name);

#endif
