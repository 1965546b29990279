// Captures: changes since the last one are recorded in the history, in the order of the active
// ring.
#include <algorithm>
#include <bit>
#include <cstring>

#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/life.h"
#include "tracing/hot_loops.h"
#include "tracing/trace_file.h"
#include "tracing/trace_writer.h"

static_assert(sizeof(OutputChange) == 16 && offsetof(OutputChange, slot) == 0 &&
              offsetof(OutputChange, value) == 8);
static_assert(std::endian::native == std::endian::little,
              "a value's low byte comes first, in storage and in the image");

namespace {

/// The 8 bytes at an offset of the image, which has room after its end.
inline uint64_t imageWord(const unsigned char* image, uint32_t offset) {
    uint64_t word;
    std::memcpy(&word, image + offset, sizeof word);
    return word;
}

inline uint64_t imageValue(const unsigned char* image, const CapturePart& part) {
    const uint64_t word = imageWord(image, part.imageOffset) ^ (uint64_t{0} - part.invert);
    return word & bitMask(part.width);
}

/// Sets a flag as long as it exists, even if an exception is thrown meanwhile.
class Raised {
public:
    explicit Raised(bool& word) : flag(word) { flag = true; }
    ~Raised() { flag = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

private:
    bool& flag;
};

}  // namespace

bool QkTraceWriter::isIdle() const {
    return !active_traces && !file && !anyForced && !capturing && !coverage.isRunning() &&
           database->unwaved.empty();
}

void QkTraceWriter::captureEntry() {
    if (!runningFromVCD) captureNow();
}

void QkTraceWriter::captureNow() {
    if (lastTime == qk_cycle) lastTime = qk_cycle - 1;
    completeRegistration(true);
    captureChanges();
}

void QkTraceWriter::captureChanges() {
    if (capturing) return;  // code called from a capture requests another
    if (file && file->hasFailed()) file->tellFailure();
    const Raised whileCapturing(capturing);
    if (coverage.isRunning()) coverage.look();
    compareAndRecord();
}

void QkTraceWriter::compareAndRecord() {
    if (!database->unwaved.empty()) database->lookAtUnwaved();
    if (!planValid) {
        std::vector<QkTrace*> active;
        ActiveTraces::each(active_traces, [&](QkTrace* at) { active.push_back(at); });
        plan.build(active, CapturePlan::kFromValues);
        planValid = true;
    }
    if (anyForced) markForced();
    const size_t count = plan.listChanges();
    if (count == 0) return;
    record(count);
    if (anyDirty) reportSlices();
}

// ---- Entries

void QkTraceWriter::markForced() {
    anyForced = false;
    for (uint32_t position = 0; position < plan.positionCount(); ++position) {
        SlotTable::Owner& owner = slots.owners[plan.positions()[position].slot];
        if (!owner.forced) continue;
        owner.forced = false;
        plan.mark(position);
    }
}

void QkTraceWriter::record(size_t count) {
    const uint32_t* const list = plan.changed();
    openTail();
    for (size_t i = 0; i < count;) {
        if (plan.positions()[list[i]].mask == 0) {
            recordAt(list[i++]);
            continue;
        }
        if (lastTime != qk_cycle) markTime();
        if (put == putEnd) nextTail();
        // A header that was written has made the time unknown: the next entry needs it again.
        i = recordPlain(i, lastTime == qk_cycle ? count : i + 1);
    }
    closeTail();
}

/// Records positions of plan.changed(), as long as they are plain and fit into the bucket.
/// @return the first one that was not recorded
size_t QkTraceWriter::recordPlain(size_t begin, size_t end) {
    const uint32_t* const list = plan.changed();
    const CapturePosition* const positions = plan.positions();
    const unsigned char* const image = plan.image();
    OutputChange* out = put;
    end = std::min(end, begin + static_cast<size_t>(putEnd - put));
    size_t i = begin;
    const auto recordOne = [&] {
        const CapturePosition& at = positions[list[i]];
        if (at.mask == 0) return false;
        const uint64_t entry[] = {at.slot, imageWord(image, at.place) & at.mask};
        std::memcpy(out++, entry, sizeof entry);  // in two stores: the shape is 0
        ++i;
        return true;
    };
    // Those of a large design are scattered over more memory than the first caches hold.
    constexpr size_t kAhead = 10, kLargePlan = 1000;
    const size_t aheadEnd = plan.positionCount() >= kLargePlan && end > kAhead ? end - kAhead : 0;
    bool isPlain = true;
    while (i < aheadEnd && isPlain) {
        __builtin_prefetch(&positions[list[i + kAhead]]);
        isPlain = recordOne();
    }
    while (i < end && isPlain) isPlain = recordOne();
    put = out;
    return i;
}

void QkTraceWriter::recordAt(uint32_t position) {
    if (plan.firstPart(position).isObserved) {
        recordObserved(position);
    } else {
        recordPosition(position);
    }
}

void QkTraceWriter::recordPosition(uint32_t position) {
    if (lastTime != qk_cycle) markTime();
    const uint32_t slot = plan.positions()[position].slot;
    const CapturePart* part = &plan.firstPart(position);
    const bool inParts = !part->last;
    for (bool first = true;; first = false, ++part) {
        if (put == putEnd) nextTail();
        tail->uncounted += !first;
        *put++ = OutputChange{slot, inParts ? partShape(part->width, first, part->last) : 0,
                              imageValue(plan.image(), *part)};
        if (part->last) return;
    }
}

void QkTraceWriter::recordObserved(uint32_t position) {
    const uint32_t slot = plan.positions()[position].slot;
    QkTrace* const trace = slots.owners[slot].trace;
    if (!trace) return;  // removed by code that was called in this capture
    trace->changed = 1;
    if (trace->nrecord > 0) recordPosition(position);
    // Slices may read a trace in several parts as a whole, or its parts alone.
    markReaders(trace);
    const bool inParts = !plan.firstPart(position).last;
    for (const QkTrace* part = inParts ? trace->bits : nullptr; part; part = part->bits)
        markReaders(part);
    // A value that is recorded again may not have changed.
    if ((trace->nshow == 0 && trace->nbreak == 0) || !plan.takeTold(position)) return;
    closeTail();
    reportChange(slot, 0);
    openTail();
}

void QkTraceWriter::elementChanged(QkTrace* array, int64_t index) {
    array->changed = 1;
    if (!QK_CHECK_AS(array->isWithinArrayRange(index), "isWithinArrayRange(index)")) return;
    if (array->nrecord > 0) {
        openTail();
        if (lastTime != qk_cycle) markTime();
        for (QkTrace* const part : array->parts()) {
            if (put == putEnd) nextTail();
            ++tail->uncounted;
            *put++ = OutputChange{array->vcdSlot, static_cast<uint32_t>(index),
                                  part->readStorage(array->elementOf(index))};
        }
        closeTail();
    }
    if (array->nshow > 0 || array->nbreak > 0) reportChange(array->vcdSlot, index);
}

size_t QkTraceWriter::firstDifferent(const CopiedBytes* arrays, size_t count) const {
    return hotLoops().firstDifferent(arrays, count);
}

void QkTraceWriter::markReaders(const QkTrace* trace) {
    if (!trace->extras) return;
    const auto mark = [&](QkName* name) {
        name->dirty = name->extension->holds > 0;
        anyDirty |= name->dirty;
    };
    for (QkName* name : trace->extras->exnames) mark(name);
    for (QkName* name : trace->extras->pvnames) mark(name);
}

// ---- Reporting changes
//
// Printing, notifiers and breakpoints call code of the user, which may call the library again and
// even remove names from the model.

/// Reports a change of the trace of `slot` to its listeners, name by name.
/// @param index  of the element that changed, as declared; 0 for a scalar
void QkTraceWriter::reportChange(uint32_t slot, int64_t index) {
    std::vector<QkName*> concerned;
    TraceNames::each(slots.owners[slot].trace->names, [&](QkName* name) {
        if ((name->show || name->isWatched()) && !name->isSlice()) concerned.push_back(name);
    });
    const uint64_t removals = database->removals;
    for (QkName* name : concerned) {
        if (removals != database->removals) {
            const QkTrace* const trace = slots.owners[slot].trace;
            if (!trace) return;
            if (!TraceNames::find(trace->names, [&](const QkName* n) { return n == name; }))
                continue;
        }
        tell(name, index);
    }
}

bool QkTraceWriter::takeChange(const QkName* name) {
    std::vector<uint64_t>& recorded = name->extension->recorded;
    bool changed = false;
    for (size_t chunk = 0; chunk < recorded.size(); ++chunk) {
        const uint64_t now = readChunk(name, static_cast<int>(chunk), 0);
        changed |= now != recorded[chunk];
        recorded[chunk] = now;
    }
    return changed;
}

void QkTraceWriter::reportSlices() {
    anyDirty = false;
    reportSlices(activeExtracts);
    reportSlices(activeVirtuals);
}

void QkTraceWriter::reportSlices(const std::vector<QkName*>& active) {
    // A breakpoint's console may remove names from the list.
    std::vector<QkName*> names;
    names.assign(active.begin(), active.end());
    const uint64_t removals = database->removals;
    for (QkName* name : names) {
        if (removals != database->removals &&
            std::find(active.begin(), active.end(), name) == active.end())
            continue;
        if (!name->dirty) continue;
        name->dirty = false;
        if (!takeChange(name)) continue;
        if (name->traced) recordSlice(name, eventbs);
        tell(name, 0);
    }
}

void QkTraceWriter::tell(QkName* name, int64_t index) {
    const uint64_t removals = database->removals;
    if (name->show) listeners.shown(name, index);
    if (removals == database->removals && name->isWatched()) listeners.watched(name, index);
}

void QkTraceWriter::stampTime() {
    if (lastTime == qk_cycle) return;
    openTail();
    markTime();
    closeTail();
}

void QkTraceWriter::markTime() {
    const bool isStart = !scopesWritten && initialbs.empty() && eventbs.empty();
    lastTime = qk_cycle;  // entries that the marker pushes out of the history may record initial
                          // values
    if (isStart) {
        startTime = qk_cycle;
        return;
    }
    if (put == putEnd) nextTail();
    tail->noteMarker(static_cast<int>(put - tail->changes));
    *put++ = OutputChange{kTimeMarker, 0, qk_cycle};
    lastTime = qk_cycle;  // writing the header of a file clears it
}

// ---- The newest bucket

void QkTraceWriter::openTail() {
    if (eventbs.empty()) {
        tail = nullptr;
        put = putEnd = nullptr;
        return;
    }
    useTail(&eventbs.newest());
}

void QkTraceWriter::useTail(ChangeBucket* bucket) {
    tail = bucket;
    put = bucket->changes + bucket->nChanges;
    putEnd = bucket->changes + kBucketEntries;
}

void QkTraceWriter::closeTail() {
    if (tail) tail->nChanges = static_cast<int>(put - tail->changes);
}

void QkTraceWriter::nextTail() {
    closeTail();
    appendBucket(eventbs);
    useTail(&eventbs.newest());
}

void QkTraceWriter::appendBucket(BucketRing& ring) {
    std::unique_ptr<ChangeBucket> bucket;
    if (!ring.empty() && bucketLimit() != 0) {
        if (&ring == &eventbs) {
            bucket = makeRoom();
        } else if (qk_strict) {
            QK_ASSERT_AS(eventbs.size() < bucketLimit(), "panchor == &eventbs");
        }
    }
    if (!bucket) bucket = std::make_unique_for_overwrite<ChangeBucket>();
    ring.append(std::move(bucket));
}

/// Removes the oldest bucket when the history is long enough. @return an empty bucket for use as
/// the newest, or null
std::unique_ptr<ChangeBucket> QkTraceWriter::makeRoom() {
    keptCount += eventbs.newest().count();
    if (file || qk_strict) {
        // The header of a file is not written between the names that one command starts to trace.
        const bool headWaits = starting && file && !scopesWritten;
        return eventbs.size() < bucketLimit() || headWaits ? nullptr : flushFull();
    }
    dropOldest();
    if (spareBuckets.empty()) return nullptr;
    std::unique_ptr<ChangeBucket> bucket = std::move(spareBuckets.back());
    spareBuckets.pop_back();
    return bucket;
}

void QkTraceWriter::addChange(BucketRing& ring, const OutputChange& change) {
    if (ring.empty() || ring.newest().nChanges == kBucketEntries) appendBucket(ring);
    ChangeBucket& newest = ring.newest();
    newest.changes[newest.nChanges++] = change;
    newest.uncounted += change.shape != 0 && !(change.shape & kShapeFirst);
}
