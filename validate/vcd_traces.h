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

/// Memory for traces, in large blocks: each value line uses another one, at random.
class QkVCDTraceStore {
public:
    QkVCDTraceStore() = default;
    ~QkVCDTraceStore();
    QkVCDTraceStore(const QkVCDTraceStore&) = delete;
    QkVCDTraceStore& operator=(const QkVCDTraceStore&) = delete;
    /// @return memory for another one
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

/// What a value line needs to know about its code if all its values are whole values of one net, or
/// unused.
///
/// A net of up to 64 digits that is only driven has no states, so while all its digits are known
/// its value is only kept here: a value line touches this record, and later the storage.
struct alignas(32) DirectCode {
    uint64_t value = 0;       ///< the trace's value, if the code drives
    uint64_t pending = 0;     ///< the next value, if it waits to be committed
    void* storage = nullptr;  ///< the model's storage, written by one store; null: the code does
                              ///< not drive
    int32_t nChanges = 0;     ///< changes not yet added to those of the net
    uint16_t width = 0;       ///< of the code; 0: its values need more than this record
    bool isStimulus : 1 = false;
    bool isEarlyInput : 1 = false;
    bool isStepInput : 1 = false;
    bool isConcern : 1 = false;  ///< the values are used by a net
    bool isPending = false;
};
static_assert(sizeof(DirectCode) == 32, "two share a cache line");

/// All traces of one reference trace.
struct QkVCDTraces {
    QkVCDTraces() = default;
    ~QkVCDTraces();
    QkVCDTraces(const QkVCDTraces&) = delete;
    QkVCDTraces& operator=(const QkVCDTraces&) = delete;

    /// @return the one of a net of the model, or null
    QkVCDTrace* find(const QkTrace* trace) const;
    /// Makes one for a net that has none, and watches it.
    QkVCDTrace* add(QkTrace* trace, int width);
    /// Removes the one of a net that is neither compared nor driven any more.
    void remove(const QkTrace* trace);
    /// Removes a net that is about to be deleted from the comparison.
    void retire(const QkTrace* trace);

    /// Like setPendingVC(), for a value with known digits only; digits to its left are 0.
    void setPendingKnown(QkVCDTrace* trace, uint64_t value);

    // ---- Codes whose values are whole values of one net, or unused (validate/direct_codes.cpp)

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
    /// Moves the state that the record of a code holds back to the trace.
    void settle(QkVCDTrace* trace);
    void settleAll();

    /// Commits all pending values to their traces, in the order in which they arrived.
    void commitPending(bool initial);
    /// Commits those of one group. Nothing is captured: changes of the model are found when all
    /// groups have been committed. @return whether a driven net changed
    bool commitGroup(CommitGroup group);
    /// Sets whether groups are committed separately, by the current flags of nets.
    void regroup(bool apart);
    bool isGrouped() const { return grouped; }
    /// @return whether a driven net waits to be committed
    bool isInputPending() const;
    /// Finds out what has changed in the model since the last call.
    void scanLiveChanges();
    /// Ends a dump of all values: from here on all compared nets count as equal.
    void endDump();
    /// Reports nets that differ when the trace pauses, and ends all waits.
    void beginPause();
    /// Ends a dump of all values after a pause: like endDump(), but counts continue.
    /// @return the nets that received a value
    std::vector<QkVCDTrace*> takeDump();
    /// Writes the values to the model again; from here on all compared nets count as equal.
    void takeAgain(const std::vector<QkVCDTrace*>& given);
    /// Reports nets that differ at the end of the trace.
    void endOfTrace();
    /// Determines again which nets are watched: those that are comparable or traced, and not
    /// ignored.
    void updateMonitoring();
    void summarise();
    int countClockStimuli() const;

    QkVCDTraceStore store;  ///< outlives `all`
    std::vector<std::unique_ptr<QkVCDTrace, QkVCDTraceStore::Destroy>> all;
    std::vector<QkVCDTrace*> active;
    std::vector<QkVCDTrace*> pending;
    std::vector<QkVCDTrace*> pendingFirst;  ///< traces of the groups before the last
    bool monitorTracedOnly = false;
    int monitoredCount = 0;         ///< nets that can be compared
    int longestName = 0;            ///< columns
    InputSample* sample = nullptr;  ///< receives every value; null: there is no sample

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
    std::vector<QkVCDTrace*> codeTraces;  ///< by the number of a code; null: unused
    std::vector<uint32_t> pendingDriven;  ///< numbers of codes; ignored if not `isPending`
    bool droveTraced = false;             ///< a commit wrote to a net that is traced
    bool droveAny = false;                ///< a commit changed a driven net
    bool grouped = false;                 ///< groups are committed separately

    friend struct QkVCDTrace;
};
