#include "validate/results.h"

#include <algorithm>
#include <unordered_set>

#include "netdb/database.h"
#include "qkzeft_run.h"
#include "qkzeft_validate.h"
#include "run/life.h"
#include "run/time.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"

namespace {

/// @return the top-level outputs that are not excluded from comparisons, whether or not a trace has
///         them
std::unordered_set<const QkTrace*> outputTraces() {
    std::unordered_set<const QkTrace*> outputs;
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        if (name->typeCode() != QK_type_output || !name->scope->isTopLevel()) return;
        const QkTrace* const trace = name->trace->header;
        if (!trace->isArray() && !trace->ignored) outputs.insert(trace);
    });
    return outputs;
}

}  // namespace

void ComparisonResults::start() {
    stats = {};
    record = {};
    isTraceKnown = false;
    proposals.clear();
}

void ComparisonResults::countLinks(const QkVCDModel& vcdModel, const ComparisonOptions& options) {
    isTraceKnown = true;
    longestSync = 0;
    stats.signals = static_cast<int>(vcdModel.names.size());
    stats.linked = stats.comparable = stats.compared = stats.driven = 0;
    for (const QkVCDName& name : vcdModel.names) stats.linked += name.linked != nullptr;
    const std::unordered_set<const QkTrace*> outputs = outputTraces();
    std::vector<const QkTrace*> missing;
    TraceRing::each(qkDatabase->traces, [&](const QkTrace* trace) {
        if (trace->header != trace) return;
        const QkVCDTrace* const partner = vcdModel.traces.find(trace);
        const bool isDriven = partner && partner->isStimulus;
        const bool canBeCompared = (isComparable(trace) || outputs.contains(trace)) && !isDriven;
        const bool isCompared = canBeCompared && partner && partner->isComparable();
        stats.driven += isDriven;
        stats.comparable += canBeCompared;
        stats.compared += isCompared;
        if (canBeCompared && !isCompared) missing.push_back(trace);
    });
    findMissingNets(vcdModel, missing);
    findUnlinkedPairs(vcdModel, options);
    longestSync = 0;
}

/// Hidden nets are left out: users do not know them.
void ComparisonResults::findMissingNets(const QkVCDModel& vcdModel,
                                        const std::vector<const QkTrace*>& notComparedTraces) {
    notCompared.clear();
    notDriven.clear();
    const auto isVisible = [](const QkName* name) { return !name->isHidden(); };
    for (const QkTrace* const trace : notComparedTraces)
        if (const QkName* const name = TraceNames::find(trace->names, isVisible))
            notCompared.emplace_back(FullName(name).c_str());
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        if (!isStimulus(name) || name->isHidden() || name->trace->ignored) return;
        const QkVCDTrace* const partner = vcdModel.traces.find(name->trace->header);
        if (!partner || !partner->isStimulus) notDriven.emplace_back(FullName(name).c_str());
    });
}

void ComparisonResults::findUnlinkedPairs(const QkVCDModel& vcdModel,
                                          const ComparisonOptions& options) {
    unlinkedScopes.clear();
    unlinkedNets.clear();
    for (auto map = options.mappedScopes.rbegin(); map != options.mappedScopes.rend(); ++map) {
        const QkVCDScope* const partner = vcdModel.partnerOf(map->live);
        if (!partner || partner != vcdModel.findScope(map->path))
            unlinkedScopes.push_back({map->live->fullName.str(), map->path});
    }
    for (auto map = options.stimulusMaps.rbegin(); map != options.stimulusMaps.rend(); ++map)
        if (!map->live->stimulus) unlinkedNets.push_back({FullName(map->live).c_str(), map->path});
}

void ComparisonResults::countChanges(const QkVCDModel& vcdModel) {
    stats.unchanged = 0;
    for (const auto& trace : vcdModel.traces.all) {
        longestSync = std::max({longestSync, trace->maxSyncToVCD, trace->maxSyncToLive});
        if (trace->liveTrace && !trace->isStimulus)
            stats.unchanged += trace->isMatched() && !trace->traceChanged;
    }
}

// ---- Ports in another place

