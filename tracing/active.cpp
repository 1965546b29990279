// Which names are traced, and what is recorded when tracing begins.
#include <algorithm>

#include "netdb/database.h"
#include "qkzeft_run.h"
#include "run/idle.h"
#include "tracing/trace_writer.h"

namespace {

void countTraced(QkScope* scope, int by) {
    for (; scope; scope = scope->parent) scope->tracedCount += by;
}

/// Stores a slice's value as the one last seen.
void readSlice(const QkName* name) {
    std::vector<uint64_t>& recorded = name->extension->recorded;
    recorded.resize(static_cast<size_t>(name->chunkCount()));
    for (size_t chunk = 0; chunk < recorded.size(); ++chunk)
        recorded[chunk] = readChunk(name, static_cast<int>(chunk), 0);
}

}  // namespace

void QkTraceWriter::forgetPlan() {
    if (planValid) plan.spill();
    planValid = false;
}

uint32_t QkTraceWriter::slotOf(QkTrace* trace) {
    if (trace->vcdSlot != 0) return trace->vcdSlot;
    trace->vcdSlot = slots.add(trace);
    if (trace->isArray()) slots.initial[trace->vcdSlot] = SlotTable::kNoInitial;
    return trace->vcdSlot;
}

void QkTraceWriter::activate(QkTrace* trace) {
    endIdleness();
    forgetPlan();
    for (QkTrace* const part : trace->parts())
        part->value = loadStorage(part->address, part->elementBytes());
    slotOf(trace);
    // Clocks are compared last.
    if (trace->flags & QK_flag_clock) {
        ActiveTraces::append(active_traces, trace);
    } else {
        ActiveTraces::prepend(active_traces, trace);
    }
}

void QkTraceWriter::deactivate(QkTrace* trace) {
    forgetPlan();
    ActiveTraces::remove(active_traces, trace);
}

void QkTraceWriter::hold(QkName* name) {
    countHolds(name, 1);
    if (!name->isSlice() || name->extension->holds++ != 0) return;
    readSlice(name);
    activeSlices(name).push_back(name);
}

void QkTraceWriter::release(QkName* name) {
    if (name->isSlice() && --name->extension->holds == 0) std::erase(activeSlices(name), name);
    countHolds(name, -1);
}

void QkTraceWriter::countHolds(QkName* name, int by) {
    forgetPlan();
    eachSource(name, [&](QkTrace* trace) {
        const bool wasActive = trace->ntrace > 0;
        trace->ntrace += by;
        const bool isActive = trace->ntrace > 0;
        if (isActive && !wasActive) {
            activate(trace);
            if (trace->isArray()) database->followArray(name);
        }
        if (wasActive && !isActive) {
            deactivate(trace);
            if (trace->isArray()) database->unfollowArray(trace);
        }
    });
}

void QkTraceWriter::countOn(QkName* name, int32_t QkTrace::*counter, int by) {
    forgetPlan();
    eachSource(name, [&](QkTrace* trace) { trace->*counter += by; });
}

void QkTraceWriter::startTracing(QkName* name) {
    QkTrace* const trace = name->trace;
    if (!QK_CHECK_AS(trace && trace != &gDummyTrace,
                     "nn && nn->trace && (nn->trace != &gDummyTrace)"))
        return;
    hold(name);
    name->traced = true;
    countTraced(name->scope, 1);
    starting = true;
    if (name->isSlice())
        recordStart(name);
    else if (trace->nrecord++ == 0)
        recordStart(trace);
    starting = false;
}

void QkTraceWriter::stopTracing(QkName* name) {
    setShow(name, false);
    eachSource(name, [](const QkTrace* trace) {
        QK_ASSERT(trace->ntrace >= 0);
        QK_ASSERT_AS(trace->nTraced() >= trace->nshow, "n->trace->nTraced() >= n->trace->nshow");
        QK_ASSERT_AS(trace->nshow >= 0, "n->trace->nshow >= 0");
    });
    release(name);
    if (!name->isSlice()) --name->trace->nrecord;
    name->traced = false;
    countTraced(name->scope, -1);
}

void QkTraceWriter::noteElement(QkName* name, QkTrace* source, int shows, int breaks) {
    NameExtension& extension = *name->extension;
    if (extension.holds == 0) return;
    forgetPlan();
    if (source) {
        if (source->ntrace == 0) activate(source);
        source->ntrace += extension.holds;
        source->nshow += shows;
        source->nbreak += breaks;
    }
    readSlice(name);
    if (!name->traced) return;
    extension.vcdSlot = slots.add(nullptr);
    recordStart(name);
}

