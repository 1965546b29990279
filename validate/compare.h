// Comparing the running model with a reference trace, net by net.
//
// Each net that the trace and the model both have is a QkVCDTrace. It is told of two streams of
// events, changes of the value in the trace and changes of the value in the model, which may be out
// of step by some time. A difference is therefore not two unequal values at one moment but one of
// the rows of the tables in compare.cpp.
//
// Lists are in the order of a run: `all` from the oldest, `active` likewise, `pending` in the order
// of the trace's lines, the waiting ring in the order in which the waits began.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/bitstring.h"
#include "base/ring.h"
#include "tracing/capture_plan.h"

struct QkTrace;
struct QkVCDTraces;

enum CompareState : uint8_t {
    DoNotCompare,         ///< for good: no comparison is possible, or the trace drives the net
    Parked,               ///< switched off for now
    ValuesMatch,          ///< model and trace agree
    WaitingForVCDChange,  ///< the model changed first; the trace must follow
    WaitingForLiveModelChange,  ///< the trace changed first; the model must follow
    OutOfSync,                  ///< a difference was counted, and the values are still unequal
    Destroy                     ///< never entered
};

/// @return the name of a state as users see it
const char* compareStateName(CompareState state);

struct alignas(64) QkVCDTrace {
    /// @param width  digits of the net in the trace: those of the net in the model
    QkVCDTrace(QkVCDTraces* traces, QkTrace* trace, int width);
    ~QkVCDTrace();
    QkVCDTrace(const QkVCDTrace&) = delete;
    QkVCDTrace& operator=(const QkVCDTrace&) = delete;

    // ---- Events

    /// The trace gives the net's digits `offset` to `offset` + `bits` - 1 a value. It waits in
    /// QkVCDTraces::pending; several writes in one time step make one change.
    /// @param value    digits, extended to the left; an empty text leaves the digits as they are
    /// @param initial  within a dump of all values: it counts for a net that is not compared, too
    void setPendingVC(std::string_view value, int offset, int bits, bool initial);
    /// The same of a value all of whose digits are known, for the whole net.
    void setPendingKnown(uint64_t value);
    /// The pending value becomes the trace's. A net that is driven takes it.
    void commitPendingVC(bool initial);
    /// The trace's value has changed. @param known  to another 0 or 1 in some digit
    void noteVCDUpdate(bool known);
    /// The model's value has changed.
    void noteLiveUpdate();
    /// The wait that began longest ago has lasted too long.
    void reportSyncTimeout();
    /// The trace has ended.
    void checkEndState();

    // ---- State

    /// Enters a state; DoNotCompare is never left.
    void setState(CompareState next, uint64_t time);
    /// Makes the trace drive the net, which is not compared any more.
    void makeStimulus();
    void retire();
    /// Takes up the comparison of a parked net, with the model's value as the trace's.
    void unpark();
    /// @return whether every known digit of the trace is that of the model
    bool matchesLiveModel() const;
    /// Reads the model's storage. @return whether the value differs from what was last read
    bool readLive();
    /// Makes the value last read the one before, too.
    void forgetChange();
    /// @return the model's value as digits, and the one before it was last read
    std::string liveText() const { return digitsOf(live, &LiveChunk::now); }
    std::string previousLiveText() const { return digitsOf(live, &LiveChunk::before); }
    /// @return the digits of what is in the model's storage now
    std::string storageText() const;
    bool isComparable() const { return state != DoNotCompare; }
    bool isMatched() const { return state > Parked; }

    /// Fetches what setPendingVC() touches of a net of up to 64 digits.
    void prefetchPending() const { __builtin_prefetch(&liveTrace, 1); }
    /// Fetches what a commit touches; the second, once the first has come, what that of a net that
    /// is compared touches beside.
    void prefetchCommit() const {
        prefetchPending();
        __builtin_prefetch(&vcdBits, 1);
    }
    void prefetchComparison() const {
        if (state == DoNotCompare) return;
        __builtin_prefetch(&previousValue, 1);
        __builtin_prefetch(&narrow, 1);
    }

