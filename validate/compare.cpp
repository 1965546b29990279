#include "validate/compare.h"

#include <cinttypes>
#include <cstring>

#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "validate/file_reader.h"
#include "validate/value_text.h"

QkVCDTrace* waitingToSync = nullptr;
int nOutOfSync = 0;

namespace {

/// As printed in debugging lines.
constexpr const char* kStateIdentifiers[] = {
    "DoNotCompare", "Parked", "ValuesMatch", "WaitingForVCDChange", "WaitingForLiveModelChange",
    "OutOfSync",    "Destroy"};
static_assert(std::size(kStateIdentifiers) == Destroy + 1, "one name per state");

int verbosity() { return qkReader->verbose; }

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

/// What a verbose report prints after its first line.
enum class Details : uint8_t {
    kNone,
    kValues,          ///< both values
    kTraceDisagrees,  ///< the model changed, then the trace changed differently
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

// If no row fits, nothing happens.

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
        if (row->count == kDifference) noteDifference(*row, time);
        setState(row->next, entry);
        return;
    }
}

/// The sentences of a report, and the two values that disagree.
struct QkVCDTrace::Story {
    struct Sentence {
        const char* when;
        uint64_t moment;
        const char* what;
        std::string value;  ///< empty: the sentence has none
    };
    std::vector<Sentence> sentences;
    std::string trace, model;
    size_t marked = 0;  ///< index of the sentence that has the later one of the two values
};

/// @param time  of the event
QkVCDTrace::Story QkVCDTrace::storyOf(const Transition& row, uint64_t time) const {
    const uint64_t began = lastStateChange;
    const std::string trace = vcdBits.text(), traceBefore = previousValue.text();
    const std::string model = liveText();
    const bool isLost = row.next == OutOfSync;
    constexpr const char* both = "both Model and Trace had value:";
    constexpr const char* traceBecame = "the Trace became:";
    constexpr const char* modelBecame = "the Model became:";
    Story story;
    story.trace = trace;
    story.model = model;
    story.marked = 2;
    switch (row.details) {
        case Details::kNone:
        case Details::kValues: break;
        case Details::kTraceDisagrees:
            story.sentences = {{"Before time", began, both, traceBefore},
                               {"At time", began, modelBecame, model},
                               {"But at time", time, "the Trace changed to:", trace}};
            break;
        case Details::kTraceChangedTwice:
            story.sentences = {
                {"Before time", began, both, model},
                {"At time", began, traceBecame, traceBefore},
                {"At time", time,
                 "the Model had not changed but the Trace changed again to:", trace}};
            if (isLost) break;
            story.trace = traceBefore;
            story.marked = 1;
            break;
        case Details::kModelChangedTwice:
            story.sentences = {
                {"Before time", began, both, trace},
                {"At time", began, modelBecame, previousLiveText()},
                {"At time", time,
                 "the Trace had not changed but the Model changed again to:", model}};
            if (isLost) break;
            story.model = previousLiveText();
            story.marked = 1;
            break;
        case Details::kModelDisagrees:
            story.sentences = {{"Before time", began, both, traceBefore},
                               {"At time", began, traceBecame, trace},
                               {"But at time", time, modelBecame, model}};
            break;
        case Details::kTraceLate:
            story.sentences = {{"Before time", began, both, trace},
                               {"At time", began, modelBecame, model},
                               {"But by time", time, "the Trace had not changed", ""}};
            story.marked = 1;
            break;
        case Details::kModelLate:
            story.sentences = {{"Before time", began, both, traceBefore},
                               {"At time", began, traceBecame, trace},
                               {"But by time", time, "the Model had not changed", ""}};
            story.marked = 1;
            break;
    }
    return story;
}

/// @return a 1 for each digit that is known and different in both values
std::string QkVCDTrace::unequalDigits(const Story& story) const {
    std::string marked = digitsOf(live, &LiveChunk::compared);
    for (size_t i = 0; i < marked.size(); ++i) {
        const bool isKnown = story.trace[i] == '0' || story.trace[i] == '1';
        if (!isKnown || story.trace[i] == story.model[i]) marked[i] = '0';
    }
    return marked;
}

