// Pairs the declarations of a trace with the model: scopes by name, names within paired scopes by
// name and bit range; then determines which nets are compared, and which the trace drives.
#pragma once

#include <cstdint>
#include <vector>

#include "validate/options.h"
#include "validate/vcd_model.h"

class ModelLinker {
public:
    /// @param strict   names and ranges must be the same to the letter
    /// @param loading  to take over saved state: nothing is compared
    ModelLinker(QkVCDModel& model, const ComparisonOptions& theOptions, bool strict, bool loading)
        : vcdModel(model), options(theOptions), isStrict(strict), isLoading(loading) {}

    /// Pairs the scopes and names of trace and model, and decides what is compared.
    /// @return 1, or 0 when saved state lacks a signal
    int linkModel();
    void addStimulusMap(const StimulusMap& map);
    /// Reports the nets whose bits have other numbers in the trace, if it gives them numbers.
    void warnOfBounds() const;
    /// Decides what the trace drives. @return 1, or 0 when that is nothing
    int findStimuli();

private:
    /// How a linked net is used, apart from being compared if possible.
    struct TraceUse {
        bool isStimulus = false, isClock = false, isEarlyInput = false, isStepInput = false;
    };

    QkName* findPartner(uint32_t number);
    void applyScopeMaps();
    void linkScopes(const std::vector<QkVCDScope*>& ring, QkScope* liveRing);
    void reportMissingScopes(QkScope* liveRing) const;
    int reportMissingSignals() const;
    void reportCounts(int signals, int matched) const;
    int linkTo(QkVCDName* name, QkName* live);
    bool fits(const QkVCDName& name, const QkName* live) const;
    void linkStimulus(QkVCDName* name, QkName* live);
    QkVCDTrace* addTrace(QkVCDName* name, const TraceUse& use);

    QkVCDModel& vcdModel;
    const ComparisonOptions& options;
    const bool isStrict;
    const bool isLoading;
};
