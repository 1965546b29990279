#include "netdb/master_assigns.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "netdb/database.h"
#include "run/console_text.h"
#include "run/idle.h"

namespace {

/// Bytes between two runs that are copied along with them.
constexpr int64_t kWidestGap = 3;
constexpr uint32_t kLeastListed = 10, kMostListed = 100;
/// Fewer changes than this part of an array are copied one by one.
constexpr uint32_t kFewOf = 8;

/// @return the nearest scope from `scope` up that a module has claimed, or null
QkScope* moduleScope(QkScope* scope) {
    while (scope && !scope->module) scope = scope->parent;
    return scope;
}

}  // namespace

// ---- Change lists

MasterArrayAssign* QkDatabase::arrayRecordAt(void* cell) {
    std::unique_ptr<MasterArrayAssign>& record = arrayRecords[cell];
    if (!record) {
        record = std::make_unique<MasterArrayAssign>();
        record->cell = cell;
    }
    ++record->users;
    const auto handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(record.get()));
    std::memcpy(cell, &handle, sizeof handle);
    return record.get();
}

void QkDatabase::releaseArrayRecord(MasterArrayAssign* record) {
    // The cell is not written: it may have been destroyed with its module's storage.
    if (--record->users == 0) arrayRecords.erase(record->cell);
}

namespace {

/// The lists that a scope's waves apply, or for null those that captures look at.
std::vector<MasterArrayAssign*>& recordsOf(QkScope* scope) {
    return scope ? scope->masterArrayAssigns : qkDatabase->unwaved;
}

/// Called when a record's buffers or its list change.
void noteChange(const MasterArrayAssign* record) {
    if (record->scope) record->scope->arrayWatches.isStale = true;
}

void attach(MasterArrayAssign* record, QkScope* scope) {
    record->scope = scope;
    recordsOf(scope).push_back(record);
    noteChange(record);
    if (!scope) endIdleness();
}

void detach(MasterArrayAssign* record) {
    noteChange(record);
    std::erase(recordsOf(record->scope), record);
    record->scope = nullptr;
}

void makeList(MasterArrayAssign& record, uint32_t elements) {
    QK_ASSERT_AS(record.all.empty(), "all == NULL");
    record.capacity = static_cast<int32_t>(std::clamp(elements / 10, kLeastListed, kMostListed));
    record.list = std::make_unique<uint32_t[]>(static_cast<size_t>(record.capacity) + 1);
    record.count = 0;
}

/// One pass over the changes of an array since the last wave.
class ArrayWave {
public:
    explicit ArrayWave(MasterArrayAssign& arrayRecord) : record(arrayRecord) {}

    void run() {
        if (!QK_CHECK_AS(record.owner, "owner") || (record.list ? record.count == 0 : isCurrent()))
            return;
        QkTrace* const array = record.owner;
        following = array->nTraced() > 0;
        if (record.list && record.count <= record.capacity) {
            applyListed();
        } else {
            applyAll();
        }
        record.count = 0;
        report(array);
    }

    /// Reports changes outside a wave. Copying, and clearing the list, wait for the next wave.
    void look() {
        QkTrace* const array = record.owner;
        if (!array || array->nTraced() == 0) return;
        findAll();
        if (changed.empty()) return;
        for (const auto& buffer : record.all)
            if (buffer->ownsShadow()) buffer->copyAll();
        report(array);
    }

private:
    void report(QkTrace* array) const {
        // Reporting may change the record.
        const uint64_t removals = qkDatabase->removals;
        for (const uint32_t element : changed) {
            if (removals != qkDatabase->removals) return;  // the array may have been removed
            qkDatabase->recorder->elementChanged(array, array->indexOf(element));
        }
    }

    void applyListed() {
        // An element that was written twice no longer differs the second time.
        for (int i = 0; i < record.count; ++i) {
            const uint32_t element = record.list[static_cast<size_t>(i)];
            if (following && anyDiffers(static_cast<int>(element))) changed.push_back(element);
            for (const auto& buffer : record.all) buffer->copyListed(1, &element);
        }
    }

    bool anyDiffers(int element) const {
        for (const auto& buffer : record.all)
            if (buffer->ownsShadow() && buffer->differs(element)) return true;
        return false;
    }

    void applyAll() {
        if (following) findAll();
        const bool isFew = changed.size() < record.owner->nel / kFewOf;
        for (const auto& buffer : record.all) {
            if (!buffer->ownsShadow() || (following && !isFew))
                buffer->copyAll();
            else if (!changed.empty())
                buffer->copyListed(static_cast<int>(changed.size()), changed.data());
        }
    }

    bool isCurrent() const {
        return std::all_of(record.all.begin(), record.all.end(),
                           [](const auto& buffer) { return buffer->isCurrent(); });
    }

