// Which names are traced, and what is recorded when tracing begins.
#include <algorithm>

#include "netdb/live_model.h"
#include "qkzeft_run.h"
#include "tracing/trace_writer.h"

namespace {

void countTraced(QkScope* scope, int by) {
    for (; scope; scope = scope->parent) scope->tracedCount += by;
}

}  // namespace

void QkTraceWriter::forgetPlan() {
    if (planValid) plan.spill();
    planValid = false;
}

uint32_t QkTraceWriter::slotOf(QkTrace* trace) {
    if (trace->vcdSlot == 0) trace->vcdSlot = slots.add(trace);
    return trace->vcdSlot;
}

void QkTraceWriter::activate(QkTrace* trace) {
    forgetPlan();
    for (QkTrace* part = trace->firstPart(); part; part = trace->partAfter(part))
        part->value = loadStorage(part->address, part->elementBytes());
    slotOf(trace);
    // Clocks are compared last.
    if (trace->flags & QK_flag_clock) {
        ActiveTraces::append(liveModel->active_traces, trace);
    } else {
        ActiveTraces::prepend(liveModel->active_traces, trace);
    }
}

void QkTraceWriter::deactivate(QkTrace* trace) {
    forgetPlan();
    ActiveTraces::remove(liveModel->active_traces, trace);
}

void QkTraceWriter::startTracing(QkName* name) {
    QkTrace* const trace = name->trace;
    QK_ASSERT_AS(trace && trace != &gDummyTrace, "nn && nn->trace && (nn->trace != &gDummyTrace)");
    if (trace->ntrace++ == 0) {
        activate(trace);
        if (trace->isArray()) liveModel->followArray(name);
    }
    switch (name->kind) {
        case kPlainName:
        case kTermName:
            if (trace->nrecord++ == 0) recordStart(trace);
            break;
        case kExtractName: startExtract(name); break;
        default: QK_ASSERT_AS(false, "0");
    }
    name->traced = true;
    countTraced(name->scope, 1);
}

void QkTraceWriter::stopTracing(QkName* name) {
    setShow(name, false);
    QkTrace* const trace = name->trace;
    QK_ASSERT(trace->ntrace >= 0);
    QK_ASSERT_AS(trace->nTraced() >= trace->nshow, "n->trace->nTraced() >= n->trace->nshow");
    QK_ASSERT_AS(trace->nshow >= 0, "n->trace->nshow >= 0");
    forgetPlan();
    if (trace->ntrace-- == 1) {
        deactivate(trace);
        if (trace->isArray()) liveModel->unfollowArray(trace);
    }
    if (name->kind == kExtractName) {
        std::erase(activeExtracts, name);
    } else {
        --trace->nrecord;
    }
    name->traced = false;
    countTraced(name->scope, -1);
}

void QkTraceWriter::recordStart(QkTrace* trace) {
    forgetPlan();
    const uint32_t slot = slotOf(trace);
    if (trace->isArray()) {
        recordInitialArray(trace);
    } else if (!slots.owners[slot].hasInitial) {
        recordInitial(trace);
    } else {
        // Traced before: its initial entry stands for an earlier time.
        slots.owners[slot].forced = anyForced = true;
    }
}

void QkTraceWriter::setShow(QkName* name, bool on) {
    if (name->show == on) return;
    forgetPlan();
    name->show = on;
    name->trace->nshow += on ? 1 : -1;
}

void QkTraceWriter::forgetTrace(QkTrace* trace) {
    forgetPlan();
    if (trace->a_next) ActiveTraces::remove(liveModel->active_traces, trace);
    if (trace->vcdSlot != 0) slots.owners[trace->vcdSlot].trace = nullptr;
}

// ---- Initial entries

void QkTraceWriter::recordInitial(QkTrace* trace) {
    openTail();
    if (lastTime != qk_cycle) stampTime();
    closeTail();
    const uint32_t slot = slotOf(trace);
    slots.owners[slot].hasInitial = true;
    const QkTrace* const first = trace->firstPart();
    for (const QkTrace* part = first; part; part = trace->partAfter(part)) {
        const int width = part->range.width;
        const uint64_t value = (part->invert ? ~part->value : part->value) & bitMask(width);
        const uint32_t shape =
            first != trace ? partShape(width, part == first, trace->partAfter(part) == nullptr) : 0;
        *nextChange(initialbs) = OutputChange{slot, shape, value};
    }
}

void QkTraceWriter::recordInitialArray(QkTrace* trace) {
    const int64_t step = trace->arrayLeft() > trace->arrayRight() ? -1 : 1;
    int64_t index = trace->arrayLeft();
    for (uint32_t i = 0; i < trace->nel; ++i, index += step) recordInitialElement(trace, index);
}

void QkTraceWriter::recordInitialElement(QkTrace* trace, int64_t index) {
    const uint32_t element = trace->elementOf(index);
    const auto isZero = [&] {
        for (const QkTrace* part = trace->firstPart(); part; part = trace->partAfter(part))
            if (part->readStorage(element) != 0) return false;
        return true;
    };
    const uint64_t key = uint64_t{trace->vcdSlot} << 32 | static_cast<uint32_t>(index);
    if (isZero() || !initialElements.insert(key).second) return;
    openTail();
    if (lastTime != qk_cycle) stampTime();
    closeTail();
    for (const QkTrace* part = trace->firstPart(); part; part = trace->partAfter(part))
        *nextChange(initialbs) =
            OutputChange{trace->vcdSlot, static_cast<uint32_t>(index), part->readStorage(element)};
}

// ---- Slices

void QkTraceWriter::startExtract(QkName* name) {
    NameExtension& extension = *name->extension;
    if (extension.vcdSlot == 0) extension.vcdSlot = slots.add(nullptr);
    extension.recorded.assign(static_cast<size_t>(name->chunkCount()), 0);
    recordExtract(name, initialbs);
    activeExtracts.push_back(name);
}

void QkTraceWriter::recordExtract(QkName* name, BucketRing& ring) {
    openTail();
    if (lastTime != qk_cycle) stampTime();
    closeTail();
    NameExtension& extension = *name->extension;
    const int width = extension.range.width;
    const int chunks = name->chunkCount();
    for (int chunk = chunks; chunk-- > 0;) {
        const int bits = std::min(width - chunk * QK_MAXUBITS, QK_MAXUBITS);
        const uint64_t value = readChunk(name, chunk, 0) & bitMask(bits);
        extension.recorded[static_cast<size_t>(chunk)] = value;
        *nextChange(ring) = OutputChange{extension.vcdSlot,
                                         partShape(bits, chunk + 1 == chunks, chunk == 0), value};
    }
}
