// History: the rings of buckets, and how they are written to a file.
#include "tracing/trace_writer.h"

#include <pthread.h>

#include <algorithm>
#include <utility>

#include "netdb/database.h"
#include "qkzeft.h"
#include "run/failure.h"
#include "run/idle.h"
#include "run/time.h"
#include "tracing/trace_file.h"
#include "tracing/writing_thread.h"

QkTraceWriter* qkTraceWriter = nullptr;

QkTraceWriter::QkTraceWriter(QkDatabase* model, const ChangeListeners& changeListeners)
    : database(model), listeners(changeListeners) {}

QkTraceWriter::~QkTraceWriter() = default;

// ---- Flushing

std::unique_ptr<ChangeBucket> QkTraceWriter::flushOldest(BucketRing& ring) {
    if (file && !scopesWritten) {
        QK_ASSERT_AS(database, "liveModel");
        writeHeader();
        writeInitial();
    }
    if (ring.empty()) return nullptr;
    if (file) return write(ring.takeOldest());
    consume(ring.oldest(), ring.oldest().nChanges);
    std::unique_ptr<ChangeBucket> taken = ring.takeOldest();
    if (!ring.empty()) {
        // The changes of one time stay together, even if they continue in the next bucket.
        ChangeBucket& next = ring.oldest();
        if (next.firstChange < next.firstMarker)
            consume(next, std::min(next.nChanges, next.firstMarker));
    }
    taken->clear();
    return taken;
}

int QkTraceWriter::bucketLimit() const {
    // A history that is written to a file always has a few buckets.
    return file ? std::max(maxeventbs, kLeastBuckets) : maxeventbs;
}

/// Drops the oldest times, if at least as many changes remain as the user wants to keep.
void QkTraceWriter::dropOldest() {
    if (!findOldest()) return;
    const int64_t dropped = oldestCount + eventbs.nth(oldestBuckets).countBeforeMarker();
    if (keptCount - dropped < int64_t{maxeventbs} * kBucketEntries) return;
    keptCount -= dropped;
    for (; oldestBuckets > 0; --oldestBuckets) {
        moveToInitial(eventbs.oldest(), kBucketEntries);
        spareBuckets.push_back(eventbs.takeOldest());
        spareBuckets.back()->clear();
    }
    oldestCount = 0;
    ChangeBucket& next = eventbs.oldest();
    if (next.firstChange == 0) moveToInitial(next, next.firstMarker);
}

/// Finds the end of the times that begin in the oldest bucket. @return whether one was found
bool QkTraceWriter::findOldest() {
    while (oldestBuckets < eventbs.size()) {
        const ChangeBucket& next = eventbs.nth(oldestBuckets);
        if (oldestBuckets > 0 && next.hasMarker()) return true;
        oldestCount += next.count();
        ++oldestBuckets;
    }
    return false;
}

uint32_t QkTraceWriter::initialCount() {
    if (initialbs.empty()) return 0;
    return static_cast<uint32_t>(initialbs.size() - 1) * kBucketEntries +
           static_cast<uint32_t>(initialbs.newest().nChanges);
}

/// Moves the values of dropped entries to the initial entries of their nets.
void QkTraceWriter::moveToInitial(ChangeBucket& bucket, int end) {
    noteStart(bucket, end);
    uint32_t count = initialCount();
    for (int i = bucket.firstChange; i < end; ++i) {
        const OutputChange& change = bucket.changes[i];
        uint32_t& first = slots.initial[change.slot];
        if (change.slot == kTimeMarker || first == SlotTable::kNoInitial) continue;
        if (change.shape == 0 || (change.shape & kShapeFirst)) movedPart = 0;
        if (first == 0) first = count + 1;
        const uint32_t at = first - 1 + movedPart++;
        if (at < count) {
            initialbs.nth(static_cast<int>(at / kBucketEntries))
                .changes[at % kBucketEntries]
                .value = change.value;
        } else {
            addChange(initialbs, change);
            ++count;
        }
    }
    bucket.firstChange = end;
}

void QkTraceWriter::noteStart(const ChangeBucket& bucket, int end) {
    if (bucket.lastMarker >= bucket.firstChange && bucket.lastMarker < end)
        startTime = bucket.changes[bucket.lastMarker].value;
}

/// Writes a bucket that was removed from its ring, or passes it to the thread. @return an empty
/// one, or null
std::unique_ptr<ChangeBucket> QkTraceWriter::write(std::unique_ptr<ChangeBucket> bucket) {
    QK_ASSERT(scopesWritten);
    noteStart(*bucket, bucket->nChanges);
    bucket->slotCount = slots.owners.size();
    if (writing) return writing->give(std::move(bucket));
    writeBucket(*file, *bucket);
    bucket->clear();
    return bucket;
}

void QkTraceWriter::consume(ChangeBucket& bucket, int end) {
    noteStart(bucket, end);
    fold(bucket, end);
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
    } else if (slots.initial[change.slot] == 0) {
        recordFirst(trace);
    } else {
        // The change is lost: the next capture records the right value.
        owner.forced = anyForced = true;
    }
}