    void findAll() {
        struct Scan {
            const ValueBuffer* buffer;
            int next;
        };
        std::vector<Scan> scans;  // one for each part of the array
        for (const auto& buffer : record.all)
            if (buffer->ownsShadow())
                scans.push_back(Scan{buffer.get(), buffer->firstDifference(0)});
        for (;;) {
            int element = static_cast<int>(record.owner->nel);
            for (const Scan& scan : scans) element = std::min(element, scan.next);
            if (element == static_cast<int>(record.owner->nel)) return;
            changed.push_back(static_cast<uint32_t>(element));
            for (Scan& scan : scans)
                if (scan.next == element) scan.next = scan.buffer->firstDifference(element + 1);
        }
    }

    MasterArrayAssign& record;
    bool following = false;
    std::vector<uint32_t> changed;
};

}  // namespace

MasterArrayAssign* QkDatabase::recordFor(QkScope* scope, const QkTrace* part) const {
    if (part->extras && part->extras->arrayRecord) return part->extras->arrayRecord;
    for (MasterArrayAssign* record : recordsOf(scope))
        if (!record->cell && record->owner == part->header) return record;
    return new MasterArrayAssign;
}

void QkDatabase::addMasterArrayAssign(QkScope* scope, const QkTrace* part, void* to) {
    QK_ASSERT_AS(part->address, "from");
    MasterArrayAssign* const record = recordFor(scope, part);
    QK_ASSERT_AS(record->owner == nullptr || record->owner == part->header,
                 "(owner == NULL) || (owner == o->header)");
    if (record->owner && record->owner != part->header) return;
    record->owner = part->header;
    if (record->all.empty() || (!record->scope && scope)) {
        detach(record);
        attach(record, scope);
    }
    if (record->all.empty()) followed.push_back(record);
    if (record->cell && !record->list) makeList(*record, part->nel);
    ArrayWave(*record).run();  // earlier writes belong to the older buffers
    std::unique_ptr<ValueBuffer> buffer =
        ValueBuffer::make(part->header, part->address, to, part->width(), part->nel,
                          record->list != nullptr, part->stride());
    if (!buffer) {
        qk_printf("Error: Failed to allocate memory needed to trace array\n");
        std::exit(1);
    }
    buffer->copyAll();
    if (record->all.empty()) record->place = followed.size() - 1;
    listsByStorage.emplace(part->address, record);
    if (to) listsByStorage.emplace(to, record);
    record->all.push_back(std::move(buffer));
    noteChange(record);
}

void QkDatabase::followArray(const QkName* name) {
    QkScope* const scope = moduleScope(name->scope);
    QkTrace* const trace = name->trace;
    for (QkTrace* const part : trace->parts()) addMasterArrayAssign(scope, part, nullptr);
}

namespace {

template <class Wanted>
void lookAtEach(const std::vector<MasterArrayAssign*>& records, Wanted&& wanted) {
    // Reporting a change may add and remove records.
    for (size_t i = 0; i < records.size(); ++i)  // NOLINT(modernize-loop-convert)
        if (wanted(records[i])) ArrayWave(*records[i]).look();
}

}  // namespace

void QkDatabase::lookAtUnwaved() const {
    lookAtEach(unwaved, [](const MasterArrayAssign*) { return true; });
}

void QkDatabase::lookAtArrays(const QkTrace* header) const {
    lookAtEach(followed,
               [&](const MasterArrayAssign* record) { return !header || record->owner == header; });
}

/// Erases the buffers that read or update the storage at `address` and for which isOut() is true.
template <class IsOut>
void QkDatabase::eraseBuffers(const void* address, IsOut&& isOut) {
    const auto [from, to] = listsByStorage.equal_range(address);
    std::vector<MasterArrayAssign*> records;
    std::for_each(from, to, [&](const auto& entry) { records.push_back(entry.second); });
    std::sort(records.begin(), records.end());
    records.erase(std::unique(records.begin(), records.end()), records.end());
    for (MasterArrayAssign* record : records) {
        const size_t erased = std::erase_if(record->all, [&](const auto& buffer) {
            const bool isIn = buffer->source() != address && buffer->shadow() != address;
            if (isIn || !isOut(*buffer)) return false;
            forgetBuffer(record, *buffer);
            return true;
        });
        if (erased == 0) continue;
        noteChange(record);
        if (!record->all.empty()) continue;
        followed[record->place] = followed.back();
        followed[record->place]->place = record->place;
        followed.pop_back();
        detach(record);
        record->owner = nullptr;
        record->list.reset();
        record->count = 0;
        if (!record->cell) delete record;
    }
}

