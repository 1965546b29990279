// What the run time asks of Verilator's, for TOP_qk.cpp to include: it is compiled with each model,
// against the Verilator of that machine. The rest of the run time is in libzeft_verilator.a, which
// knows nothing of Verilator but the names of two classes.
#ifndef QKVL_BRIDGE_H
#define QKVL_BRIDGE_H

#include <string>

#include "qkvl.h"
#include "verilated.h"
#include "verilated_syms.h"

VerilatedContext& qkvlMakeContext(int argc, char** argv) {
    auto* const context = new VerilatedContext;
    context->commandArgs(argc, argv);
    return *context;
}

int qkvlTimeUnitExponent(const VerilatedContext& context) { return context.timeunit(); }

int qkvlTickExponent(const VerilatedContext& context) { return context.timeprecision(); }

uint64_t qkvlTime(const VerilatedContext& context) { return context.time(); }

bool qkvlIsFinished(const VerilatedContext& context) { return context.gotFinish(); }

void qkvlFinish(VerilatedContext& context) { context.gotFinish(true); }

void qkvlSetAssertions(VerilatedContext& context, bool on) { context.assertOn(on); }

QkvlVariable qkvlFindVariable(const VerilatedModel& model, const VerilatedContext& context,
                              const char* scope, const char* name) {
    const std::string path = std::string(model.hierName()) + '.' + scope;
    const VerilatedScope* const found = context.scopeFind(path.c_str());
    const VerilatedVar* const variable = found ? found->varFind(name) : nullptr;
    if (!variable) return {};
    return {static_cast<unsigned char*>(variable->datap()), variable->entSize(),
            variable->totalSize()};
}

#endif
