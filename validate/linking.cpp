#include "validate/linking.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/stringbuf.h"
#include "netdb/database.h"
#include "qkzeft_run.h"
#include "run/life.h"
#include "run/printout.h"
#include "validate/declared_name.h"

namespace {

constexpr int kMostListed = 20;

/// A heading and at most kMostListed lines below it.
class ShortList {
public:
    explicit ShortList(const char* heading) : title(heading) {}
    /// @return whether the list continues
    bool add(const char* text) {
        if (count == 0) say("%s", title);
        if (count++ == kMostListed) {
            say("\t...\n");
            return false;
        }
        say("\t%s\n", text);
        return true;
    }
    bool empty() const { return count == 0; }

private:
    const char* title;
    int count = 0;
};

bool sameName(const char* a, const char* b, bool ignoreCase) {
    return ignoreCase ? StringBuf(a).compareNoCase(b) == 0 : std::strcmp(a, b) == 0;
}

/// The bounds of a range that a declaration gave, else -1.
struct Bounds {
    explicit Bounds(const BitRange& range)
        : most(range.isRange ? range.msb : -1), least(range.isRange ? range.lsb : -1) {}
    int most, least;
};

bool isTopLevelOutput(const QkName* name) {
    return name->typeCode() == QK_type_output && name->scope->isTopLevel();
}

}  // namespace

// ---- Scopes

void ModelLinker::linkScopes(const std::vector<QkVCDScope*>& ring, QkScope* liveRing) {
    for (QkVCDScope* const vcdS : ring) {
        if (vcdS->linked) continue;  // by the user's map, with all below
        const auto find = [&](auto&& nameOf) {
            const std::string wanted(nameOf(vcdS->name));
            return ScopeRing::find(liveRing, [&](const QkScope* scope) {
                const std::string name(nameOf(scope->name.str()));
                return sameName(name.c_str(), wanted.c_str(), scope->caseInsensitive) &&
                       !vcdModel.partnerOf(scope);
            });
        };
        QkScope* liveS = find([](std::string_view name) { return name; });
        if (!liveS && !isStrict && needsEscape(vcdS->name)) liveS = find(unescaped);
        if (!liveS) continue;
        vcdModel.link(vcdS, liveS);
        linkScopes(vcdS->children, liveS->children);
    }
    if (isLoading) reportMissingScopes(liveRing);
}

void ModelLinker::reportMissingScopes(QkScope* liveRing) const {
    ShortList missing("Failed to find data for the following scopes:\n");
    ScopeRing::find(liveRing, [&](const QkScope* scope) {
        return !vcdModel.partnerOf(scope) && !missing.add(scope->fullName.str());
    });
}

/// Links the pairs that the user gave, whatever their order; then the scopes above them by
/// position, as far up as both hierarchies reach and no pair was given; then the scopes below by
/// name.
void ModelLinker::applyScopeMaps() {
    std::vector<QkVCDScope*> mapped;
    for (const MappedScope& map : options.mappedScopes) {
        QkVCDScope* const target = vcdModel.findScope(map.path);
        if (!target || target->linked || vcdModel.partnerOf(map.live)) {
            say("Unable to map '%s' to trace scope '%s'\n", map.live->fullName.str(),
                map.path.c_str());
            continue;
        }
        vcdModel.link(target, map.live);
        mapped.push_back(target);
    }
    for (size_t i = 0, given = mapped.size(); i < given; ++i) {
        QkVCDScope* vcdS = mapped[i];
        const QkScope* liveS = vcdS->linked;
        while (vcdS->parent && liveS->parent && !vcdS->parent->linked &&
               !vcdModel.partnerOf(liveS->parent)) {
            vcdModel.link(vcdS->parent, liveS->parent);
            vcdS = vcdS->parent;
            liveS = liveS->parent;
            mapped.push_back(vcdS);
        }
    }
    for (const QkVCDScope* const scope : mapped)
        linkScopes(scope->children, scope->linked->children);
}

// ---- Names

int ModelLinker::linkModel() {
    if (runningFromVCD) applyScopeMaps();
    linkScopes(vcdModel.topScopes, qkDatabase->top_scopes);
    int signals = 0, matched = 0;
    for (uint32_t number = 0; number < vcdModel.names.size(); ++number) {
        ++signals;
        QkName* const live = findPartner(number);
        QkVCDName& name = vcdModel.names[number];
        if (!live || !linkTo(&name, live)) continue;
        ++matched;
        if (!isLoading && isComparable(live->trace)) addTrace(&name, TraceUse{});
    }
    if (isLoading) return reportMissingSignals();
    reportCounts(signals, matched);
    return 1;
}