void QkDatabase::unfollowArray(const QkTrace* header) {
    for (const QkTrace* const part : header->parts())
        eraseBuffers(part->address, [&](const ValueBuffer& buffer) {
            return buffer.header == header && buffer.ownsShadow();
        });
}

void QkDatabase::forgetBuffer(MasterArrayAssign* record, const ValueBuffer& buffer) {
    const auto forgetAt = [&](const void* address) {
        const auto [from, to] = listsByStorage.equal_range(address);
        listsByStorage.erase(
            std::find_if(from, to, [&](const auto& entry) { return entry.second == record; }));
    };
    forgetAt(buffer.source());
    if (!buffer.ownsShadow()) forgetAt(buffer.shadow());
}

void QkDatabase::rehomeArrays(QkScope* scope) {
    const std::vector<MasterArrayAssign*> records = scope->masterArrayAssigns;
    for (MasterArrayAssign* record : records) {
        detach(record);
        const QkName* const name = record->owner ? anyName(record->owner) : nullptr;
        attach(record, name ? moduleScope(name->scope) : nullptr);
    }
}

// ---- Owners

void QkDatabase::resolveMasterAssigns() {
    if (assignsStale) {
        const auto clear = [](auto& self, QkScope* ring) -> void {
            ScopeRing::each(ring, [&](QkScope* scope) {
                scope->masterAssigns.clear();
                self(self, scope->children);
            });
        };
        clear(clear, top_scopes);
    }
    if (assignsStale || copiesUnresolved) {
        TraceRing::each(traces, [&](QkTrace* trace) {
            const QkName* const name = anyName(trace);
            if (!name) return;
            for (QkTrace* const part : trace->parts()) {
                if (assignsStale) part->resolved = false;
                resolveMasterAssign(part, name);
            }
        });
    }
    assignsStale = copiesUnresolved = false;
}

namespace {

/// @return whether the generator may leave out the owner of a net of this name
bool mayLackOwner(const char* fullName) {
    const size_t length = std::strlen(fullName);
    const auto hasAt = [&](size_t fromEnd, const char* text) {
        return length > fromEnd &&
               std::strncmp(fullName + length - fromEnd, text, std::strlen(text)) == 0;
    };
    return hasAt(13, "_QK_ACR_PM") || hasAt(10, "_PAM_PM");
}

}  // namespace

void QkDatabase::resolveMasterAssign(QkTrace* part, const QkName* name) {
    if (part->resolved) return;
    part->resolved = true;
    const void* const word = part->extras ? part->extras->traceWord : nullptr;
    if (!word) {
        if (!(part->flags & QK_flag_shadow)) return;
        qk_printf("Registration Error (PM) in net %s\n%s", FullName(name).c_str(), kSupportContact);
        std::exit(1);
    }
    if (part->orphan && ownersAgain.contains(word)) part->orphan = false;
    QkTrace* const owner = part->orphan ? nullptr : tracesAt(word);
    if (!owner) {
        const FullName fullName(name);
        if (!mayLackOwner(fullName.c_str()))
            qk_printf("Model warning: owner variable not registered: %s\n", fullName.c_str());
        return;
    }
    if (owner->width() != part->width() || owner->nel != part->nel) {
        qk_printf("Model warning: owner variables do not match: %s\n", FullName(name).c_str());
        return;
    }
    if (owner->address == part->address) return;
    owner->copied = true;
    if (part->flags & QK_flag_shadow) copyOwner(part, owner, name);

    QkTrace* grouped =
        SameAddress::find(owner, [](const QkTrace* t) { return t->extras && t->extras->copies; });
    if (!grouped) {
        grouped = owner;
        (new CopyGroup)->add(owner);
    }
    CopyGroup* const group = grouped->extras->copies;
    const bool isMember = SameAddress::find(
        part, [&](const QkTrace* t) { return t->extras && t->extras->copies == group; });
    if (isMember || part->extras->copies) return;
    group->add(part);
    announce(&DatabaseListener::copiesFound);
}

void QkDatabase::copyOwner(QkTrace* part, QkTrace* owner, const QkName* name) {
    QkScope* const parent = moduleScope(name->scope);
    if (!QK_CHECK(parent)) return;
    if (!part->isArray()) {
        parent->masterAssigns.push_back(MasterAssign{static_cast<char*>(part->address),
                                                     static_cast<const char*>(owner->address),
                                                     part->elementBytes()});
        return;
    }
    const auto [from, to] = listsByStorage.equal_range(part->address);
    for (auto at = from; at != to; ++at)
        for (const auto& buffer : at->second->all)
            if (buffer->shadow() == part->address && buffer->source() == owner->address) return;
    addMasterArrayAssign(parent, owner, part->address);
}

void CopyGroup::add(QkTrace* trace) {
    if (!trace->extras) trace->extras = new TraceExtras;
    trace->extras->copies = this;
    trace->extras->copyPlace = members.size();
    members.push_back(trace);
}

