#include "validate/vcd_traces.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "tracing/trace_writer.h"
#include "validate/file_reader.h"
#include "validate/reasons.h"
#include "validate/sample.h"

namespace {

/// Calls visit(part, offset) for each part of a net, the most significant first; `offset` is that
/// of the part's low bit from the low end of the value.
template <class Trace, class Visit>
void eachPart(Trace* trace, Visit&& visit) {
    int top = trace->width();
    for (Trace* const part : trace->parts()) {
        top -= part->width();
        if (top < 0 || !part->address) return;
        visit(part, top);
    }
}

/// ORs a value of at most 64 bits into chunks of 64 bits, one member of each.
template <class Chunk>
void place(Chunk* chunks, uint64_t Chunk::*member, int offset, int width, uint64_t value) {
    placeBits(offset, width, value, [&](int at) -> uint64_t& { return chunks[at].*member; });
}

}  // namespace

bool isComparable(const QkTrace* trace) {
    if (trace->ignored) return false;
    const QkTrace* last = trace;
    for (const QkTrace* const part : trace->parts()) {
        if (part->ignored) return false;
        last = part;
    }
    if (last->isArray()) return false;
    if (trace->forceCompare || last->forceCompare) return true;
    return (last->flags & QK_flag_register) && !(last->flags & QK_flag_not_compared);
}

// ---- A trace's values

QkVCDTrace::QkVCDTrace(QkVCDTraces* traces, QkTrace* trace, int width)
    : ComparedValue(::isComparable(trace) && width == trace->width() ? ValuesMatch : DoNotCompare,
                    width),
      liveTrace(trace),
      owner(traces),
      pendingBits(width, &pendingChunk),
      vcdBits(width, &vcdChunk),
      previousValue(width, &previousChunk) {
    pendingBits.link(&vcdBits);
    if (chunkCount() > 1) {
        wide = std::make_unique<LiveChunk[]>(static_cast<size_t>(chunkCount()));
        live = wide.get();
    }
    if (width == trace->width())
        eachPart(trace, [&](const QkTrace* part, int offset) {
            if (!part->invert)
                place(live, &LiveChunk::compared, offset, part->width(), bitMask(part->width()));
        });
    readLive();
    forgetChange();
    chooseName();
}

QkVCDTrace::~QkVCDTrace() {
    if (waitingToSync_n) WaitingRing::remove(waitingToSync, this);
    if (state == OutOfSync) --nOutOfSync;
}

/// Chooses the shortest of the net's names; names that another net has replaced come last.
void QkVCDTrace::chooseName() {
    const QkName* chosen = nullptr;
    const auto length = [](const QkName* candidate) {
        return static_cast<size_t>(candidate->scope->fullNameLength) + std::strlen(candidate->name);
    };
    TraceNames::each(liveTrace->names, [&](const QkName* candidate) {
        const bool mayReplace =
            !chosen ||
            (length(candidate) < length(chosen) &&
             ((chosen->netFlags & QK_flag_replaced) || !(candidate->netFlags & QK_flag_replaced)));
        if (mayReplace) chosen = candidate;
    });
    if (chosen) name = FullName(chosen).c_str();
}

bool QkVCDTrace::readLive() {
    if (liveTrace->isArray() || vcdBits.width() != liveTrace->width()) return false;
    if (liveTrace->firstPart() == liveTrace) {
        const uint64_t now = liveTrace->readStorage();
        if (now == live->now) return false;
        live->before = live->now;
        live->now = now;
        return true;
    }
    const std::vector<LiveChunk> read = readStorage();
    bool changed = false;
    for (size_t i = 0; i < read.size(); ++i) changed |= read[i].now != live[i].now;
    for (size_t i = 0; changed && i < read.size(); ++i) {
        live[i].before = live[i].now;
        live[i].now = read[i].now;
    }
    return changed;
}