/// @return the net of the model for a name of the trace, or null
QkName* ModelLinker::findPartner(uint32_t number) {
    const QkVCDName& name = vcdModel.names[number];
    const QkScope* const liveS = name.scope->linked;
    if (!liveS) return nullptr;
    QkName* live = nullptr;
    const auto find = [&](const std::string& spelling) {
        live = qkDatabase->findLocal(liveS, spelling.c_str());
        return live != nullptr;
    };
    if (isStrict) return find(name.name) ? live : nullptr;
    eachSpelling(name.name, find);
    if (name.bitBracket != 0 && (!live || live->trace->isArray())) {
        const int bit = (*name.vcdVars.begin())->range.lsb;
        live = nullptr;
        if (!eachSpelling(DeclaredName::ofBit(name.name, bit, name.bitBracket), find))
            return nullptr;
        vcdModel.splitBits(number);
    }
    return name.hasDigits() ? live : nullptr;
}

int ModelLinker::linkTo(QkVCDName* name, QkName* live) {
    if (!fits(*name, live)) return 0;
    if (name->linked || vcdModel.partnerOf(live)) return name->linked == live;
    vcdModel.link(name, live);
    return 1;
}

/// @return whether the two have the same bounds; different widths are reported
bool ModelLinker::fits(const QkVCDName& name, const QkName* live) const {
    if (live->kind == kExtractName || live->kind == kVirtualName) return false;
    const BitRange& range = live->range();
    if (live->kind == kTermName && !range.hasSameBounds(live->trace->range)) return false;
    const bool byPosition = !isStrict && !isLoading && name.range.width == range.width;
    if (byPosition || name.range.hasSameBounds(range)) {
        QK_ASSERT_AS(!name.vcdVars.empty(), "vcdVars");
        return true;
    }
    if (name.range.width == range.width) return false;
    const Bounds inFile(name.range), inModel(range);
    say("Warning: Bit Range mismatch:\n"
        "  in the file,  width %4d, range [%d:%d]: '%s'\n"
        "  in the model, width %4d, range [%d:%d]: '%s'\n",
        name.range.width, inFile.most, inFile.least, name.fullName().c_str(), range.width,
        inModel.most, inModel.least, FullName(live).c_str());
    return false;
}

QkVCDTrace* ModelLinker::addTrace(QkVCDName* name, const TraceUse& use) {
    QK_ASSERT_AS(!use.isClock || use.isStimulus, "! isClock || isStimulus");
    QK_ASSERT_AS(name->linked, "linked");
    QkTrace* const live = name->linked->trace;
    QkVCDTrace* trace = vcdModel.traces.find(live);
    if (!trace) trace = vcdModel.traces.add(live, name->range.width);
    if (use.isStimulus) trace->makeStimulus();
    vcdModel.usesChanged();
    for (QkVCDVar* const var : name->vcdVars) {
        QkVCDId& id = *var->vcdId;
        // Nets that share a code share its values: if one of them needs them, all do.
        id.linked = true;
        id.isStimulus |= use.isStimulus;
        id.isClock |= use.isClock;
        id.isEarlyInput |= use.isEarlyInput;
        id.isStepInput |= use.isStepInput;
    }
    return trace;
}

void ModelLinker::warnOfBounds() const {
    if (isStrict) return;
    NameRing::each(qkDatabase->names, [&](const QkName* live) {
        const QkVCDName* const name = vcdModel.partnerOf(live);
        if (!name || !name->range.isRange || !name->isLinkedByPosition()) return;
        const BitRange &inFile = name->range, &inModel = live->range();
        say("Warning: bounds differ, linked from the left: '%s' [%d:%d] in the file, '%s' [%d:%d] "
            "in the model\n",
            name->fullName().c_str(), inFile.left(), inFile.right(), FullName(live).c_str(),
            inModel.left(), inModel.right());
    });
}

// ---- What the trace drives

void ModelLinker::addStimulusMap(const StimulusMap& map) {
    const FullName live(map.live);
    const char* const path = map.path.c_str();
    QkVCDName* const name = vcdModel.findName(map.path);
    if (!name) {
        say("ZEFT Validate: warning: unable to find trace of '%s' to drive '%s'\n", path,
            live.c_str());
    } else if (isStrict ? !name->range.hasSameBounds(map.live->trace->range)
                        : name->range.width != map.live->trace->range.width) {
        say("ZEFT Validate: unable to use '%s' to drive '%s' as their bit-ranges do not match\n",
            path, live.c_str());
    } else if (!fits(*name, map.live)) {
        say("ZEFT Validate: error: unable to drive '%s' from trace of '%s'\n", live.c_str(), path);
    } else {
        linkStimulus(name, map.live);
        map.live->stimulus = true;
    }
}