void QkTraceWriter::flushAll() {
    QK_ASSERT(file);
    QK_ASSERT_AS(database, "liveModel");
    if (!scopesWritten) {
        writeHeader();
        writeInitial();
    }
    while (!eventbs.empty()) flushOldest(eventbs);
    if (writing) writing->wait();
    keptCount = oldestCount = oldestBuckets = 0;
    spareBuckets.clear();
    file->writeTime(qk_cycle);
}

std::unique_ptr<ChangeBucket> QkTraceWriter::flushFull() {
    if (file && !scopesWritten) {
        writeHeader();
        writeInitial();
    }
    if (file && std::exchange(threadUntried, false)) writing = WritingThread::start(*file);
    return flushOldest(eventbs);
}

void QkTraceWriter::stopThread() {
    if (writing) waited += writing->waitedNs();
    writing = nullptr;
}

void QkTraceWriter::reportWaiting() const {
    const uint64_t ns = waited + (writing ? writing->waitedNs() : 0);
    if (ns != 0)
        qk_printf("  %.2f seconds waited for the trace file\n", static_cast<double>(ns) / 1e9);
}

void QkTraceWriter::tryThread() { threadUntried = !writing; }

// ---- The head of a file

namespace {

bool isDeclared(const QkName* name) { return name->traced && !name->trace->isArray(); }

}  // namespace

void QkTraceWriter::writeHeader() {
    file->writeHead();
    ScopeRing::each(database->top_scopes, [&](const QkScope* scope) { writeScope(scope); });
    file->endDefinitions();
    lastTime = ~uint64_t{0};
    scopesWritten = true;
}

void QkTraceWriter::writeScope(const QkScope* scope) {
    if (scope->tracedCount == 0) return;
    file->beginScope(scope->name.str());
    ScopeNames::each(scope->allNames, [&](const QkName* name) {
        if (isDeclared(name)) writeVariable(name);
    });
    ScopeRing::each(scope->children, [&](const QkScope* child) { writeScope(child); });
    file->endScope();
}

void QkTraceWriter::writeVariable(const QkName* name) {
    // Names of one trace share its code; a slice has its own code.
    const uint32_t slot = name->isSlice() ? name->extension->vcdSlot : slotOf(name->trace);
    file->declare(slot, name, slots.codeOf(slot));
}

void QkTraceWriter::writeInitial() {
    QK_ASSERT(file);
    file->writeTime(startTime);
    file->beginInitial();
    while (!initialbs.empty()) flushOldest(initialbs);
    for (uint32_t& first : slots.initial)
        if (first != SlotTable::kNoInitial) first = 0;
    initialElements.clear();
    file->endInitial();
}

// ---- Files

bool QkTraceWriter::open(const char* filename) {
    // A thread does not exist in the child, and data that it is working on would be inconsistent
    // there.
    const auto prepare = [] {
        if (qkTraceWriter && qkTraceWriter->writing) qkTraceWriter->writing->wait();
    };
    const auto inChild = [] {
        if (qkTraceWriter) qkTraceWriter->leaveFile();
    };
    [[maybe_unused]] static const int whenForked = pthread_atfork(prepare, nullptr, inChild);
    file = openTraceFile(filename);
    endIdleness();
    threadUntried = true;
    return file != nullptr;
}

namespace {

/// The file that belongs to the parent of this forked process. A leak checker finds it here.
[[gnu::used]] QkTraceFile* volatile othersFile = nullptr;
[[gnu::used]] WritingThread* volatile othersThread = nullptr;

}  // namespace

void QkTraceWriter::leaveFile() {
    if (!file) return;
    othersFile = file.release();
    othersThread = writing.release();
    scopesWritten = false;
}

void QkTraceWriter::captureLast() {
    if (capturing) return;
    if (active_traces) {
        database->lookAtArrays(nullptr);
        captureNow();
    }
    if (!file) return;
    flushAll();
    file->sync();
}

void QkTraceWriter::closeFile() {
    if (!file) return;
    flushAll();
    stopThread();
    lastWritten = file->close();
    file = nullptr;
    scopesWritten = false;
}

void QkTraceWriter::rescaleTimes(uint64_t factor) {
    if (scopesWritten) {
        qk_printf("ZEFT: closing VCD file '%s': the timescale gets finer than its header says\n",
                  file->name());
        closeFile();
    }
    startTime *= factor;
    if (lastTime != kNoTime) lastTime *= factor;
    for (int i = 0; i < eventbs.size(); ++i) {
        ChangeBucket& bucket = eventbs.nth(i);
        for (int entry = bucket.firstChange; entry < bucket.nChanges; ++entry)
            if (bucket.changes[entry].slot == kTimeMarker) bucket.changes[entry].value *= factor;
    }
}

bool QkTraceWriter::traceTo(const char* filename) {
    if (file) closeFile();
    QK_ASSERT_AS(!fileIsOpen(), "!qkLiveModel->writer.fileIsOpen()");
    if (!open(filename)) return false;
    if (qk_strict && maxeventbs == 0) maxeventbs = kLeastBuckets;
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