std::vector<QkVCDTrace::LiveChunk> QkVCDTrace::readStorage() const {
    std::vector<LiveChunk> chunks(static_cast<size_t>(chunkCount()), LiveChunk{0, 0, 0});
    eachPart(liveTrace, [&](const QkTrace* part, int offset) {
        place(chunks.data(), &LiveChunk::now, offset, part->width(), part->readStorage());
    });
    return chunks;
}

std::string QkVCDTrace::storageText() const {
    return digitsOf(readStorage().data(), &LiveChunk::now);
}

void QkVCDTrace::forgetChange() {
    for (int i = 0; i < chunkCount(); ++i) live[i].before = live[i].now;
}

bool QkVCDTrace::matchesLiveModel() const {
    if (state == DoNotCompare) return true;
    if (narrowWidth != 0) {
        const uint64_t digits = vcdChunk.known & narrow.compared & bitMask(narrowWidth);
        return ((vcdChunk.high ^ narrow.now) & digits) == 0;
    }
    const int width = vcdBits.width();
    for (int at = 0; at < width; at += 64) {
        const BitString::Known digits = vcdBits.knownAt(at, std::min(64, width - at));
        const LiveChunk& chunk = live[at / 64];
        if ((digits.ones ^ chunk.now) & digits.known & chunk.compared) return false;
    }
    return true;
}

std::string QkVCDTrace::digitsOf(const LiveChunk* chunks, uint64_t LiveChunk::*value) const {
    const int width = vcdBits.width();
    std::string text(static_cast<size_t>(width), '0');
    for (int i = 0; i < width; ++i)
        if (chunks[i / 64].*value >> i % 64 & 1) text[static_cast<size_t>(width - 1 - i)] = '1';
    return text;
}

// ---- Values from the trace

void QkVCDTraces::setPendingKnown(QkVCDTrace* trace, uint64_t value) {
    if (trace->state == Parked && !trace->isStimulus) return;
    settle(trace);
    if (trace->narrowWidth != 0)
        trace->pendingChunk = BitString::Chunk::ofKnown(value);
    else
        trace->pendingBits.setWhole(value);
    enqueue(trace);
}

void QkVCDTraces::enqueue(QkVCDTrace* trace) {
    if (std::exchange(trace->isPending, true)) return;
    (trace->group == kOtherInputs ? pending : pendingFirst).push_back(trace);
}

void QkVCDTrace::setPendingVC(std::string_view value, int offset, int bits, bool initial) {
    if (!liveTrace || (state == Parked && !isStimulus && !initial)) return;
    if (!isPending && isStimulus && qkReader->verbosestep)
        say("QkVCDTrace::setPendingVC(): Time: %s: Change in %s: %s\n", qk_cycle_as_string(),
            liveTrace->flags & QK_flag_clock ? "clock" : "     ", name.c_str());
    if (value.empty()) return;
    if (owner->sample && !initial) owner->sample->touch(this);
    owner->settle(this);
    pendingBits.setDigits(value, offset, bits);
    owner->enqueue(this);
}

/// Prefetches the memory that commits of some traces after the `at`th will touch, one step further
/// for nearer ones.
void QkVCDTraces::prefetchAhead(size_t at) const {
    constexpr size_t own = 24, net = 12;
    if (at + own < pending.size()) __builtin_prefetch(pending[at + own], 1);
    if (at + net >= pending.size()) return;
    const QkVCDTrace* const trace = pending[at + net];
    __builtin_prefetch(&trace->narrow, 1);
    __builtin_prefetch(&trace->waitingToSync_n, 1);
}

void QkVCDTraces::commitPending(bool initial) {
    if (initial) settleAll();
    if (pending.empty() && pendingDriven.empty() && pendingFirst.empty()) return;
    if (qkReader->verbose > 3) qk_printf("Commit Pending Changes:\n");
    droveTraced = false;
    commitDriven();
    commitList(pendingFirst, initial);
    commitList(pending, initial);
    // Values from the trace are recorded before the model's reaction to them.
    if (droveTraced) qkTraceWriter->captureChanges();
}

