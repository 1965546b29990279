// Value-change capture: what changed at each step, held in history buckets, written as VCD.
//
// The model writes its nets to its own memory without calling the library. At each capture the
// writer compares the storage of every active trace with an image of what it last saw. A change
// becomes an entry in a ring of buckets of 1000; a bucket that overflows is written to the open
// file or, in memory only, dropped from the oldest end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "netdb/listener.h"
#include "tracing/capture_plan.h"
#include "tracing/coverage.h"
#include "tracing/history.h"

class QkScope;
class QkTraceFile;
class WritingThread;
struct QkDatabase;
struct QkName;
struct QkTrace;

/// Functions that are called when a capture has found a change. They may call the library again,
/// and even remove names from the model.
struct ChangeListeners {
    /// For a shown name. @param index of an array's element, as declared; 0 for a scalar
    void (*shown)(const QkName* name, int64_t index);
    /// For a name that a handle watches.
    void (*watched)(QkName* name, int64_t index);
};

class QkTraceWriter final : public DatabaseListener {
public:
    QkTraceWriter(QkDatabase* model, const ChangeListeners& listeners);
    ~QkTraceWriter();
    QkTraceWriter(const QkTraceWriter&) = delete;
    QkTraceWriter& operator=(const QkTraceWriter&) = delete;

    QkTrace* active_traces = nullptr;  ///< traces to compare, newest first, clocks last

    bool fileIsOpen() const { return file != nullptr; }
    /// The header of the open file has been written: its variables can no longer change.
    bool scopesWritten = false;
    ToggleCoverage coverage;  ///< looks at each capture
    /// Limit on event buckets, as the user gave it; 0 means unlimited.
    int maxeventbs = 0;

    // ---- Which names are compared and recorded (tracing/active.cpp)

    /// Adds a name that is not traced to the traced set and records its value.
    void startTracing(QkName* name);
    /// Removes a traced name from the traced set.
    void stopTracing(QkName* name);
    /// Starts or stops printing each change of a traced name.
    void setShow(QkName* name, bool on);
    /// Makes captures compare a name, traced or not, until release() has been called as often. The
    /// first call stores its value as the one last seen.
    void hold(QkName* name);
    void release(QkName* name);
    /// Adds to a counter of all traces that the name reads: QkTrace::nshow or nbreak.
    void countOn(QkName* name, int32_t QkTrace::*counter, int by);
    /// Called when an element was added to a virtual variable. What was recorded of it so far is
    /// not written any more, because it had another width: its tracing starts again.
    /// @param source         the element's trace, or null
    /// @param shows, breaks  what the variable counts in nshow and nbreak of each source
    void noteElement(QkName* name, QkTrace* source, int shows, int breaks);
    /// Makes a capture if what the name reads has changed since the last one: watchers registered
    /// before this call are notified; later ones are not.
    void settle(const QkName* name);

    // ---- Capture (tracing/capture.cpp)

    /// @return whether captures have nothing to look at, until endIdleness() is called
    bool isIdle() const;
    /// Makes a capture at the current time; anything that changed gets a time marker of its own.
    /// Does nothing while a reference trace drives the run, whose steps make their own.
    void captureEntry();
    /// Makes the last capture of a run, and writes everything recorded to the open file.
    void captureLast();
    /// One comparison pass over the active traces.
    void captureChanges();

    // ---- History and output (tracing/trace_writer.cpp)

    /// Starts a continuous trace to a file, ending the one before. @return whether it could
    bool traceTo(const char* filename);
    /// Writes all history to a file and closes it. @return whether it could be opened
    bool save(const char* filename);
    /// Writes the rest of the history and closes the open file, if there is one.
    void closeFile();
    /// Makes a thread write the open file, starting with the next full bucket, if threads are
    /// allowed.
    void tryThread();
    /// Ends the thread that writes the open file, if there is one: afterwards the caller's thread
    /// writes it.
    void stopThread();
    /// Prints how long the run has waited for such threads so far, if it has.
    void reportWaiting() const;
    /// In a forked process: leaves the open file to the parent, which opened it.
    void leaveFile();
    /// Counts the times of the history in ticks `factor` times finer. A file whose header has been
    /// written is closed first, with a message: it cannot have two timescales.
    void rescaleTimes(uint64_t factor);
    /// @return whether the file closed last was written completely
    bool isWritten() const { return lastWritten; }

    // ---- State (tracing/state_dump.cpp)

    /// Writes the values of all nets except arrays to a separate file. History and the open file do
    /// not change. @return whether all was written; messages tell why not
    bool saveState(const char* filename);

private:
    // What the database announces.
    void nameGoes(QkName* name) override;
    /// Its history is not written any more.
    void traceGoes(QkTrace* trace) override;
    void storageMoves() override {
        forgetPlan();
        coverage.storageMoves();
    }
    /// Subtracts what a name counts for from its trace. It stays traced, shown and watched.
    void nameLeaves(QkName* name) override;
    /// Adds that to its new trace.
    void nameArrives(QkName* name, QkTrace* from) override;
    void elementChanged(QkTrace* array, int64_t index) override;
    size_t firstDifferent(const CopiedBytes* arrays, size_t count) const override;
    /// Moves the identifier code and the history of a trace that now only slices read to another,
    /// unless that has its own.
    void moveSlot(QkTrace* from, QkTrace* to);