void CopyGroup::remove(const QkTrace* trace) {
    QkTrace* const last = members.back();
    members[trace->extras->copyPlace] = last;
    last->extras->copyPlace = trace->extras->copyPlace;
    members.pop_back();
    trace->extras->copies = nullptr;
}

CopyGroup* copiesOf(QkTrace* trace) {
    if (trace->extras && trace->extras->copies) return trace->extras->copies;
    if (trace->sameAddr_n == trace) return nullptr;
    const QkTrace* const grouped =
        SameAddress::find(trace, [](const QkTrace* t) { return t->extras && t->extras->copies; });
    return grouped ? grouped->extras->copies : nullptr;
}

void QkDatabase::forgetCopies(QkTrace* trace) {
    TraceExtras& extras = *trace->extras;
    if (trace->isArray() && trace->address && !followed.empty())
        eraseBuffers(trace->address, [](const ValueBuffer&) { return true; });
    if (extras.arrayRecord) releaseArrayRecord(extras.arrayRecord);
    extras.arrayRecord = nullptr;
    CopyGroup* const group = extras.copies;
    if (!group) return;
    assignsStale = true;
    group->remove(trace);
    if (group->members.size() > 1) return;
    if (!group->members.empty()) group->remove(group->members.front());
    delete group;
}

// ---- Scalars

void QkDatabase::prepareMasterAssigns(QkScope* scope) const {
    std::vector<MasterAssign>& assigns = scope->masterAssigns;
    QK_ASSERT_AS(!assigns.empty(), "masterAssigns != NULL");
    std::sort(assigns.begin(), assigns.end(), [](const MasterAssign& a, const MasterAssign& b) {
        return std::tie(a.to, a.from, b.bytes) < std::tie(b.to, b.from, a.bytes);
    });
    const auto holdsNet = [&](const char* gap, int64_t bytes) {
        for (int64_t i = 0; i < bytes; ++i)
            if (tracesAt(gap + i)) return true;
        return false;
    };
    size_t last = 0;
    for (size_t i = 1; i < assigns.size(); ++i) {
        MasterAssign& ma = assigns[last];
        const MasterAssign& man = assigns[i];
        // The plain and the inverted form of a net are one copy.
        if (man.to - ma.to == man.from - ma.from && man.to + man.bytes <= ma.to + ma.bytes)
            continue;
        QK_ASSERT(ma.to < man.to);
        QK_ASSERT_AS(man.to >= ma.to + ma.bytes, "o.to >= (to + bytes)");
        const int64_t gap = man.to - (ma.to + ma.bytes);
        const bool together = gap == man.from - (ma.from + ma.bytes) && gap >= 0 &&
                              gap <= kWidestGap && !holdsNet(ma.to + ma.bytes, gap) &&
                              !holdsNet(ma.from + ma.bytes, gap);
        if (together)
            ma.bytes += gap + man.bytes;
        else
            assigns[++last] = man;
    }
    assigns.resize(last + 1);
}

namespace {

void copy(const MasterAssign& assign) {
    switch (assign.bytes) {
        case 1: std::memcpy(assign.to, assign.from, 1); return;
        case 2: std::memcpy(assign.to, assign.from, 2); return;
        case 4: std::memcpy(assign.to, assign.from, 4); return;
        case 8: std::memcpy(assign.to, assign.from, 8); return;
        default: std::memmove(assign.to, assign.from, static_cast<size_t>(assign.bytes));
    }
}

void renewWatches(QkScope& scope) {
    ArrayWatches& watches = scope.arrayWatches;
    watches = {};
    for (MasterArrayAssign* const record : scope.masterArrayAssigns) {
        if (record->list) watches.listed.push_back(record);
        for (const auto& buffer : record->all)
            if (!record->list) watches.contents.push_back(buffer->content());
    }
    watches.isStale = false;
}

bool areArraysAtRest(QkScope& scope) {
    ArrayWatches& watches = scope.arrayWatches;
    if (watches.isStale) renewWatches(scope);
    for (const MasterArrayAssign* const record : watches.listed)
        if (record->count != 0) return false;
    const size_t count = watches.contents.size();
    return count == 0 ||
           qkDatabase->recorder->firstDifferent(watches.contents.data(), count) == count;
}

}  // namespace

void applyMasterAssigns(QkScope& scope) {
    if (!areArraysAtRest(scope)) {
        // Reporting a change may add records. NOLINTNEXTLINE(modernize-loop-convert)
        for (size_t i = 0; i < scope.masterArrayAssigns.size(); ++i)
            ArrayWave(*scope.masterArrayAssigns[i]).run();
    }
    for (const MasterAssign& assign : scope.masterAssigns) copy(assign);
}