void QkVCDTraces::commitList(std::vector<QkVCDTrace*>& list, bool initial) {
    const bool isLong = &list == &pending;
    for (size_t i = 0; i < list.size(); ++i) {
        if (isLong) prefetchAhead(i);
        commit(list[i], initial);
    }
    list.clear();
}

bool QkVCDTraces::commitGroup(CommitGroup group) {
    droveAny = false;
    const bool isAny = group == kOtherInputs && !(pending.empty() && pendingDriven.empty());
    if (!isAny && pendingFirst.empty()) return false;
    if (qkReader->verbose > 3) qk_printf("Commit Pending Changes:\n");
    if (group == kOtherInputs) {
        commitDriven();
        commitList(pendingFirst, false);  // traces that changed their group while they waited
        commitList(pending, false);
        return droveAny;
    }
    // Printing may call code that removes traces.
    for (size_t i = 0; i < pendingFirst.size(); ++i)  // NOLINT(modernize-loop-convert)
        if (pendingFirst[i]->group == group) commit(pendingFirst[i], false);
    std::erase_if(pendingFirst, [](const QkVCDTrace* trace) { return !trace->isPending; });
    return droveAny;
}

void QkVCDTraces::regroup(bool apart) {
    settleAll();
    grouped = apart;
    for (const auto& trace : all) {
        const uint32_t flags = trace->liveTrace ? trace->liveTrace->flags : 0;
        trace->group = !apart || !trace->isStimulus    ? kOtherInputs
                       : (flags & QK_flag_early_input) ? kEarlyInputs
                       : (flags & QK_flag_clock)       ? kClocks
                                                       : kOtherInputs;
    }
}

bool QkVCDTraces::isInputPending() const {
    const auto isInput = [](const QkVCDTrace* trace) { return trace->isStimulus; };
    return !pendingDriven.empty() || std::any_of(pending.begin(), pending.end(), isInput) ||
           std::any_of(pendingFirst.begin(), pendingFirst.end(), isInput);
}

void QkVCDTraces::commit(QkVCDTrace* trace, bool initial) {
    trace->isPending = false;
    if (!trace->liveTrace) return;
    const QkFileReader& reader = *qkReader;
    if (reader.verbose > 3 || (reader.verbosestep && trace->isStimulus))
        say("Time: %s: Commit %s: %s -> %s\n", qk_cycle_as_string(), trace->name.c_str(),
            trace->vcdBits.text().c_str(), trace->pendingBits.text().c_str());
    trace->commitPendingVC(initial);
    takeUp(trace->directCode);
}

/// BitString::commit() of the pending value. Keeps the trace's previous value for reports if it is
/// compared.
inline int QkVCDTrace::commitBits() {
    if (narrowWidth == 0) {
        if (isComparable()) previousValue.copyFrom(vcdBits);
        return pendingBits.commit();
    }
    // Each of the three strings would touch another cache line.
    previousChunk = vcdChunk;
    const int change =
        BitString::classify(BitString::changesOf(pendingChunk, vcdChunk, bitMask(narrowWidth)));
    vcdChunk = pendingChunk;
    return change;
}

