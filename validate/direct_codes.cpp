// Codes whose values are whole values of one net, and the values of nets that are only driven.
//
// While the record of a code drives, it holds the value of its QkVCDTrace: all other code that
// reads or writes that value calls settle() first. So does a value with an unknown digit; the
// record takes over the net again when all its digits are known.
#include "netdb/database.h"
#include "tracing/trace_writer.h"
#include "validate/vcd_traces.h"

namespace {

/// @return the place of a net that one store writes completely, or null
void* plainStorage(QkTrace* live, int width) {
    if (width > QK_MAXUBITS || live->width() != width || live->isArray()) return nullptr;
    if ((live->flags & QK_flag_never_write) || live->firstPart() != live) return nullptr;
    if (live->invert) return nullptr;
    // Traces of other names may have the same storage.
    if (live->sameAddr_n != live || copiesOf(live)) return nullptr;
    return live->address;
}

}  // namespace

void QkVCDTraces::startDirectCodes(size_t count) {
    codes.assign(count, DirectCode{});
    codeTraces.assign(count, nullptr);
    for (const auto& trace : all) trace->directCode = QkVCDTrace::kNoCode;
    codesValid = true;
}

void QkVCDTraces::addDirectCode(uint32_t number, const DirectCode& code, QkVCDTrace* trace) {
    codes[number] = code;
    codeTraces[number] = trace;
    if (!trace) return;
    if (trace->directCode == QkVCDTrace::kNoCode) {
        trace->directCode = number;
        takeUp(number);
    } else {
        settle(trace);
        trace->directCode = QkVCDTrace::kSeveralCodes;
    }
}

/// Makes the record of a code drive its net, if possible.
void QkVCDTraces::takeUp(uint32_t number) {
    if (!codesValid || number == QkVCDTrace::kNoCode || number >= codes.size()) return;
    QkVCDTrace* const trace = codeTraces[number];
    DirectCode& code = codes[number];
    const bool isDrivenOnly = trace->liveTrace && trace->isStimulus && !trace->isComparable();
    if (!isDrivenOnly || trace->group != kOtherInputs || trace->isPending ||
        trace->narrowWidth != code.width)
        return;
    const uint64_t digits = bitMask(code.width);
    if (~trace->vcdChunk.known & digits) return;
    code.storage = plainStorage(trace->liveTrace, code.width);
    code.value = trace->vcdChunk.high & digits;
}

void QkVCDTraces::settle(QkVCDTrace* trace) {
    if (trace->directCode >= codes.size()) return;
    DirectCode& code = codes[trace->directCode];
    if (!code.storage) return;
    code.storage = nullptr;
    trace->vcdChunk = trace->pendingChunk = BitString::Chunk::ofKnown(code.value);
    trace->nChanges += std::exchange(code.nChanges, 0);
    if (!std::exchange(code.isPending, false)) return;
    trace->pendingChunk = BitString::Chunk::ofKnown(code.pending);
    enqueue(trace);
}

void QkVCDTraces::settleAll() {
    if (!codesValid) return;
    codesValid = false;
    for (const uint32_t number : pendingDriven) settle(codeTraces[number]);  // in this order
    pendingDriven.clear();
    for (QkVCDTrace* const trace : codeTraces)
        if (trace) settle(trace);
}

void QkVCDTraces::commitDriven() {
    constexpr size_t ahead = 16;
    const bool anyTraced = qkTraceWriter->active_traces != nullptr;
    for (size_t i = 0; i < pendingDriven.size(); ++i) {
        if (i + ahead < pendingDriven.size())
            __builtin_prefetch(codes[pendingDriven[i + ahead]].storage, 1);
        DirectCode& code = codes[pendingDriven[i]];
        // A code that has been settled is still in the list, but not pending.
        if (!std::exchange(code.isPending, false) || code.pending == code.value) continue;
        code.value = code.pending;
        droveAny = true;
        const int bytes = storageBytes(code.width);
        const uint64_t others = loadStorage(code.storage, bytes) & ~bitMask(code.width);
        storeStorage(code.storage, bytes, others | code.value);
        ++code.nChanges;
        if (anyTraced) droveTraced |= codeTraces[pendingDriven[i]]->liveTrace->nTraced() > 0;
    }
    pendingDriven.clear();
}