namespace {

/// How well a scope of the trace matches one of the model.
struct Fit {
    const QkVCDScope* scope;
    int inputs = 0, ports = 0, names = 0;
};

std::vector<Fit> fitsOf(const QkVCDModel& vcdModel, const QkScope* liveScope) {
    std::unordered_map<const QkVCDScope*, Fit> byScope;
    for (const QkVCDName& name : vcdModel.names) {
        if (!name.scope || name.scope->linked) continue;
        const QkName* const live = qkDatabase->findLocal(liveScope, name.name.c_str());
        if (!live || live->range().width != name.range.width) continue;
        Fit& fit = byScope.try_emplace(name.scope, Fit{name.scope}).first->second;
        ++fit.names;
        const bool isInput = isStimulus(live);
        fit.inputs += isInput;
        fit.ports += isInput || live->typeCode() == QK_type_output;
    }
    std::vector<Fit> fits;
    for (const auto& [scope, fit] : byScope)
        if (fit.inputs > 0) fits.push_back(fit);
    // A bench also declares nets with the names of ports: the scope with more of the internal nets
    // is better, and of two with the same number the deeper one.
    std::sort(fits.begin(), fits.end(), [](const Fit& a, const Fit& b) {
        if (a.ports != b.ports) return a.ports > b.ports;
        if (a.names != b.names) return a.names > b.names;
        const std::string left = a.scope->fullName(), right = b.scope->fullName();
        const auto depth = [](const std::string& s) { return std::count(s.begin(), s.end(), '.'); };
        if (depth(left) != depth(right)) return depth(left) > depth(right);
        return left < right;
    });
    return fits;
}

/// @return the scopes whose inputs the trace could drive, and of which it drives none
std::vector<const QkScope*> undrivenScopes(const QkVCDModel& vcdModel) {
    std::vector<const QkScope*> undriven, driven;
    const auto contains = [](const auto& scopes, const QkScope* scope) {
        return std::find(scopes.begin(), scopes.end(), scope) != scopes.end();
    };
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        if (!isStimulus(name)) return;
        auto& scopes = vcdModel.partnerOf(name) ? driven : undriven;
        if (!contains(scopes, name->scope)) scopes.push_back(name->scope);
    });
    std::erase_if(undriven, [&](const QkScope* scope) { return contains(driven, scope); });
    return undriven;
}

}  // namespace

void ComparisonResults::findProposals(const QkVCDModel& vcdModel) {
    for (const QkScope* const scope : undrivenScopes(vcdModel)) {
        const std::vector<Fit> fits = fitsOf(vcdModel, scope);
        for (const Fit& fit : fits) {
            if (fit.ports < fits.front().ports) break;
            proposals.push_back({scope->fullName.str(), fit.scope->fullName()});
        }
    }
}

// ---- The exported functions

int qk_mtc_statistics(qk_mtc_stats* stats) {
    *stats = {};
    if (!modelExists()) return 0;
    *stats = qkReader->currentStats();
    return qkReader->results.isTraceKnown;
}

uint64_t qk_mtc_longest_sync() { return modelExists() ? qkReader->results.longestSync : 0; }

int qk_mtc_proposal(int index, const char** model_scope, const char** trace_scope) {
    if (!modelExists() || index < 0) return 0;
    const auto& proposals = qkReader->results.proposals;
    if (static_cast<size_t>(index) >= proposals.size()) return 0;
    const ComparisonResults::Pair& proposal = proposals[static_cast<size_t>(index)];
    *model_scope = proposal.model.c_str();
    *trace_scope = proposal.trace.c_str();
    return 1;
}

int qk_mtc_unlinked(int index, const char** model, const char** trace) {
    if (!modelExists() || index < 0) return 0;
    const auto& scopes = qkReader->results.unlinkedScopes;
    const auto& nets = qkReader->results.unlinkedNets;
    auto at = static_cast<size_t>(index);
    const bool isScope = at < scopes.size();
    if (!isScope) at -= scopes.size();
    if (!isScope && at >= nets.size()) return 0;
    const ComparisonResults::Pair& pair = isScope ? scopes[at] : nets[at];
    *model = pair.model.c_str();
    *trace = pair.trace.c_str();
    return isScope ? 1 : 2;
}

namespace {

const char* textAt(const std::vector<std::string>& texts, int index) {
    const bool isInside = index >= 0 && static_cast<size_t>(index) < texts.size();
    return isInside ? texts[static_cast<size_t>(index)].c_str() : nullptr;
}

}  // namespace

const char* qk_mtc_not_compared(int index) {
    return modelExists() ? textAt(qkReader->results.notCompared, index) : nullptr;
}

const char* qk_mtc_not_driven(int index) {
    return modelExists() ? textAt(qkReader->results.notDriven, index) : nullptr;
}