void QkVCDTrace::commitPendingVC(bool initial) {
    constexpr int unchanged = 1, becameKnown = 2;
    const int change = commitBits();
    if (!initial && change == unchanged) return;
    if (isMatched() || qkReader->verbose > 1) noteVCDUpdate(change == becameKnown);
    traceChanged |= !initial && change == becameKnown;
    const bool drives = isStimulus && change == becameKnown;
    if (initial || drives) {
        writeBitString(liveTrace, vcdBits, initial);
        if (initial) {
            readLive();
            forgetChange();
        }
        if (isStimulus) {
            ++nChanges;
            owner->droveAny |= drives;
            // A shown change is printed here, before messages of the next commit, unless the model
            // may have been evaluated since the last capture.
            const bool isCaptured = initial || !owner->grouped;
            if (isCaptured && liveTrace->nshow > 0)
                qkTraceWriter->captureChanges();
            else
                owner->droveTraced |= liveTrace->nTraced() > 0;
        }
    }
    if (qkReader->verbose <= 2 || !liveTrace || liveTrace->nshow == 0) return;
    say("Time: %s: VCD Change: %s %s %s%s\n", qk_cycle_as_string(), name.c_str(),
        drives ? " (stimulus updated) " : "", change == becameKnown ? "" : "(changed to Xs/Zs) ",
        pendingBits.text().c_str());
}

namespace {

std::string debugName(const QkTrace* trace) {
    return trace->names ? FullName(trace->names).c_str() : "NO NAMES";
}

/// Prints one place to which a value is written.
void tellPlace(const char* loop, const QkTrace* place) {
    say("QkTrace::writeBitString(): %s: (%s) t->flags=0x%04X t->invert=%d\n", loop,
        debugName(place).c_str(), place->flags, place->invert);
}

void tellPlaces(QkTrace* part) {
    const CopyGroup* const group = copiesOf(part);
    if (!group) {
        tellPlace("bitswalker", part);
        return;
    }
    for (const QkTrace* const member : group->members) tellPlace("osgrp loop", member);
}

}  // namespace

void writeBitString(QkTrace* trace, const BitString& bits, bool initial) {
    const QkFileReader& reader = *qkReader;
    const bool neverWrite = (trace->flags & QK_flag_never_write) != 0;
    if (reader.verbose > 3)
        say("QkTrace::writeBitString(\"%s\",%d) (%s) flags=0x%04X invert=%d neverWrite:%d\n",
            bits.text().c_str(), initial, debugName(trace).c_str(), trace->flags, trace->invert,
            neverWrite);
    if (neverWrite || trace->isArray()) return;
    if (bits.width() != trace->width()) return;
    qkWriteCount += initial;
    // Digits of saved state, and in strict mode all digits, are those of the storage. Otherwise the
    // net must read as in the trace.
    const bool ofStorage = trace->invert && (qk_strict || reader.loadingState);
    eachPart(trace, [&](QkTrace* part, int offset) {
        const int width = part->width();
        const BitString::Known digits = bits.knownAt(offset, width);
        if (reader.verbose > 3) tellPlaces(part);
        if (digits.known == 0) return;
        const uint64_t ones = digits.ones ^ (ofStorage ? bitMask(width) : 0);
        const uint64_t old = part->readStorage();
        const uint64_t value = (old & ~digits.known) | (ones & digits.known);
        if (value == old) return;
        // Saved state has a value for each copy of a net.
        if (reader.loadingState || !copiesOf(part)) {
            const int bytes = part->elementBytes();
            const uint64_t others = loadStorage(part->address, bytes) & ~bitMask(width);
            storeStorage(part->address, bytes,
                         others | (part->invert ? value ^ bitMask(width) : value));
        } else {
            writeBits(part, 0, part->range.right(), width, value);
        }
    });
}

// ---- Changes in the model

void QkVCDTraces::noteChange(QkVCDTrace* trace) {
    if (trace->liveTrace && trace->readLive()) trace->noteLiveUpdate();
}

void QkVCDTraces::scanLiveChanges() {
    if (qkTraceWriter->active_traces || qkTraceWriter->coverage.isRunning())
        qkTraceWriter->captureChanges();
    if (!planValid) {
        // Changes since the traces were last read are not in the images.
        std::erase_if(active, [](const QkVCDTrace* trace) { return !trace->liveTrace; });
        std::vector<QkTrace*> watched;
        for (const QkVCDTrace* trace : active) watched.push_back(trace->liveTrace);
        plan.build(watched, CapturePlan::kFromStorage);
        planValid = true;
        for (QkVCDTrace* const trace : active) noteChange(trace);
        return;
    }
    const size_t count = plan.listChanges();
    for (size_t i = 0; i < count; ++i) noteChange(active[plan.changed()[i]]);
}

