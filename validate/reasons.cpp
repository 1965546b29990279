#include "validate/reasons.h"

#include "netdb/database.h"
#include "qkzeft_registration.h"
#include "run/printout.h"
#include "validate/vcd_model.h"

namespace {

std::string pairOf(const char* what, const std::string& model, const std::string& trace) {
    return std::string(what) + " " + model + " and " + trace;
}

std::string boundsText(const BitRange& range) {
    return range.isRange
               ? "[" + std::to_string(range.left()) + ":" + std::to_string(range.right()) + "]"
               : "none";
}

/// @return why two nets at the same place are not a pair
std::string whyDifferent(const QkName* live, const QkVCDName& name) {
    if (live->trace->isArray()) return "an array in the model";
    if (live->kind == kExtractName) return "a slice in the model";
    const BitRange &model = live->range(), &trace = name.range;
    if (model.width != trace.width)
        return pairOf("widths", std::to_string(model.width), std::to_string(trace.width));
    if (!model.hasSameBounds(trace)) return pairOf("bounds", boundsText(model), boundsText(trace));
    if (live->kind == kTermName) return "a part of another net in the model";
    if (name.linked) return "it drives " + std::string(FullName(name.linked).c_str());
    return "another net drives it";
}

constexpr const char* kNoSuchScope = "no such scope";
constexpr const char* kNoSuchName = "no such name";

}  // namespace

std::string whyNotLinked(const QkVCDModel& vcdModel, const QkName* live) {
    if (live->kind == kVirtualName) return "a virtual variable";
    const QkVCDScope* const scope = vcdModel.partnerOf(live->scope);
    if (!scope) return kNoSuchScope;
    const QkVCDName* const name = vcdModel.findName(scope, live->name);
    return name ? whyDifferent(live, *name) : kNoSuchName;
}

std::string whyNotLinked(const QkVCDName& name) {
    if (!name.scope->linked) return kNoSuchScope;
    const QkName* const live = qkDatabase->findLocal(name.scope->linked, name.name.c_str());
    return live ? whyDifferent(live, name) : kNoSuchName;
}

// ---- The end of a summary

namespace {

/// One line with a count, what is counted, and the first few names.
class NamedCount {
public:
    NamedCount(const char* counted, const char* remark) : noun(counted), what(remark) {}
    void add(const std::string& name) {
        constexpr int most = 10;
        if (count++ < most) names += (count == 1 ? "" : ", ") + name;
        if (count == most + 1) names += " ...";
    }
    void print(Printout& out) const {
        if (count == 0) return;
        out.print("  %d %s%s %s: ", count, noun, count == 1 ? "" : "s", what);
        out.add(names.c_str());
        out.add('\n');
    }

private:
    const char* noun;
    const char* what;
    int count = 0;
    std::string names;
};

bool hasOtherBounds(const BitRange& model, const BitRange& trace) {
    return model.width > 1 && trace.isRange &&
           (!model.hasSameBounds(trace) || model.reversed != trace.reversed);
}

bool isAlwaysUnknown(const QkVCDTrace& trace) {
    return trace.vcdBits.text().find_first_of("01") == std::string::npos;
}

}  // namespace

void summariseDoubts(const QkVCDModel& vcdModel, Printout& out) {
    NamedCount constant("net", "compared in name only (no change in the trace)");
    NamedCount unknown("net", "compared in name only (always x in the trace)");
    NamedCount missing("input", "without a net in the trace");
    NamedCount turned("input", "with other bounds in the trace");
    for (const auto& trace : vcdModel.traces.all)
        if (trace->isMatched() && !trace->traceChanged)
            (isAlwaysUnknown(*trace) ? unknown : constant).add(trace->name);
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        if (!isStimulus(name) || name->isHidden()) return;
        const QkVCDName* const partner = vcdModel.partnerOf(name);
        if (!partner)
            missing.add(FullName(name).c_str());
        else if (hasOtherBounds(name->range(), partner->range))
            turned.add(FullName(name).c_str() + boundsText(name->range()) + " from " +
                       boundsText(partner->range));
    });
    for (const NamedCount* line : {&constant, &unknown, &missing, &turned}) line->print(out);
}
