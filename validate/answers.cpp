// What console commands need to know about a comparison.
#include <string>

#include "console/comparison.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "validate/commands.h"
#include "validate/file_reader.h"
#include "validate/reasons.h"

namespace {

bool isMatched(const QkName* name) {
    const QkVCDTrace* const compared = qkReader->traceOf(name);
    return compared && compared->isMatched();
}

bool isOutOfStep(const QkName* name) {
    const QkVCDTrace* const compared = qkReader->traceOf(name);
    return compared && compared->isComparable() && compared->state != ValuesMatch;
}

void printDifference(Printout& out, const QkName* name, int indent) {
    const QkVCDTrace* const compared = qkReader->traceOf(name);
    QK_ASSERT_AS(name->trace->nel == 0, "t->nel == 0");
    QK_ASSERT_AS(compared, "v");
    out.print("\n%*s%s", indent, "Model : ", compared->storageText().c_str());
    out.print("\n%*s%s", indent, "Trace : ", compared->vcdBits.text().c_str());
    out.print("\n%*s%s Since:%s", indent, "State : ", compareStateName(compared->state),
              qk_time_as_string(compared->lastStateChange));
}

int changesOf(const QkName* name) {
    const QkVCDTrace* const known = qkReader->traceOf(name);
    return known ? known->nChanges : -1;
}

void listUnmatched(const char* pattern) {
    const QkVCDModel* const vcdModel = qkReader->vcdModel.get();
    Printout out;
    bool any = false;
    const auto add = [&](const char* fullName, const std::string& reason) {
        out.print("\t%s%s%s\n", fullName, reason.empty() ? "" : ": ", reason.c_str());
        out.endLine();
        any = true;
    };
    out.add("Model Signals Not in Trace:\n");
    for (const QkName* name : qkDatabase->matching(pattern))
        if (!name->isHidden() && !vcdModel->partnerOf(name))
            add(FullName(name).c_str(), qk_strict ? "" : whyNotLinked(*vcdModel, name));
    if (!any) out.add("\t(none)\n");
    any = false;
    out.add("Trace Signals Not in Model:\n");
    for (const QkVCDName& name : vcdModel->names) {
        if (name.linked) continue;
        const std::string fullName = name.fullName();
        if (matchesPattern(fullName.c_str(), pattern, false))
            add(fullName.c_str(), qk_strict ? "" : whyNotLinked(name));
    }
    if (!any) out.add("\t(none)\n");
}

}  // namespace

void registerAnswers() {
    registerComparison({
        .isMatched = isMatched,
        .isOutOfStep = isOutOfStep,
        .printDifference = printDifference,
        .changesOf = changesOf,
        .listUnmatched = listUnmatched,
        .isTraceOpen = [] { return qkReader->fileIsOpen(); },
        .verbosity = [] { return qkReader->verbose; },
        .noteTraced = [] { qkReader->vcdModel->traces.updateMonitoring(); },
    });
}