    // The first members are what a value from the trace touches, in the order of their use.
    QkTrace* liveTrace;  ///< null once the net has gone
    QkVCDTraces* const owner;
    uint64_t changeTime = 0;  ///< of the last value from the trace
    int nChanges = 0;         ///< changes compared, or driven
    CompareState state;
    bool isStimulus = false;
    bool isPending = false;   ///< stands in QkVCDTraces::pending
    bool lostSync = false;    ///< has been out of sync
    BitString pendingBits;    ///< what becomes the trace's value
    BitString vcdBits;        ///< the trace's value
    BitString previousValue;  ///< what it was before the last commit
    uint64_t lastStateChange = 0;
    uint64_t maxSyncToVCD = 0;  ///< longest wait for the trace, and for the model
    uint64_t maxSyncToLive = 0;
    QkVCDTrace* waitingToSync_n = nullptr;  ///< ring of those that wait; null outside it
    QkVCDTrace* waitingToSync_p = nullptr;
    std::string name;  ///< the shortest of the net's full names

private:
    bool beginPending(bool initial);
    void enterPending();
    /// The model's value, 64 digits of it.
    struct LiveChunk {
        uint64_t now, before;
        uint64_t compared;  ///< digits whose storage is not inverted
    };
    struct Transition;
    void apply(const Transition* rows, size_t count, bool matches, uint64_t time, uint64_t entry);
    template <size_t N>
    void apply(const Transition (&rows)[N], bool matches, uint64_t time, uint64_t entry) {
        apply(rows, N, matches, time, entry);
    }
    void report(const Transition& row, uint64_t time) const;
    void chooseName();
    void leaveWait(uint64_t& longest, uint64_t lasted);
    std::vector<LiveChunk> readStorage() const;
    std::string digitsOf(const LiveChunk* chunks, uint64_t LiveChunk::*value) const;
    int chunkCount() const { return (vcdBits.width() + 63) / 64; }

    static const Transition kVCDTransitions[];
    static const Transition kLiveTransitions[];
    static const Transition kTimeouts[];
    static const Transition kEndStates[];

    LiveChunk* live = &narrow;
    LiveChunk narrow{};
    std::unique_ptr<LiveChunk[]> wide;
};

/// Those that wait for the other side, the longest waiting first.
using WaitingRing = Ring<QkVCDTrace, &QkVCDTrace::waitingToSync_n, &QkVCDTrace::waitingToSync_p>;
extern QkVCDTrace* waitingToSync;
/// How many are OutOfSync.
extern int nOutOfSync;

/// Ends the waits that have lasted longer than the user allows.
void checkSyncTimeouts();

/// @return whether a net can be compared: neither ignored nor an array, and a clocked register or a
///         net that is compared in any case
bool isComparable(const QkTrace* trace);

/// Gives a net of the model those digits that are 0 or 1; the others leave it as it is.
void writeBitString(QkTrace* trace, const BitString& bits);

/// Memory for traces, in large blocks: each value line goes to another, at random.
class QkVCDTraceStore {
public:
    QkVCDTraceStore() = default;
    ~QkVCDTraceStore();
    QkVCDTraceStore(const QkVCDTraceStore&) = delete;
    QkVCDTraceStore& operator=(const QkVCDTraceStore&) = delete;
    /// @return a place for one more
    void* place();

    struct Destroy {
        void operator()(QkVCDTrace* trace) const { std::destroy_at(trace); }
    };

private:
    std::vector<void*> blocks;
    char* next = nullptr;
    char* end = nullptr;
    size_t blockSize = 0;
};

/// All traces of one reference trace.
struct QkVCDTraces {
    QkVCDTraces() = default;
    ~QkVCDTraces();
    QkVCDTraces(const QkVCDTraces&) = delete;
    QkVCDTraces& operator=(const QkVCDTraces&) = delete;

    /// @return that of a net of the model, or null
    QkVCDTrace* find(const QkTrace* trace) const;
    /// Makes that of a net that has none, and watches it.
    QkVCDTrace* add(QkTrace* trace, int width);
    /// Takes a net that is about to be deleted out of the comparison.
    void retire(const QkTrace* trace);

    /// Gives all pending values to their traces, in the order of their arrival.
    void commitPending(bool initial);
    /// Finds out what changed in the model since the last time.
    void scanLiveChanges();
    /// Ends a dump of all values: what can be compared counts as equal from here.
    void endDump();
    /// Reports what is unequal now that the trace has ended.
    void endOfTrace();
    /// Decides anew what is watched: what is comparable or traced, and not ignored.
    void updateMonitoring();
    void summarise();
    int countClockStimuli() const;

    QkVCDTraceStore store;  ///< outlives `all`
    std::vector<std::unique_ptr<QkVCDTrace, QkVCDTraceStore::Destroy>> all;
    std::vector<QkVCDTrace*> active;
    std::vector<QkVCDTrace*> pending;
    bool monitorTracedOnly = false;
    int monitoredCount = 0;  ///< nets that can be compared
    int longestName = 0;     ///< columns

private:
    void noteChange(QkVCDTrace* trace);
    void prefetchAhead(size_t at) const;

    std::vector<QkVCDTrace*> byTrace;  ///< by QkTrace::id
    CapturePlan plan;                  ///< of `active`
    bool planValid = false;
    bool droveTraced = false;  ///< a commit wrote to a net that is traced

    friend struct QkVCDTrace;
};
