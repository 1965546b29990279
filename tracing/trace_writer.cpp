// History: the rings of buckets, and how they reach a file.
#include "tracing/trace_writer.h"

#include <algorithm>

#include "netdb/live_model.h"
#include "qkzeft.h"
#include "run/failure.h"
#include "tracing/vcd_file.h"

QkTraceWriter::QkTraceWriter(QkLiveModel* model) : liveModel(model) {}

QkTraceWriter::~QkTraceWriter() = default;

// ---- Flushing

std::unique_ptr<ChangeBucket> QkTraceWriter::flushOldest(BucketRing& ring) {
    if (file && !scopesWritten) {
        QK_ASSERT(liveModel);
        writeHeader();
        writeInitial();
    }
    if (ring.empty()) return nullptr;
    consume(ring.oldest(), ring.oldest().nChanges);
    std::unique_ptr<ChangeBucket> taken = ring.takeOldest();
    if (!ring.empty()) {
        // The changes of one time stay together, even when they run over into the next bucket.
        ChangeBucket& next = ring.oldest();
        if (next.firstChange < next.firstMarker)
            consume(next, std::min(next.nChanges, next.firstMarker));
    }
    taken->clear();
    return taken;
}

void QkTraceWriter::consume(ChangeBucket& bucket, int end) {
    if (bucket.lastMarker >= bucket.firstChange && bucket.lastMarker < end)
        startTime = bucket.changes[bucket.lastMarker].value;
    if (file) {
        QK_ASSERT(scopesWritten);
        file->writeChanges(bucket.changes + bucket.firstChange, bucket.changes + end, slots);
    } else {
        fold(bucket, end);
    }
    bucket.firstChange = end;
}

void QkTraceWriter::fold(const ChangeBucket& bucket, int end) {
    if (planValid) plan.spill();
    for (int i = bucket.firstChange; i < end; ++i)
        if (bucket.changes[i].slot != kTimeMarker) foldChange(bucket.changes[i]);
}

void QkTraceWriter::foldChange(const OutputChange& change) {
    SlotTable::Owner& owner = slots.owners[change.slot];
    QkTrace* const trace = owner.trace;
    if (!trace || !trace->a_next) return;
    if (trace->isArray()) {
        recordInitialElement(trace, static_cast<int32_t>(change.shape));
    } else if (!owner.hasInitial) {
        recordInitial(trace);
    } else {
        // The change is lost: the right value comes back with the next capture.
        owner.forced = anyForced = true;
    }
}

void QkTraceWriter::flushAll() {
    QK_ASSERT(file);
    QK_ASSERT(liveModel);
    if (!scopesWritten) {
        writeHeader();
        writeInitial();
    }
    while (!eventbs.empty()) flushOldest(eventbs);
    file->writeTime(qk_cycle);
}

// ---- The head of a file

namespace {

bool isDeclared(const QkName* name) { return name->traced && !name->trace->isArray(); }

}  // namespace

void QkTraceWriter::writeHeader() {
    file->writeVersion();
    file->writeDate();
    file->writeTimescale();
    ScopeRing::each(liveModel->top_scopes, [&](const QkScope* scope) { writeScope(scope); });
    file->endDefinitions();
    lastTime = ~uint64_t{0};
    scopesWritten = true;
}

void QkTraceWriter::writeScope(const QkScope* scope) {
    if (scope->tracedCount == 0) return;
    file->scopeBegin(scope->name.str());
    ScopeNames::each(scope->allNames, [&](const QkName* name) {
        if (isDeclared(name)) writeVariable(name);
    });
    ScopeRing::each(scope->children, [&](const QkScope* child) { writeScope(child); });
    file->scopeEnd();
}

void QkTraceWriter::writeVariable(const QkName* name) {
    // Names of one trace share its code; a slice has a code of its own.
    const bool isSlice = name->isSlice();
    const uint32_t slot = isSlice ? name->extension->vcdSlot : slotOf(name->trace);
    slots.declare(slot, (isSlice ? name->range() : name->trace->range).width != 1);
    file->writeVar(name, slots.codeText(slot));
}

void QkTraceWriter::writeInitial() {
    QK_ASSERT(file);
    file->writeTime(startTime);
    file->dumpvarsBegin();
    while (!initialbs.empty()) flushOldest(initialbs);
    for (SlotTable::Owner& owner : slots.owners) owner.hasInitial = false;
    initialElements.clear();
    file->dumpvarsEnd();
}

// ---- Files

bool QkTraceWriter::open(const char* filename) {
    file = openTraceFile(filename);
    return file != nullptr;
}

void QkTraceWriter::captureLast() {
    if (capturing) return;
    if (liveModel->active_traces) captureNow();
    if (!file) return;
    flushAll();
    file->sync();
}

void QkTraceWriter::closeFile() {
    if (!file) return;
    flushAll();
    lastWritten = file->close();
    file = nullptr;
    scopesWritten = false;
    slots.undeclareAll();
}

bool QkTraceWriter::traceTo(const char* filename) {
    if (file) closeFile();
    QK_ASSERT_AS(!fileIsOpen(), "!qkLiveModel->writer.fileIsOpen()");
    if (!open(filename)) return false;
    if (maxeventbs == 0) maxeventbs = kLeastBuckets;
    return true;
}

bool QkTraceWriter::save(const char* filename) {
    if (file) {
        printFailure(
            "Unable to save VCD file while a continuous save is in-progress, use traceclose\n");
        return false;
    }
    if (!open(filename)) return false;
    closeFile();
    return true;
}
