// What a comparison has come to: numbers, lists of what took no part, and the record for its
// report.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qkzeft_validate.h"
#include "validate/options.h"
#include "validate/record.h"

struct QkVCDModel;
struct QkTrace;

struct ComparisonResults {
    struct Pair {
        std::string model, trace;
    };
    /// Scopes of the trace that have the ports of a top-level scope of the model; best first.
    std::vector<Pair> proposals;
    std::vector<Pair> unlinkedScopes, unlinkedNets;   ///< pairs that the user gave
    std::vector<std::string> notCompared, notDriven;  ///< nets of the model
    uint64_t longestSync = 0;                         ///< ticks
    ComparisonRecord record;                          ///< whole once the trace has closed
    qk_mtc_stats stats{};
    bool isTraceKnown = false;  ///< a trace has been linked

    /// Forgets the numbers of the trace before.
    void start();
    /// Counts and lists what has been linked.
    void countLinks(const QkVCDModel& vcdModel, const ComparisonOptions& options);
    void findProposals(const QkVCDModel& vcdModel);
    /// Counts what changed and how long nets waited, up to here.
    void countChanges(const QkVCDModel& vcdModel);

private:
    void findMissingNets(const QkVCDModel& vcdModel,
                         const std::vector<const QkTrace*>& notComparedTraces);
    void findUnlinkedPairs(const QkVCDModel& vcdModel, const ComparisonOptions& options);
};