/// Makes a name of the trace the only source of a net's values. A net that the name drove is no
/// longer driven unless the user has given it, too; one that is compared with it stays compared.
void ModelLinker::linkStimulus(QkVCDName* name, QkName* live) {
    const auto isMappedTo = [&](const QkName* net, const QkVCDName* source) {
        return std::any_of(options.stimulusMaps.begin(), options.stimulusMaps.end(),
                           [&](const StimulusMap& map) {
                               return map.live == net && vcdModel.findName(map.path) == source;
                           });
    };
    if (name->linked == live) return;
    // Values that the trace has for the net's other names would be written to the same storage.
    TraceNames::each(live->trace->names, [&](const QkName* alias) {
        const QkVCDName* const partner = vcdModel.partnerOf(alias);
        if (partner && !isMappedTo(alias, partner)) vcdModel.unlink(alias);
    });
    const QkName* const before = name->linked;
    if (before && (!isStimulus(before) || isMappedTo(before, name))) {
        name = vcdModel.duplicate(*name);
    } else if (before) {
        vcdModel.unlink(before);
        const bool isUnlinked = !TraceNames::find(before->trace->names, [&](const QkName* n) {
            return vcdModel.partnerOf(n) != nullptr;
        });
        if (isUnlinked) vcdModel.traces.remove(before->trace);
    }
    vcdModel.link(name, live);
}

int ModelLinker::findStimuli() {
    int stimuli = 0;
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        QkVCDName* const partner = vcdModel.partnerOf(name);
        QkTrace* const trace = name->trace;
        if (isStimulus(name)) {
            if (!partner) {
                say("Warning: Top-level c-model input not traced in VCD file: %s\n",
                    FullName(name).c_str());
                return;
            }
            const auto has = [&](uint32_t flag) { return (trace->flags & flag) != 0; };
            addTrace(partner, TraceUse{true, has(QK_flag_clock), has(QK_flag_early_input),
                                       has(QK_flag_step_input)});
            ++stimuli;
        } else if (partner && isTopLevelOutput(name)) {
            trace->forceCompare = true;
            addTrace(partner, TraceUse{});
        }
    });
    const bool listed = options.verbose != 0 && stimuli != 0;
    Printout out;
    out.print("%5d stimulus signals found%c\n", stimuli, listed ? ':' : ' ');
    if (!listed) return stimuli > 0;
    const auto& all = vcdModel.traces.all;
    for (auto trace = all.rbegin(); trace != all.rend(); ++trace)
        if ((*trace)->isStimulus) out.print("    %s\n", (*trace)->name.c_str());
    return stimuli > 0;
}

// ---- Reports

int ModelLinker::reportMissingSignals() const {
    ShortList missing("Failed to find data for the following signals:\n");
    // Names that read a slice have no data of their own.
    const auto wantsData = [&](const QkName* name) {
        if (name->kind == kExtractName || name->kind == kVirtualName) return false;
        if (name->kind == kTermName && !name->range().hasSameBounds(name->trace->range))
            return false;
        return !name->trace->isArray() && !(name->trace->flags & QK_flag_never_write);
    };
    NameRing::find(qkDatabase->names, [&](const QkName* name) {
        return wantsData(name) && !vcdModel.partnerOf(name) && !missing.add(FullName(name).c_str());
    });
    return missing.empty();
}

void ModelLinker::reportCounts(int signals, int matched) const {
    int comparable = 0, inTrace = 0;
    const auto canBeCompared = [](const QkTrace* trace) {
        return trace->header == trace && isComparable(trace);
    };
    TraceRing::each(qkDatabase->traces, [&](const QkTrace* trace) {
        if (!canBeCompared(trace)) return;
        ++comparable;
        inTrace += vcdModel.traces.find(trace) != nullptr;
    });
    Printout out;
    if (inTrace == 0) {
        out.print(
            "\nZEFT Validate Warning: %d variables can be compared but none were traced in the "
            "VCD\n",
            comparable);
        if (options.verbose != 0 && comparable != 0) {
            out.add("\tVariables that could be compared:\n");
            TraceRing::each(qkDatabase->traces, [&](const QkTrace* trace) {
                if (!canBeCompared(trace) || !trace->names) return;
                out.print("\t    %s\n", FullName(trace->names).c_str());
                out.endLine();
            });
            out.add("\tTop-level scopes in the trace:\n");
            for (const QkVCDScope* scope : vcdModel.topScopes)
                if (scope->nameCount > 0) out.print("\t    %s\n", scope->fullName().c_str());
        }
    }
    out.print(
        "\nThe Trace file contains %d signals:\n    %d match variables in the model\n"
        "    %d not matched to any variable in the model\n"
        "    %d variables can be compared, %d in trace\n",
        signals, matched, signals - matched, comparable, inTrace);
}
