// What console commands need to know about a comparison with a reference trace.
//
// The comparison is in a folder above, which registers these functions before the first command.
#pragma once

class Printout;
struct QkName;

struct ComparisonAnswers {
    /// Whether the net is being compared.
    bool (*isMatched)(const QkName* name);
    /// Whether model and trace differ in the net, or one of them has changed first.
    bool (*isOutOfStep)(const QkName* name);
    /// Prints how model and trace differ in a net that is out of step, in lines of their own.
    void (*printDifference)(Printout& out, const QkName* name, int indent);
    /// How often the trace has changed the net; -1 for one that it does not know.
    int (*changesOf)(const QkName* name);
    /// Prints the nets of either side that have no partner on the other. A trace is open.
    void (*listUnmatched)(const char* pattern);
    bool (*isTraceOpen)();
    /// How much the comparison prints: the level of the command `verbose`.
    int (*verbosity)();
    /// Called when the set of traced names has changed.
    void (*noteTraced)();
};

void registerComparison(const ComparisonAnswers& answers);

/// Those that have been registered.
const ComparisonAnswers& comparison();