void QkVCDTraces::endDump() {
    commitPending(true);
    for (const auto& trace : all) {
        if (!trace->liveTrace || (!trace->isComparable() && !trace->isStimulus)) continue;
        if (trace->state == Parked) continue;
        trace->setState(ValuesMatch, qk_cycle);
        trace->lastStateChange = 0;
        trace->nChanges = 0;
        trace->readLive();
        trace->forgetChange();
    }
}

void QkVCDTraces::beginPause() {
    std::vector<QkVCDTrace*> waiting;
    WaitingRing::each(waitingToSync, [&](QkVCDTrace* trace) { waiting.push_back(trace); });
    for (QkVCDTrace* const trace : waiting) {
        trace->checkEndState();
        if (trace->state == OutOfSync) continue;
        // It has just changed, and later changes are not known.
        trace->setState(Parked, qk_cycle);
        trace->unpark();
    }
}

std::vector<QkVCDTrace*> QkVCDTraces::takeDump() {
    for (const auto& trace : all) trace->settleState();
    std::vector<QkVCDTrace*> given = pending;
    std::vector<int> changes;
    changes.reserve(given.size());
    for (const QkVCDTrace* const trace : given) changes.push_back(trace->nChanges);
    commitPending(true);
    for (size_t i = 0; i < given.size(); ++i) {
        given[i]->settleState();
        given[i]->nChanges = changes[i];
    }
    return given;
}

void QkVCDTraces::takeAgain(const std::vector<QkVCDTrace*>& given) {
    for (const QkVCDTrace* const trace : given)
        if (trace->liveTrace) writeBitString(trace->liveTrace, trace->vcdBits, true);
    for (const auto& trace : all) trace->settleState();
}

void QkVCDTraces::endOfTrace() {
    qk_printf("\nTime: %s: End of Trace File Reached\n\n", qk_cycle_as_string());
    for (auto trace = all.rbegin(); trace != all.rend(); ++trace) (*trace)->checkEndState();
}

// ---- Which traces there are

QkVCDTraceStore::~QkVCDTraceStore() {
    for (void* const block : blocks) std::free(block);
}

void* QkVCDTraceStore::place() {
    constexpr size_t size = sizeof(QkVCDTrace), alignment = alignof(QkVCDTrace);
    if (next == end) {
        // Doubled each time: few nets need little memory, and many need few blocks.
        blockSize = blockSize == 0 ? 64 * size : 2 * blockSize;
        void* block = allocateBlock(blockSize + alignment, "reference trace");
        blocks.push_back(block);
        size_t room = blockSize + alignment;
        next = static_cast<char*>(std::align(alignment, blockSize, block, room));
        end = next + blockSize;
    }
    return std::exchange(next, next + size);
}

QkVCDTraces::~QkVCDTraces() {
    all.clear();
    QK_ASSERT_AS(waitingToSync == nullptr, "waitingToSync == NULL");
}

QkVCDTrace* QkVCDTraces::find(const QkTrace* trace) const {
    return trace->id < byTrace.size() ? byTrace[trace->id] : nullptr;
}

QkVCDTrace* QkVCDTraces::add(QkTrace* trace, int width) {
    if (trace->id >= byTrace.size()) byTrace.resize(size_t{trace->id} + 1);
    QK_ASSERT_AS(!byTrace[trace->id], "newone");
    all.emplace_back(new (store.place()) QkVCDTrace(this, trace, width));
    QkVCDTrace* const made = all.back().get();
    byTrace[trace->id] = made;
    longestName = std::max(longestName, static_cast<int>(made->name.size()));
    planValid = false;
    active.push_back(made);
    return made;
}

