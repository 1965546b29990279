// Modules that are destroyed while nets above them stay, and made again.
//
// The nets of such a module are detached: their names stay, on traces whose storage belongs to the
// library, so that nothing reads the module's storage. A detached trace has only detached names,
// and is in no index of addresses. When a module claims the scope again, its tables make new names
// beside the detached ones; at the end of its section each detached name replaces the new one with
// the same text.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "base/dtable.h"
#include "base/memory.h"
#include "netdb/database.h"

namespace {

/// Makes a part hold its own value. A part that is not captured has the value 0.
void useOwnStorage(QkTrace* part) {
    SameAddress::init(part);
    part->detached = true;
    part->isInterleaved = false;
    if (!part->isArray()) {
        part->address = &part->value;
        return;
    }
    // Untouched pages cost nothing.
    part->extras->ownStorage.reset(
        static_cast<char*>(std::calloc(part->nel, static_cast<size_t>(part->elementBytes()))));
    part->address = part->extras->ownStorage.get();
    if (!part->address) failAllocation("malloc", "net database");
}

/// Flags that a detached net loses: a comparison leaves it out, and no owner is looked for.
constexpr uint32_t kLostFlags = QK_flag_register | QK_flag_shadow;

bool isLiving(const QkTrace* trace) {
    const auto isThere = [](const QkName* name) { return !name->detached; };
    return TraceNames::find(trace->names, isThere) ||
           (trace->extras &&
            std::any_of(trace->extras->exnames.begin(), trace->extras->exnames.end(), isThere));
}

/// @return the traces that are copied from the storage of a part
std::vector<QkTrace*> copiesFrom(QkTrace* part) {
    const CopyGroup* const group = copiesOf(part);
    if (!group || !SameAddress::find(part, [](const QkTrace* trace) { return trace->copied; }))
        return {};
    std::vector<QkTrace*> copies;
    std::copy_if(group->members.begin(), group->members.end(), std::back_inserter(copies),
                 [&](const QkTrace* member) {
                     return member->extras->traceWord == part->address &&
                            member->address != part->address;
                 });
    return copies;
}

}  // namespace

// ---- Going

void QkDatabase::detachScope(QkScope* scope, std::vector<QkName*>& gone) {
    scope->detached = true;
    ScopeNames::each(scope->allNames, [&](QkName* name) {
        if (name->kind == kVirtualName || name->detached) return;
        name->detached = true;
        gone.push_back(name);
    });
    ScopeRing::each(scope->children, [&](QkScope* child) {
        if (!child->module) detachScope(child, gone);
    });
}

void QkDatabase::detachModule(QkScope* scope) {
    announce(&DatabaseListener::storageMoves);
    std::vector<QkName*> gone;
    detachScope(scope, gone);
    // A net for which other modules have a name stays as it is. The module's names for it move
    // away.
    PointerTable<QkTrace, QkTrace> standIns;
    for (QkName* name : gone) {
        QkTrace* const trace = name->trace;
        if (trace->detached) continue;
        QkTrace* standIn = standIns.find(trace);
        if (!standIn && !isLiving(trace)) {
            detachTrace(trace);
            continue;
        }
        if (!standIn) standIns.put(trace, standIn = makeStandIn(trace));
        const bool readsCopy = name->readsCopy;
        moveName(name, standIn);
        name->readsCopy = readsCopy;
    }
    for (const QkName* name : gone) dropFurtherStorage(name);
    const auto rehome = [&](auto& self, QkScope* left) -> void {
        rehomeArrays(left);
        ScopeRing::each(left->children, [&](QkScope* child) {
            if (!child->module) self(self, child);
        });
    };
    rehome(rehome, scope);
    reopen();
}

void QkDatabase::detachTrace(QkTrace* trace) {
    announce(&DatabaseListener::netDetaches, trace);
    const bool isActive = trace->a_next != nullptr;
    std::vector<QkTrace*> parts;
    for (QkTrace* const part : trace->parts()) parts.push_back(part);
    for (QkTrace* part : parts) detachStorage(part, isActive);
    trace->detached = true;
    trace->flags &= ~kLostFlags;
}

