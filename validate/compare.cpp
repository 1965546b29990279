#include "validate/compare.h"

#include <cinttypes>
#include <cstring>

#include "console/printout.h"
#include "netdb/live_model.h"
#include "qkzeft_run.h"

QkVCDTrace* waitingToSync = nullptr;
int nOutOfSync = 0;

namespace {

/// As the debugging lines have them.
constexpr const char* kStateIdentifiers[] = {
    "DoNotCompare", "Parked", "ValuesMatch", "WaitingForVCDChange", "WaitingForLiveModelChange",
    "OutOfSync",    "Destroy"};
static_assert(std::size(kStateIdentifiers) == Destroy + 1, "one name per state");

int verbosity() { return qkLiveModel->reader.verbose; }

}  // namespace

const char* compareStateName(CompareState state) {
    switch (state) {
        case DoNotCompare: return "DoNotCompare";
        case Parked: return "Ignored";
        case ValuesMatch: return "ValuesMatch";
        case WaitingForVCDChange: return "WaitingForVCD";
        case WaitingForLiveModelChange: return "WaitingForLiveModel";
        case OutOfSync: return "OutOfSync";
        default: return "!!! BAD STATE !!!";
    }
}

// ---- The tables

namespace {

enum Matching : uint8_t { kAnyMatch, kEqual, kUnequal };
enum Moment : uint8_t { kAnyTime, kLater, kNotLater };  ///< than the entry into the state
enum ReportTime : uint8_t { kAtEntry, kAtEvent };       ///< into the state; of the event
enum Loudness : uint8_t { kAlwaysSaid, kSaidIfVerbose };
enum Count : uint8_t { kNoDifference, kDifference };

/// What a report has to say, beside its first line, to those who want it verbose.
enum class Details : uint8_t {
    kNone,
    kValues,          ///< both values
    kTraceDisagrees,  ///< the model changed, then the trace, otherwise
    kTraceChangedTwice,
    kModelChangedTwice,
    kModelDisagrees,
    kTraceLate,
    kModelLate
};

constexpr const char* kModelMissed = "Model missed a state change";
constexpr const char* kNotInTrace = "Model change not in the Trace";
constexpr const char* kBackInSync = "Back in-sync";

}  // namespace

struct QkVCDTrace::Transition {
    CompareState state;
    Matching matching;
    Moment moment;
    CompareState next;
    const char* text = nullptr;  ///< null: nothing is reported
    ReportTime reportTime = kAtEntry;
    Details details = Details::kNone;
    Count count = kNoDifference;
    Loudness loudness = kAlwaysSaid;
};

// Where no row fits, nothing happens.

// clang-format off
const QkVCDTrace::Transition QkVCDTrace::kVCDTransitions[] = {
    {ValuesMatch,               kUnequal, kAnyTime, WaitingForLiveModelChange},
    {WaitingForVCDChange,       kEqual,   kAnyTime, ValuesMatch},
    {WaitingForVCDChange,       kUnequal, kAnyTime, OutOfSync, "VCD change does not match earlier live model change", kAtEvent, Details::kTraceDisagrees, kDifference},
    {WaitingForLiveModelChange, kEqual,   kLater,   ValuesMatch, kModelMissed, kAtEntry, Details::kTraceChangedTwice, kDifference},
    {WaitingForLiveModelChange, kUnequal, kAnyTime, OutOfSync, kModelMissed, kAtEntry, Details::kTraceChangedTwice, kDifference},
    {OutOfSync,                 kEqual,   kAnyTime, ValuesMatch, kBackInSync, kAtEvent},
};

const QkVCDTrace::Transition QkVCDTrace::kLiveTransitions[] = {
    {ValuesMatch,               kUnequal, kAnyTime, WaitingForVCDChange},
    {WaitingForVCDChange,       kEqual,   kLater,   ValuesMatch, kNotInTrace, kAtEntry, Details::kModelChangedTwice, kDifference},
    {WaitingForVCDChange,       kUnequal, kAnyTime, OutOfSync, kNotInTrace, kAtEntry, Details::kModelChangedTwice, kDifference},
    {WaitingForLiveModelChange, kEqual,   kAnyTime, ValuesMatch},
    {WaitingForLiveModelChange, kUnequal, kAnyTime, OutOfSync, "Bad state change in Model", kAtEntry, Details::kModelDisagrees, kDifference},
    {OutOfSync,                 kEqual,   kAnyTime, ValuesMatch, kBackInSync, kAtEvent, Details::kNone, kNoDifference, kSaidIfVerbose},
};

