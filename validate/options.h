// What a user sets for comparisons. It is kept from trace to trace.
#pragma once

#include <cstdint>
#include <list>
#include <string>

class QkScope;
struct QkName;

/// A scope of the model that the trace has elsewhere.
struct MappedScope {
    QkScope* live;
    std::string path;  ///< in the trace
};

/// A net of the model that the user wants the trace to drive.
struct StimulusMap {
    QkName* live;
    std::string path;  ///< full name in the trace
};

struct ComparisonOptions {
    int threshold = 10;            ///< differences at which the run stops, -1 for no limit
    int verbose = 0;               ///< level
    bool detailsInBinary = false;  ///< requested by the command `verbose`
    bool verbosestep = false;
    uint64_t synctime = 0;  ///< ticks that model and trace may be apart; 0: until the end
    bool steponclock = true;
    bool steponclockRequested = false;  ///< requested by the user
    bool clockFirst = false;  ///< within a time step clocks come first; overrides steponclock
    bool timeExecution = false;
    std::list<MappedScope> mappedScopes;  ///< newest first
    std::list<StimulusMap> stimulusMaps;

    /// @return whether values from the trace are reported even where they differ in nothing
    bool areCommitsSaid() const { return verbose > 1 || verbosestep; }
    /// @return whether each step of the model is reported
    bool areStepsSaid() const { return verbosestep || verbose > 3; }
    bool stepsInOrder() const { return steponclock && !clockFirst; }
};