void QkDatabase::detachStorage(QkTrace* part, bool isActive) {
    const void* const former = part->address;
    const std::vector<QkTrace*> copies = copiesFrom(part);
    if (part->extras) {
        forgetCopies(part);
        assignsStale |= part->extras->traceWord != nullptr;
        part->extras->traceWord = nullptr;
    }
    leaveAddress(part);
    dropAtAddress(former);  // inverted forms that no name uses
    if (!isActive) part->value = 0;
    useOwnStorage(part);
    part->flags &= ~kLostFlags;
    if (copies.empty() || tracesAt(former)) return;
    for (QkTrace* copy : copies) copy->orphan = true;
    if (!part->extras) part->extras = new TraceExtras;
    part->extras->formerAddress = former;
}

QkTrace* QkDatabase::makeStandIn(const QkTrace* trace) {
    const auto copy = [&](const QkTrace* from) {
        uint32_t id;
        QkTrace* const made = traceStore.make(id);
        made->id = id;
        made->range = from->range;
        made->header = made;
        made->nel = from->nel;
        made->invert = from->invert;
        made->isPart = from->isPart;
        made->flags = from->flags & ~kLostFlags;
        if (from->isArray())
            made->extras =
                new TraceExtras{.arrayLeft = from->arrayLeft(), .arrayRight = from->arrayRight()};
        made->value = trace->a_next ? from->value : 0;
        return made;
    };
    QkTrace* const standIn = copy(trace);
    if (trace->address) {
        useOwnStorage(standIn);
    } else {
        SameAddress::init(standIn);
        standIn->detached = true;
        QkTrace** last = &standIn->bits;
        for (const QkTrace* part = trace->bits; part; part = part->bits) {
            *last = copy(part);
            useOwnStorage(*last);
            (*last)->header = standIn;
            last = &(*last)->bits;
        }
    }
    TraceRing::append(traces, standIn);
    return standIn;
}

void QkDatabase::moveName(QkName* name, QkTrace* to) {
    QkTrace* const from = name->trace;
    announce(&DatabaseListener::nameLeaves, name);
    bindAnew(name, to);
    announce(&DatabaseListener::nameArrives, name, from);
}

// ---- Coming again

namespace {

bool sameRange(const BitRange& a, const BitRange& b) {
    return a.left() == b.left() && a.right() == b.right() && a.isRange == b.isRange;
}

bool sameElements(const QkTrace* a, const QkTrace* b) {
    return a->nel == b->nel && a->arrayLeft() == b->arrayLeft() &&
           a->arrayRight() == b->arrayRight();
}

/// @return whether handles, breakpoints and traces of one name can be moved to the other
bool agree(const QkName* name, const QkName* fresh) {
    const bool isSlice = name->isSlice();
    if (isSlice != fresh->isSlice() || (isSlice && name->kind != fresh->kind)) return false;
    return sameRange(name->range(), fresh->range()) && sameElements(name->trace, fresh->trace);
}

bool sameForm(const QkTrace* a, const QkTrace* b) {
    return a->invert == b->invert && a->isPart == b->isPart && a->isHeader() == b->isHeader() &&
           sameRange(a->range, b->range) && sameElements(a, b);
}

/// @return whether a detached trace may take the storage of one that belongs only to the open
///         section and is not used for anything yet
bool mayAdopt(const QkTrace* trace, const QkTrace* fresh) {
    if (!trace->detached || fresh->detached || fresh->ntrace != 0 || fresh->vcdSlot != 0 ||
        !sameForm(trace, fresh))
        return false;
    const QkTrace* part = trace->bits;
    for (const QkTrace* other = fresh->bits; part && other; other = other->bits, part = part->bits)
        if (!sameForm(part, other)) return false;
    const auto isForeign = [](const QkName* name) { return !name->scope->inSection; };
    if (TraceNames::find(fresh->names, isForeign)) return false;
    const TraceExtras* const extras = fresh->extras;
    return !extras || (extras->pvnames.empty() &&
                       std::none_of(extras->exnames.begin(), extras->exnames.end(), isForeign));
}

}  // namespace