const QkVCDTrace::Transition QkVCDTrace::kTimeouts[] = {
    {WaitingForVCDChange,       kEqual,   kAnyTime, ValuesMatch},
    {WaitingForVCDChange,       kUnequal, kAnyTime, OutOfSync, kNotInTrace, kAtEntry, Details::kTraceLate, kDifference},
    {WaitingForLiveModelChange, kEqual,   kAnyTime, ValuesMatch},
    {WaitingForLiveModelChange, kUnequal, kAnyTime, OutOfSync, kModelMissed, kAtEntry, Details::kModelLate, kDifference},
};

const QkVCDTrace::Transition QkVCDTrace::kEndStates[] = {
    {ValuesMatch,               kUnequal, kAnyTime, OutOfSync, "End State Difference", kAtEntry, Details::kValues, kDifference},
    {WaitingForVCDChange,       kUnequal, kLater,   OutOfSync, "Model change not reported in Trace", kAtEntry, Details::kValues, kDifference},
    {WaitingForLiveModelChange, kUnequal, kLater,   OutOfSync, "Trace change not seen in Model", kAtEntry, Details::kValues, kDifference},
    {OutOfSync,                 kUnequal, kAnyTime, OutOfSync, "Not re-synchronised"},
};
// clang-format on

/// @param time   of the event
/// @param entry  when the next state is entered
void QkVCDTrace::apply(const Transition* rows, size_t count, bool matches, uint64_t time,
                       uint64_t entry) {
    const bool later = time > lastStateChange;
    for (const Transition* row = rows; row != rows + count; ++row) {
        if (row->state != state) continue;
        if (row->matching != kAnyMatch && (row->matching == kEqual) != matches) continue;
        if (row->moment != kAnyTime && (row->moment == kLater) != later) continue;
        if (row->text) report(*row, time);
        if (row->count == kDifference) ++qkLiveModel->reader.nDifferences;
        setState(row->next, entry);
        return;
    }
}

void QkVCDTrace::report(const Transition& row, uint64_t time) const {
    const bool verbose = verbosity() != 0;
    if (row.loudness == kSaidIfVerbose && !verbose) return;
    Printout out;
    const uint64_t began = lastStateChange;
    const uint64_t now = row.reportTime == kAtEvent ? time : began;
    out.print("Time: %s: %s: %s\n", qk_time_as_string(now), row.text, name.c_str());
    if (!verbose) return;

    const auto tell = [&](const char* when, uint64_t moment, const char* what) {
        out.print("  %s %s %s\n", when, qk_time_as_string(moment), what);
    };
    const auto tellValue = [&](const char* when, uint64_t moment, const char* what,
                               const std::string& value) {
        tell(when, moment, what);
        out.print("    %s\n", value.c_str());
    };
    constexpr const char* both = "both Model and Trace had value:";
    const auto marked = [&] { out.add("  Marking this signal as out-of-sync\n"); };
    const auto marking = [&] {
        if (row.next == OutOfSync) return marked();
        out.print("  Values match again at time %s so not marked as out-of-sync\n",
                  qk_time_as_string(time));
    };
    switch (row.details) {
        case Details::kNone: break;
        case Details::kValues:
            out.print("\tTrace Value: %s\n\tModel Value: %s\n", vcdBits.text().c_str(),
                      liveText().c_str());
            break;
        case Details::kTraceDisagrees:
            tellValue("Before time", began, both, previousValue.text());
            tellValue("At time", began, "the Model became:", liveText());
            tellValue("But at time", time, "the Trace changed to:", vcdBits.text());
            marked();
            break;
        case Details::kTraceChangedTwice:
            tellValue("Before time", began, both, liveText());
            tellValue("At time", began, "the Trace became:", previousValue.text());
            tellValue("At time", time,
                      "the Model had not changed but the Trace changed again to:", vcdBits.text());
            marking();
            break;
        case Details::kModelChangedTwice:
            tellValue("Before time", began, both, vcdBits.text());
            tellValue("At time", began, "the Model became:", previousLiveText());
            tellValue("At time", time,
                      "the Trace had not changed but the Model changed again to:", liveText());
            marking();
            break;
        case Details::kModelDisagrees:
            tellValue("Before time", began, both, previousValue.text());
            tellValue("At time", began, "the Trace became:", vcdBits.text());
            tellValue("But at time", time, "the Model became:", liveText());
            marked();
            break;
        case Details::kTraceLate:
            tellValue("Before time", began, both, vcdBits.text());
            tellValue("At time", began, "the Model became:", liveText());
            tell("But by time", time, "the Trace had not changed");
            marked();
            break;
        case Details::kModelLate:
            tellValue("Before time", began, both, previousValue.text());
            tellValue("At time", began, "the Trace became:", vcdBits.text());
            tell("But by time", time, "the Model had not changed");
            marked();
            break;
    }
}

