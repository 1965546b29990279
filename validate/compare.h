// Comparing the running model with a reference trace, net by net.
//
// Each net that the trace and the model both have is a QkVCDTrace. It receives two streams of
// events, changes of the value in the trace and changes of the value in the model, which may be
// apart by some time. A difference is therefore not two unequal values at one moment but one of the
// rows of the tables in compare.cpp.
//
// Lists are ordered as a run produces them: `all` and `active` from the oldest, `pending` in the
// order of the trace's lines, the waiting ring in the order in which the waits began.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/bitstring.h"
#include "base/ring.h"

struct QkTrace;
struct QkVCDTraces;

enum CompareState : uint8_t {
    DoNotCompare,               ///< never: no comparison is possible, or the trace drives the net
    Parked,                     ///< switched off for now
    ValuesMatch,                ///< model and trace agree
    WaitingForVCDChange,        ///< the model changed first; the trace must follow
    WaitingForLiveModelChange,  ///< the trace changed first; the model must follow
    OutOfSync,                  ///< a difference was counted, and the values are still unequal
    Destroy                     ///< never entered
};

/// When a driven net takes its value within a time step, with clocks first: all of one group, then
/// the model is evaluated, then those of the next.
enum CommitGroup : uint8_t {
    kOtherInputs,  ///< and nets that are compared; the last group
    kEarlyInputs,
    kClocks
};

/// @return the name of a state as users see it
const char* compareStateName(CompareState state);

/// How a net fares in the comparison, and its values while they have up to 64 digits.
///
/// Each value line goes to another net, at random, so what it costs is the lines of memory that it
/// touches: the first one has all that a value line touches, and the second the rest of a commit.
class ComparedValue {
public:
    int nChanges = 0;  ///< changes compared, or driven
    CompareState state;
    bool isStimulus = false;
    bool isPending = false;            ///< waits to be committed
    CommitGroup group = kOtherInputs;  ///< QkVCDTraces::regroup() sets it
    bool traceChanged = false;         ///< the trace assigned it another known value after a dump

protected:
    /// The model's value, 64 digits of it.
    struct LiveChunk {
        uint64_t now, before;
        uint64_t compared;  ///< digits whose storage is not inverted
    };
    static constexpr uint32_t kNoCode = 0, kSeveralCodes = ~uint32_t{0};

    ComparedValue(CompareState initially, int width)
        : state(initially), narrowWidth(width <= 64 ? static_cast<uint8_t>(width) : uint8_t{0}) {}

    uint8_t narrowWidth;            ///< 0: more than 64 digits
    uint32_t directCode = kNoCode;  ///< the code whose record may hold the value
    BitString::Chunk pendingChunk{};
    BitString::Chunk vcdChunk{};
    LiveChunk narrow{};
    BitString::Chunk previousChunk{};
};

struct alignas(64) QkVCDTrace : ComparedValue {
    /// @param width  digits of the net, the same number in trace and model
    QkVCDTrace(QkVCDTraces* traces, QkTrace* trace, int width);
    ~QkVCDTrace();
    QkVCDTrace(const QkVCDTrace&) = delete;
    QkVCDTrace& operator=(const QkVCDTrace&) = delete;

    // ---- Events

    /// The trace assigns a value to the net's digits `offset` to `offset` + `bits` - 1. It waits in
    /// QkVCDTraces::pending; several writes in one time step make one change.
    /// @param value    digits, extended to the left; an empty text changes no digits
    /// @param initial  within a dump of all values: it is also stored for a net that is not
    ///                 compared
    void setPendingVC(std::string_view value, int offset, int bits, bool initial);
    /// The pending value becomes the trace's value, and that of a driven net.
    void commitPendingVC(bool initial);
    /// The trace's value has changed. @param known some digit has become another 0 or 1
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
    /// From here on the net counts as equal, whatever its values, unless it is parked.
    void settleState();
    /// Makes the trace drive the net, which is no longer compared.
    void makeStimulus();
    void retire();
    /// Resumes the comparison of a parked net, with the model's value as that of the trace.
    void unpark();
    /// @return whether every known digit of the trace is that of the model
    bool matchesLiveModel() const;
    /// Reads the model's storage. @return whether the value differs from what was last read
    bool readLive();
    /// Makes the previous value equal to the value last read.
    void forgetChange();
    /// @return the model's value as digits, and the one before it was last read
    std::string liveText() const { return digitsOf(live, &LiveChunk::now); }
    std::string previousLiveText() const { return digitsOf(live, &LiveChunk::before); }
    /// @return the digits of the current value in the model's storage
    std::string storageText() const;
    bool isComparable() const { return state != DoNotCompare; }
    bool isMatched() const { return state > Parked; }

    uint64_t lastStateChange = 0;
    QkTrace* liveTrace;                     ///< null once the net was removed
    QkVCDTrace* waitingToSync_n = nullptr;  ///< ring of waiting nets; null outside it
    QkVCDTrace* waitingToSync_p = nullptr;
    uint64_t maxSyncToVCD = 0;  ///< longest wait for the trace, and for the model
    uint64_t maxSyncToLive = 0;
    bool lostSync = false;          ///< has been out of sync
    uint32_t differenceNumber = 0;  ///< 1 + its place in ComparisonRecord::differences; 0: none yet
    QkVCDTraces* const owner;
    BitString pendingBits;    ///< the next value of the trace
    BitString vcdBits;        ///< the trace's value
    BitString previousValue;  ///< the trace's value before the last commit
    std::string name;         ///< the shortest of the net's full names

private:
    struct Transition;
    struct Story;
    Story storyOf(const Transition& row, uint64_t time) const;
    std::string unequalDigits(const Story& story) const;
    void apply(const Transition* rows, size_t count, bool matches, uint64_t time, uint64_t entry);
    template <size_t N>
    void apply(const Transition (&rows)[N], bool matches, uint64_t time, uint64_t entry) {
        apply(rows, N, matches, time, entry);
    }
    void report(const Transition& row, uint64_t time) const;
    void noteDifference(const Transition& row, uint64_t time);
    void chooseName();
    int commitBits();
    void leaveWait(uint64_t& longest, uint64_t lasted);
    std::vector<LiveChunk> readStorage() const;
    std::string digitsOf(const LiveChunk* chunks, uint64_t LiveChunk::*value) const;
    int chunkCount() const { return (vcdBits.width() + 63) / 64; }

    static const Transition kVCDTransitions[];
    static const Transition kLiveTransitions[];
    static const Transition kTimeouts[];
    static const Transition kEndStates[];

    LiveChunk* live = &narrow;
    std::unique_ptr<LiveChunk[]> wide;

    friend struct QkVCDTraces;
};

/// Nets that wait for the other side, the longest waiting first.
using WaitingRing = Ring<QkVCDTrace, &QkVCDTrace::waitingToSync_n, &QkVCDTrace::waitingToSync_p>;
extern QkVCDTrace* waitingToSync;
/// How many nets are OutOfSync.
extern int nOutOfSync;

/// Ends the waits that have lasted longer than the user allows.
void checkSyncTimeouts();

/// @return whether a net can be compared: it is neither ignored nor an array, and it is a clocked
///         register or a net that is always compared
bool isComparable(const QkTrace* trace);

/// Writes those digits that are 0 or 1 to a net of the model; the others do not change it.
/// @param initial  within a dump of all values; debugging lines report it
void writeBitString(QkTrace* trace, const BitString& bits, bool initial);