void QkDatabase::adoptStorage(QkTrace* part, QkTrace* fresh) {
    part->address = fresh->address;
    part->detached = false;
    part->isInterleaved = fresh->isInterleaved;
    linkAtAddress(part, fresh);
    part->flags = fresh->flags;
    part->resolved = false;
    if (fresh->extras) {
        if (!part->extras) part->extras = new TraceExtras;
        part->extras->traceWord = fresh->extras->traceWord;
        part->extras->arrayRecord = std::exchange(fresh->extras->arrayRecord, nullptr);
    }
    copiesUnresolved |= part->isCopy() || (part->flags & QK_flag_shadow);
    if (!part->extras) return;
    part->extras->ownStorage.reset();
    if (std::exchange(part->extras->formerAddress, nullptr) != part->address) return;
    ownersAgain.insert(part->address);
    assignsStale = true;
}

void QkDatabase::adopt(QkTrace* trace, QkTrace* fresh) {
    std::vector<QkTrace*> parts;
    for (QkTrace* const part : fresh->parts()) parts.push_back(part);
    QkTrace* into = trace->firstPart();
    for (QkTrace* part : parts) {
        adoptStorage(into, part);
        into = trace->partAfter(into);
    }
    trace->flags = fresh->flags;
    trace->detached = false;
    while (fresh->names) bindName(fresh->names, trace);
    const std::vector<QkName*> slices =
        fresh->extras ? std::move(fresh->extras->exnames) : std::vector<QkName*>();
    for (QkName* slice : slices) {
        slice->trace = trace;
        addSlice(trace, slice);
    }
    fresh->bits = nullptr;
    for (QkTrace* part : parts) {
        part->header = part;
        part->bits = nullptr;
        removeTrace(part);
    }
    if (parts.front() != fresh) removeTrace(fresh);
    if (trace->isArray() && trace->ntrace > 0) followArray(anyName(trace));
}

void QkDatabase::renew(QkName* name, QkName* fresh) {
    QkTrace* const trace = name->trace;
    if (mayAdopt(trace, fresh->trace)) adopt(trace, fresh->trace);
    visibleNames += (fresh->isHidden() ? 0 : 1) - (name->isHidden() ? 0 : 1);
    name->mode = fresh->mode;
    name->netFlags = fresh->netFlags;
    name->kind = fresh->kind;
    bool isElsewhere = name->trace != fresh->trace;
    if (fresh->extension) {
        if (!name->extension) name->extension = new NameExtension;
        name->extension->range = fresh->extension->range;
        isElsewhere |= name->extension->offset != fresh->extension->offset;
        name->extension->offset = fresh->extension->offset;
    }
    name->detached = false;
    if (isElsewhere) moveName(name, fresh->trace);
    name->readsCopy = fresh->readsCopy;
    if (trace != name->trace) dropUnnamed(trace);
    removeName(fresh);
}

void QkDatabase::renewNames(QkScope* const* scopes, int count) {
    announce(&DatabaseListener::storageMoves);
    for (int i = 0; i < count; ++i)
        if (scopes[i]) scopes[i]->inSection = true;
    std::unordered_set<const QkName*> renewed;
    for (int i = 0; i < count; ++i) {
        QkScope* const scope = scopes[i];
        if (!scope || !scope->detached) continue;
        std::vector<QkName*> waiting;
        ScopeNames::each(scope->allNames, [&](QkName* name) {
            if (name->detached) waiting.push_back(name);
        });
        for (QkName* name : waiting) {
            QkName* const fresh = findInScope(scope, name->name);
            if (fresh && agree(name, fresh) && !renewed.contains(fresh)) {
                renew(name, fresh);
                renewed.insert(name);
            } else {
                removeName(name);
            }
        }
    }
    for (int i = 0; i < count; ++i) {
        QkScope* const scope = scopes[i];
        if (!scope || !scope->detached) continue;
        ScopeRing::each(scope->children, [&](QkScope* child) { dropDetached(child); });
        scope->detached = false;
    }
    for (int i = 0; i < count; ++i)
        if (scopes[i]) scopes[i]->inSection = false;
}

/// Removes names for which a module made again has no rows, down to the scopes of other modules.
void QkDatabase::dropDetached(QkScope* scope) {
    if (!scope->detached || scope->claimed || scope->inSection) return;
    ScopeNames::each(scope->allNames, [&](QkName* name) {
        if (name->detached) removeName(name);
    });
    ScopeRing::each(scope->children, [&](QkScope* child) { dropDetached(child); });
    scope->detached = false;
    if (!scope->allNames && !scope->children) destroyScope(scope);
}