// ---- Events

void QkVCDTrace::noteVCDUpdate(bool known) {
    if (verbosity() > 1)
        say("QkVCDTrace::noteVCDUpdate(%d) [%s] canCompareValues=%d, state=%s\n", known,
            name.c_str(), isComparable(), kStateIdentifiers[state]);
    if (state <= Parked) return;
    apply(kVCDTransitions, std::size(kVCDTransitions), matchesLiveModel(), qk_cycle, qk_cycle);
}

void QkVCDTrace::noteLiveUpdate() {
    if (verbosity() > 1)
        say("QkVCDTrace::noteLiveUpdate() [%s] canCompareValues=%d, state=%s\n", name.c_str(),
            isComparable(), kStateIdentifiers[state]);
    if (state <= Parked) return;
    apply(kLiveTransitions, std::size(kLiveTransitions), matchesLiveModel(), qk_cycle, qk_cycle);
}

void QkVCDTrace::reportSyncTimeout() {
    const bool waits = state == WaitingForVCDChange || state == WaitingForLiveModelChange;
    QK_ASSERT_AS(waits, "0");
    // A wait may end in equal values: two changes at one time leave it as it is.
    if (waits)
        apply(kTimeouts, std::size(kTimeouts), matchesLiveModel(), qk_cycle, lastStateChange);
    else
        setState(OutOfSync, lastStateChange);
}

void QkVCDTrace::checkEndState() {
    if (matchesLiveModel()) return;
    QK_ASSERT_AS(state != Destroy, "0");
    apply(kEndStates, std::size(kEndStates), false, qk_cycle, qk_cycle);
}

void checkSyncTimeouts() {
    const uint64_t allowed = qkLiveModel->reader.synctime;
    if (allowed == 0) return;
    while (waitingToSync && qk_cycle - waitingToSync->lastStateChange > allowed)
        waitingToSync->reportSyncTimeout();
}

// ---- States

void QkVCDTrace::leaveWait(uint64_t& longest, uint64_t lasted) {
    if (lasted > longest) longest = lasted;
    WaitingRing::remove(waitingToSync, this);
    ++nChanges;
}

void QkVCDTrace::setState(CompareState next, uint64_t time) {
    if (next == state) return;
    const uint64_t lasted = time - lastStateChange;
    switch (state) {
        case DoNotCompare: return;
        case Parked:
        case ValuesMatch: break;
        case WaitingForVCDChange: leaveWait(maxSyncToVCD, lasted); break;
        case WaitingForLiveModelChange: leaveWait(maxSyncToLive, lasted); break;
        case OutOfSync: --nOutOfSync; break;
        default: QK_ASSERT_AS(false, "0");
    }
    QK_ASSERT(liveTrace);
    if (verbosity() > 2 && liveTrace->nshow != 0) {
        Printout out;
        out.print("Time: %s: setState for %s  - %s->%s", qk_time_as_string(time), name.c_str(),
                  compareStateName(state), compareStateName(next));
        out.print(" (after %s)\n", qk_time_as_string(lasted));
    }
    if (next == WaitingForVCDChange || next == WaitingForLiveModelChange) {
        QK_ASSERT_AS(waitingToSync != this, "(waitingToSync) != (this)");
        WaitingRing::append(waitingToSync, this);
    } else if (next == OutOfSync) {
        ++nOutOfSync;
        lostSync = true;
    }
    state = next;
    lastStateChange = time;
}

void QkVCDTrace::makeStimulus() {
    isStimulus = true;
    if (state == DoNotCompare) return;
    setState(ValuesMatch, qk_cycle);  // out of every ring and count
    state = DoNotCompare;
}

void QkVCDTrace::retire() {
    const bool drove = isStimulus;
    makeStimulus();
    isStimulus = drove;
    liveTrace = nullptr;
}

void QkVCDTrace::unpark() {
    QK_ASSERT(state == Parked);
    if (state != Parked) return;
    readLive();
    for (int at = 0; at < vcdBits.width(); at += 64) {
        const LiveChunk& chunk = live[at / 64];
        // The digits stand for the storage: those of an inverted part are turned back.
        vcdBits.setKnown(chunk.now ^ ~chunk.compared, at, std::min(64, vcdBits.width() - at));
    }
    previousValue.copyFrom(vcdBits);
    pendingBits.copyFrom(vcdBits);
    setState(ValuesMatch, qk_cycle);
}