void QkVCDTrace::report(const Transition& row, uint64_t time) const {
    const bool verbose = verbosity() != 0;
    if (row.loudness == kSaidIfVerbose && !verbose) return;
    Printout out;
    const uint64_t now = row.reportTime == kAtEvent ? time : lastStateChange;
    out.print("Time: %s: %s: %s\n", qk_time_as_string(now), row.text, name.c_str());
    // Only binary digits in strict mode, and if the user has requested it at the prompt.
    const bool inBinary = qk_strict || qkReader->detailsInBinary;
    if (row.details == Details::kNone || (inBinary && !verbose)) return;

    const Story story = storyOf(row, time);
    const bool tellsStory = verbose && !story.sentences.empty();
    std::vector<std::string> values = {story.trace, story.model};
    for (const Story::Sentence& sentence : story.sentences)
        if (tellsStory && !sentence.value.empty()) values.push_back(sentence.value);
    const ValueText form(values);
    const auto textOf = [&](const std::string& value) { return inBinary ? value : form.of(value); };
    const auto mark = [&](const char* indent) {
        const std::string marks = inBinary ? "" : form.marks(unequalDigits(story));
        if (!marks.empty()) out.print("%s%s\n", indent, marks.c_str());
    };
    if (!tellsStory) {
        out.print("\tTrace Value: %s\n\tModel Value: %s\n", textOf(story.trace).c_str(),
                  textOf(story.model).c_str());
        mark("\t             ");
        return;
    }
    for (const Story::Sentence& sentence : story.sentences) {
        out.print("  %s %s %s\n", sentence.when, qk_time_as_string(sentence.moment), sentence.what);
        if (!sentence.value.empty()) out.print("    %s\n", textOf(sentence.value).c_str());
        if (&sentence == &story.sentences[story.marked]) mark("    ");
    }
    if (row.next == OutOfSync)
        out.add("  Marking this signal as out-of-sync\n");
    else
        out.print("  Values match again at time %s so not marked as out-of-sync\n",
                  qk_time_as_string(time));
}

/// Counts a difference, and keeps it for the report if it is the net's first.
void QkVCDTrace::noteDifference(const Transition& row, uint64_t time) {
    ++qkReader->nDifferences;
    auto& kept = qkReader->results.record.differences;
    if (differenceNumber != 0) {
        ++kept[differenceNumber - 1].count;
        return;
    }
    const Story story = storyOf(row, time);
    kept.push_back({name, row.text, row.reportTime == kAtEvent ? time : lastStateChange,
                    story.trace, story.model, 1});
    differenceNumber = static_cast<uint32_t>(kept.size());
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
    // A wait may end with equal values: two changes at one time do not end it.
    if (QK_CHECK_AS(state == WaitingForVCDChange || state == WaitingForLiveModelChange, "0"))
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
    const uint64_t allowed = qkReader->synctime;
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

void QkVCDTrace::settleState() {
    if (!liveTrace || state == Parked) return;
    lastStateChange = qk_cycle;  // otherwise a wait would seem to have lasted until now
    setState(ValuesMatch, qk_cycle);
    readLive();
    forgetChange();
}

void QkVCDTrace::makeStimulus() {
    isStimulus = true;
    if (state == DoNotCompare) return;
    setState(ValuesMatch, qk_cycle);  // removes it from every ring and count
    state = DoNotCompare;
}

void QkVCDTrace::retire() {
    const bool drove = isStimulus;
    makeStimulus();
    isStimulus = drove;
    liveTrace = nullptr;
}

void QkVCDTrace::unpark() {
    if (!QK_CHECK(state == Parked)) return;
    readLive();
    for (int at = 0; at < vcdBits.width(); at += 64) {
        const LiveChunk& chunk = live[at / 64];
        // The digits are those of the storage: the digits of an inverted part are inverted again.
        vcdBits.setKnown(chunk.now ^ ~chunk.compared, at, std::min(64, vcdBits.width() - at));
    }
    previousValue.copyFrom(vcdBits);
    pendingBits.copyFrom(vcdBits);
    setState(ValuesMatch, qk_cycle);
}