    // Active traces.
    void activate(QkTrace* trace);
    void deactivate(QkTrace* trace);
    void recordStart(QkTrace* trace);
    void recordStart(QkName* slice);
    void countHolds(QkName* name, int by);
    std::vector<QkName*>& activeSlices(const QkName* name);
    void recordSlice(const QkName* name, BucketRing& ring);
    void recordFirst(QkTrace* trace);
    /// Records the value last seen of a trace, while there is no plan.
    void recordValue(QkTrace* trace, BucketRing& ring);
    void recordInitialArray(QkTrace* trace);
    void recordInitialElement(QkTrace* trace, int64_t index);
    uint32_t slotOf(QkTrace* trace);
    void forgetPlan();

    // Recording. Between openTail() and closeTail() `put` points into the newest event bucket, so
    // that a common entry is one store; its nChanges is not valid in between.
    void markTime();
    /// Records the time if it has moved. Not between openTail() and closeTail().
    void stampTime();
    void addChange(BucketRing& ring, const OutputChange& change);
    void appendBucket(BucketRing& ring);
    std::unique_ptr<ChangeBucket> makeRoom();
    int bucketLimit() const;
    void openTail();
    void useTail(ChangeBucket* bucket);
    void closeTail();
    void nextTail();
    void captureNow();
    void compareAndRecord();
    void recordAt(uint32_t position);
    void recordPosition(uint32_t position);
    void recordObserved(uint32_t position);
    void reportChange(uint32_t slot, int64_t index);
    void markReaders(const QkTrace* trace);
    /// Stores a slice's value as the one last seen. @return whether it has changed
    static bool takeChange(const QkName* name);
    void reportSlices();
    void reportSlices(const std::vector<QkName*>& active);
    void tell(QkName* name, int64_t index);
    void markForced();
    /// Records the first `count` of plan.changed().
    void record(size_t count);
    size_t recordPlain(size_t begin, size_t end);

    // Output.
    bool open(const char* filename);
    std::unique_ptr<ChangeBucket> flushOldest(BucketRing& ring);
    std::unique_ptr<ChangeBucket> flushFull();
    std::unique_ptr<ChangeBucket> write(std::unique_ptr<ChangeBucket> bucket);
    void noteStart(const ChangeBucket& bucket, int end);
    void dropOldest();
    bool findOldest();
    void moveToInitial(ChangeBucket& bucket, int end);
    uint32_t initialCount();
    void consume(ChangeBucket& bucket, int end);
    void fold(const ChangeBucket& bucket, int end);
    void foldChange(const OutputChange& change);
    void writeHeader();
    void writeScope(const QkScope* scope);
    void writeVariable(const QkName* name);
    void writeInitial();
    void flushAll();

    QkDatabase* database;
    ChangeListeners listeners;
    std::unique_ptr<QkTraceFile> file;
    std::unique_ptr<WritingThread> writing;  ///< writes the buckets of the file, if it runs
    bool threadUntried = false;              ///< no thread has been requested yet
    uint64_t waited = 0;                     ///< ns, for the threads of files that are closed
    bool lastWritten = true;
    BucketRing eventbs;      ///< changes and time markers
    BucketRing initialbs;    ///< values that nets had when their tracing began
    uint64_t startTime = 0;  ///< the time of the initial values
    uint64_t lastTime = 0;   ///< the time of the latest recording; all ones after a header

    // For circular memory, not used in strict mode.
    int64_t keptCount = 0;    ///< changes of nets in full event buckets, without an open file
    int oldestBuckets = 0;    ///< buckets known to hold the oldest times only
    int64_t oldestCount = 0;  ///< changes of nets in them
    std::vector<std::unique_ptr<ChangeBucket>> spareBuckets;
    uint32_t movedPart = 0;  ///< of the value that is moved to the initial entries

    SlotTable slots;
    /// Array elements that have an initial entry: slot in the high half, index in the low.
    std::unordered_set<uint64_t> initialElements;
    /// Names that read slices and are compared, in the order in which that began.
    std::vector<QkName*> activeExtracts;
    std::vector<QkName*> activeVirtuals;
    CapturePlan plan;
    bool planValid = false;
    bool capturing = false;
    bool starting = false;   ///< a name's first value is being recorded
    bool anyForced = false;  ///< some slot must be recorded at the next capture
    bool anyDirty = false;   ///< some slice reads a trace that changed in this capture

    ChangeBucket* tail = nullptr;
    OutputChange* put = nullptr;
    OutputChange* putEnd = nullptr;
};

/// The writer of the live model; null if there is none.
extern QkTraceWriter* qkTraceWriter;
