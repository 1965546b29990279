// All traces of one comparison.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tracing/capture_plan.h"
#include "validate/compare.h"

class InputSample;
struct QkTrace;

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

/// What a value line needs of its code when all its values go to one net whole, or nowhere.
///
/// A net of up to 64 digits that is only driven has no states, so while all its digits are known
/// its value is kept here and nowhere else: a value line touches this record, and later the
/// storage.
struct alignas(32) DirectCode {
    uint64_t value = 0;       ///< the trace's, if the code drives
    uint64_t pending = 0;     ///< what becomes it, if it waits to be committed
    void* storage = nullptr;  ///< the model's, one store wide; null: the code does not drive
    int32_t nChanges = 0;     ///< not yet added to those of the net
    uint16_t width = 0;       ///< of the code; 0: more is to be done than a hand-over
    bool isStimulus : 1 = false;
    bool isEarlyInput : 1 = false;
    bool isStepInput : 1 = false;
    bool isConcern : 1 = false;  ///< the values go to a net
    bool isPending = false;
};
static_assert(sizeof(DirectCode) == 32, "two share a cache line");

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
    /// Forgets that of a net that is neither compared nor driven any more.
    void remove(const QkTrace* trace);
    /// Takes a net that is about to be deleted out of the comparison.
    void retire(const QkTrace* trace);

    /// Gives a net a value from the trace all of whose digits are known, as setPendingVC() does;
    /// digits to its left are 0.
    void setPendingKnown(QkVCDTrace* trace, uint64_t value);

    // ---- Codes whose values go to one net whole, or nowhere (validate/direct_codes.cpp)

    /// By the number of a code, valid while `codesValid`. The model fills it by addDirectCode().
    std::vector<DirectCode> codes;
    bool codesValid = false;
    void startDirectCodes(size_t count);
    void addDirectCode(uint32_t number, const DirectCode& code, QkVCDTrace* trace);
    /// setPendingKnown() for a code that drives.
    void setPendingDriven(uint32_t number, uint64_t value) {
        DirectCode& code = codes[number];
        code.pending = value;
        if (std::exchange(code.isPending, true)) return;
        pendingDriven.push_back(number);
    }
    QkVCDTrace* traceOf(uint32_t number) const { return codeTraces[number]; }
    /// Gives the trace back what the record of a code holds of it.
    void settle(QkVCDTrace* trace);
    void settleAll();

    /// Gives all pending values to their traces, in the order of their arrival.
    void commitPending(bool initial);
    /// Gives those of one group to their traces. Nothing is captured: the model is looked at when
    /// all groups have been committed. @return whether a driven net changed
    bool commitGroup(CommitGroup group);
    /// Chooses whether groups are committed apart, by the flags that nets have now.
    void regroup(bool apart);
    bool isGrouped() const { return grouped; }
    /// @return whether a driven net waits to be committed
    bool isInputPending() const;
    /// Finds out what changed in the model since the last time.
    void scanLiveChanges();
    /// Ends a dump of all values: what is compared counts as equal from here.
    void endDump();
    /// Reports what is unequal when the trace pauses, and waits for nothing more.
    void beginPause();
    /// Ends a dump of all values after a pause: as endDump(), but counts go on.
    /// @return what it gave a value
    std::vector<QkVCDTrace*> takeDump();
    /// Writes the values to the model once more; what is compared counts as equal from here.
    void takeAgain(const std::vector<QkVCDTrace*>& given);
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
    std::vector<QkVCDTrace*> pendingFirst;  ///< those of the groups before the last
    bool monitorTracedOnly = false;
    int monitoredCount = 0;         ///< nets that can be compared
    int longestName = 0;            ///< columns
    InputSample* sample = nullptr;  ///< is shown every value that comes; null: nobody is

private:
    void noteChange(QkVCDTrace* trace);
    void enqueue(QkVCDTrace* trace);
    void prefetchAhead(size_t at) const;
    void commitList(std::vector<QkVCDTrace*>& list, bool initial);
    void commit(QkVCDTrace* trace, bool initial);
    void commitDriven();
    void takeUp(uint32_t number);

    std::vector<QkVCDTrace*> byTrace;  ///< by QkTrace::id
    CapturePlan plan;                  ///< of `active`
    bool planValid = false;
    std::vector<QkVCDTrace*> codeTraces;  ///< by the number of a code; null: of no concern
    std::vector<uint32_t> pendingDriven;  ///< numbers of codes; those not `isPending` do not count
    bool droveTraced = false;             ///< a commit wrote to a net that is traced
    bool droveAny = false;                ///< a commit gave a driven net another value
    bool grouped = false;                 ///< groups are committed apart

    friend struct QkVCDTrace;
};
