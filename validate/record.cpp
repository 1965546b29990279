#include "validate/record.h"

#include <algorithm>

#include "netdb/database.h"
#include "validate/reasons.h"
#include "validate/vcd_model.h"

namespace {

/// Lists scopes and nets without a partner. The names of a scope without one are consecutive, and
/// make one entry.
class UnlinkedList {
public:
    explicit UnlinkedList(std::vector<ComparisonRecord::Unlinked>& theEntries)
        : entries(theEntries) {
        entries.clear();
    }
    void addNet(const std::string& path, const std::string& reason) {
        entries.push_back({path, reason, 0});
    }
    /// @param scope  identifies it
    template <class PathOf>
    void addNetOfScope(const void* scope, const char* reason, PathOf&& pathOf) {
        const auto [place, isNew] = placeOf.try_emplace(scope, entries.size());
        if (isNew) entries.push_back({pathOf(), reason, 0});
        ++entries[place->second].nets;
    }

private:
    std::vector<ComparisonRecord::Unlinked>& entries;
    std::unordered_map<const void*, size_t> placeOf;
};

constexpr const char* kNoSuchScope = "no such scope";

}  // namespace

void ComparisonRecord::gather(const QkVCDModel& vcdModel, const std::string& path) {
    trace = path;
    drivenChanges = comparedChanges = 0;
    waits.clear();
    unchanged.clear();
    for (const auto& net : vcdModel.traces.all) {
        (net->isStimulus ? drivenChanges : comparedChanges) += static_cast<uint64_t>(net->nChanges);
        if (net->isStimulus) continue;
        const uint64_t longest = std::max(net->maxSyncToVCD, net->maxSyncToLive);
        if (longest != 0) waits.push_back({net->name, longest});
        if (net->isMatched() && !net->traceChanged) unchanged.push_back(net->name);
    }
    std::sort(waits.begin(), waits.end(),
              [](const Wait& a, const Wait& b) { return a.net < b.net; });
    std::sort(unchanged.begin(), unchanged.end());

    UnlinkedList ofModel(modelOnly);
    NameRing::each(qkDatabase->names, [&](const QkName* name) {
        if (name->isHidden() || vcdModel.partnerOf(name)) return;
        if (name->kind != kVirtualName && !vcdModel.partnerOf(name->scope))
            ofModel.addNetOfScope(name->scope, kNoSuchScope,
                                  [&] { return name->scope->fullName.str(); });
        else
            ofModel.addNet(FullName(name).c_str(), whyNotLinked(vcdModel, name));
    });
    UnlinkedList ofTrace(traceOnly);
    for (const QkVCDName& name : vcdModel.names) {
        if (name.linked) continue;
        if (!name.scope->linked)
            ofTrace.addNetOfScope(name.scope, kNoSuchScope, [&] { return name.scope->fullName(); });
        else
            ofTrace.addNet(name.fullName(), whyNotLinked(name));
    }
}

void ComparisonRecord::rescaleTimes(uint64_t factor) {
    for (Difference& difference : differences) difference.time *= factor;
    for (Wait& wait : waits) wait.longest *= factor;
}