void QkTraceWriter::settle(const QkName* name) {
    bool compared = false, changed = false;
    if (name->kind != kVirtualName && name->trace->isArray()) {
        database->lookAtArrays(name->trace);
        return;
    }
    eachSource(name, [&](const QkTrace* trace) {
        if (trace->ntrace == 0) return;
        compared = true;
        for (const QkTrace* const part : trace->parts())
            changed |= loadStorage(part->address, part->elementBytes()) != part->value;
    });
    // With a plan the values last seen are in its image, and a capture is cheap.
    if (compared && (planValid || changed)) captureNow();
}

// For a net that was traced before, the initial entry belongs to an earlier time: the value is then
// recorded as a change.

void QkTraceWriter::recordStart(QkTrace* trace) {
    forgetPlan();
    const uint32_t slot = slotOf(trace);
    if (trace->isArray()) {
        recordInitialArray(trace);
        return;
    }
    stampTime();
    if (slots.initial[slot] == 0)
        recordFirst(trace);
    else
        recordValue(trace, eventbs);
}

void QkTraceWriter::recordStart(QkName* slice) {
    NameExtension& extension = *slice->extension;
    if (extension.vcdSlot == 0) extension.vcdSlot = slots.add(nullptr);
    stampTime();
    uint32_t& first = slots.initial[extension.vcdSlot];
    const bool isFirst = first == 0;
    if (isFirst) first = initialCount() + 1;
    recordSlice(slice, isFirst ? initialbs : eventbs);
}

void QkTraceWriter::setShow(QkName* name, bool on) {
    if (name->show == on) return;
    name->show = on;
    countOn(name, &QkTrace::nshow, on ? 1 : -1);
}

void QkTraceWriter::nameGoes(QkName* name) {
    if (name->traced) stopTracing(name);
}

void QkTraceWriter::traceGoes(QkTrace* trace) {
    forgetPlan();
    coverage.forgetTrace(trace);
    if (trace->a_next) ActiveTraces::remove(active_traces, trace);
    if (trace->vcdSlot != 0) slots.owners[trace->vcdSlot].trace = nullptr;
}

// ---- Initial entries

void QkTraceWriter::recordFirst(QkTrace* trace) {
    slots.initial[slotOf(trace)] = initialCount() + 1;
    recordValue(trace, initialbs);
}

void QkTraceWriter::recordValue(QkTrace* trace, BucketRing& ring) {
    const uint32_t slot = slotOf(trace);
    const QkTrace* const first = trace->firstPart();
    for (const QkTrace* const part : trace->parts()) {
        const int width = part->range.width;
        const uint64_t value = (part->invert ? ~part->value : part->value) & bitMask(width);
        const uint32_t shape =
            first != trace ? partShape(width, part == first, trace->partAfter(part) == nullptr) : 0;
        addChange(ring, OutputChange{slot, shape, value});
    }
}

void QkTraceWriter::recordInitialArray(QkTrace* trace) {
    int64_t index = trace->arrayLeft();
    for (uint32_t i = 0; i < trace->nel; ++i, index += trace->arrayStep())
        recordInitialElement(trace, index);
}

void QkTraceWriter::recordInitialElement(QkTrace* trace, int64_t index) {
    const uint32_t element = trace->elementOf(index);
    const auto isZero = [&] {
        for (const QkTrace* const part : trace->parts())
            if (part->readStorage(element) != 0) return false;
        return true;
    };
    const uint64_t key = uint64_t{trace->vcdSlot} << 32 | static_cast<uint32_t>(index);
    if (isZero() || !initialElements.insert(key).second) return;
    stampTime();
    for (const QkTrace* const part : trace->parts())
        addChange(initialbs, OutputChange{trace->vcdSlot, static_cast<uint32_t>(index),
                                          part->readStorage(element)});
}

// ---- Slices

std::vector<QkName*>& QkTraceWriter::activeSlices(const QkName* name) {
    return name->kind == kVirtualName ? activeVirtuals : activeExtracts;
}

void QkTraceWriter::recordSlice(const QkName* name, BucketRing& ring) {
    stampTime();
    const NameExtension& extension = *name->extension;
    const int width = extension.range.width;
    const int chunks = name->chunkCount();
    for (int chunk = chunks; chunk-- > 0;) {
        const int bits = std::min(width - chunk * QK_MAXUBITS, QK_MAXUBITS);
        addChange(ring,
                  OutputChange{extension.vcdSlot, partShape(bits, chunk + 1 == chunks, chunk == 0),
                               extension.recorded[static_cast<size_t>(chunk)]});
    }
}