void QkVCDTraces::retire(const QkTrace* trace) {
    QkVCDTrace* const gone = find(trace);
    if (!gone) return;
    QK_ASSERT_AS(gone->liveTrace == trace, "vcdTrace->liveTrace == this");
    byTrace[trace->id] = nullptr;
    gone->retire();
    planValid = false;
}

void QkVCDTraces::remove(const QkTrace* trace) {
    QkVCDTrace* const gone = find(trace);
    if (!gone) return;
    settleAll();
    byTrace[trace->id] = nullptr;
    std::erase(active, gone);
    std::erase(pending, gone);
    std::erase(pendingFirst, gone);
    planValid = false;
    std::erase_if(all, [&](const auto& one) { return one.get() == gone; });
}

void QkVCDTraces::updateMonitoring() {
    std::vector<QkVCDTrace*> watched;
    int monitored = 0, total = 0;
    for (const auto& trace : all) {
        const QkTrace* const live = trace->liveTrace;
        if (!live) continue;
        const bool comparable = trace->isComparable();
        const bool traced = live->nTraced() > 0;
        const bool leftOut = live->ignored || (!traced && monitorTracedOnly);
        total += comparable;
        if (leftOut) {
            if (comparable && !live->ignored) trace->setState(Parked, qk_cycle);
            continue;
        }
        if (!traced && !comparable) continue;
        if (trace->state == Parked) trace->unpark();
        if (!live->isArray()) watched.push_back(trace.get());
        monitored += comparable;
    }
    if (watched != active) {
        active = std::move(watched);
        planValid = false;
    }
    monitoredCount = total;
    if (total == 0)
        qk_printf("ZEFT Validate: no variables in the model can be compared to the trace\n");
    if (monitored == 0 || qkReader->verbose != 0)
        qk_printf("ZEFT Validate: monitoring %d of %d variables in the model\n", monitored, total);
}

int QkVCDTraces::countClockStimuli() const {
    int count = 0;
    const auto isClock = [](const QkTrace* trace) { return (trace->flags & QK_flag_clock) != 0; };
    for (const auto& trace : all)
        count += trace->isStimulus && trace->liveTrace &&
                 SameAddress::find(trace->liveTrace, isClock) != nullptr;
    return count;
}

// ---- The summary

void QkVCDTraces::summarise() {
    settleAll();
    Printout out;
    out.add('\n');
    const bool each = qkReader->verbose > 1;
    int inputs = 0, signals = 0, inputChanges = 0, comparedChanges = 0;
    uint64_t longest = 0;
    for (auto at = all.rbegin(); at != all.rend(); ++at) {
        const QkVCDTrace& trace = **at;
        const uint64_t sync = std::max(trace.maxSyncToVCD, trace.maxSyncToLive);
        longest = std::max(longest, sync);
        (trace.isStimulus ? inputs : signals) += 1;
        (trace.isStimulus ? inputChanges : comparedChanges) += trace.nChanges;
        if (!each) continue;
        out.print("    %*s:  Changes:%-6d ", longestName, trace.name.c_str(), trace.nChanges);
        if (trace.isStimulus)
            out.add("(Input)\n");
        else if (trace.lostSync)
            out.add("(Lost Sync)\n");
        else
            out.print("Max Sync Time: %s\n", qk_time_as_string(sync));
        out.endLine();
    }
    if (inputs == 0 && signals == 0) {
        out.add("ZEFT Validate: not started!\n");
        return;
    }
    const QkFileReader& reader = *qkReader;
    out.print(
        "\nZEFT Validate:\n  Made %d changes in %d inputs\n  Compared %d changes in %d signals\n"
        "  Longest time to synchronise was %s\n  %d differences found\n",
        inputChanges, inputs, comparedChanges, signals, qk_time_as_string(longest),
        reader.nDifferences + reader.nDifferencesTotal);
    if (!qk_strict) summariseDoubts(*reader.vcdModel, out);
}
