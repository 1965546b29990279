// The states of one net: every row of the tables, and what is told of it.
#include "validate/compare.h"

#include "tests/validate/validate_fixture.h"

namespace {

enum Event { kTraceChanges, kModelChanges, kTimesOut, kTraceEnds };

/// A net of two digits that entered `state` at 10 ns, and what then happens.
struct Row {
    Event event;
    CompareState state;
    uint64_t now;
    const char *before, *trace;  ///< the trace's value before its last change, and now
    uint8_t was, is;             ///< the model's
    const char* value;           ///< of the event
    CompareState next;
    uint64_t entered;
    int differences;
    const char* said;
    const char* details;  ///< said if verbose; all is if `said` begins with a blank
};

#define HEAD(time, text) "Time: " time ": " text ": top.s\n"
#define BEFORE(value) "  Before time 10ns both Model and Trace had value:\n    " value "\n"
#define AT(time, what, value) "  At time " time " the " what ":\n    " value "\n"
#define BUT_AT(what, value) "  But at time 15ns the " what ":\n    " value "\n"
#define MARKED "  Marking this signal as out-of-sync\n"
#define AGAIN "  Values match again at time 15ns so not marked as out-of-sync\n"
#define VALUES(trace, model) "\tTrace Value: " trace "\n\tModel Value: " model "\n"
#define TWICE_T "Trace had not changed but the Model changed again to"
#define TWICE_M "Model had not changed but the Trace changed again to"

constexpr CompareState kWaitsForTrace = WaitingForVCDChange;
constexpr CompareState kWaitsForModel = WaitingForLiveModelChange;

// clang-format off
const Row rows[] = {
    {kTraceChanges, DoNotCompare,   15, "00", "00", 0, 0, "01", DoNotCompare,   0,  0, "", ""},
    {kTraceChanges, Parked,         15, "00", "00", 0, 0, "01", Parked,         10, 0, "", ""},
    {kTraceChanges, ValuesMatch,    15, "00", "00", 1, 1, "01", ValuesMatch,    10, 0, "", ""},
    {kTraceChanges, ValuesMatch,    15, "00", "01", 1, 1, "x1", ValuesMatch,    10, 0, "", ""},
    {kTraceChanges, ValuesMatch,    15, "00", "00", 0, 0, "01", kWaitsForModel, 15, 0, "", ""},
    {kTraceChanges, kWaitsForTrace, 15, "00", "00", 0, 1, "01", ValuesMatch,    15, 0, "", ""},
    {kTraceChanges, kWaitsForTrace, 15, "00", "00", 0, 1, "0z", ValuesMatch,    15, 0, "", ""},
    {kTraceChanges, kWaitsForTrace, 15, "xx", "00", 0, 1, "11", OutOfSync,      15, 1,
     HEAD("15ns", "VCD change does not match earlier live model change"),
     BEFORE("00") AT("10ns", "Model became", "01") BUT_AT("Trace changed to", "11") MARKED},
    {kTraceChanges, kWaitsForModel, 10, "00", "01", 0, 0, "00", kWaitsForModel, 10, 0, "", ""},
    {kTraceChanges, kWaitsForModel, 15, "00", "01", 0, 0, "00", ValuesMatch,    15, 1,
     HEAD("10ns", "Model missed a state change"),
     BEFORE("00") AT("10ns", "Trace became", "01") AT("15ns", TWICE_M, "00") AGAIN},
    {kTraceChanges, kWaitsForModel, 15, "00", "01", 0, 0, "11", OutOfSync,      15, 1,
     HEAD("10ns", "Model missed a state change"),
     BEFORE("00") AT("10ns", "Trace became", "01") AT("15ns", TWICE_M, "11") MARKED},
    {kTraceChanges, kWaitsForModel, 10, "00", "01", 0, 0, "1x", OutOfSync,      10, 1,
     HEAD("10ns", "Model missed a state change"),
     BEFORE("00") AT("10ns", "Trace became", "01") AT("10ns", TWICE_M, "1x") MARKED},
    {kTraceChanges, OutOfSync,      15, "00", "01", 0, 0, "00", ValuesMatch,    15, 0, HEAD("15ns", "Back in-sync"), ""},
    {kTraceChanges, OutOfSync,      15, "00", "01", 0, 0, "11", OutOfSync,      10, 0, "", ""},

    {kModelChanges, DoNotCompare,   15, "00", "00", 0, 0, "01", DoNotCompare,   0,  0, "", ""},
    {kModelChanges, Parked,         15, "00", "00", 0, 0, "01", Parked,         10, 0, "", ""},
    {kModelChanges, ValuesMatch,    15, "00", "0x", 0, 0, "01", ValuesMatch,    10, 0, "", ""},
    {kModelChanges, ValuesMatch,    15, "00", "00", 0, 0, "01", kWaitsForTrace, 15, 0, "", ""},
    {kModelChanges, kWaitsForTrace, 10, "00", "00", 0, 1, "00", kWaitsForTrace, 10, 0, "", ""},
    {kModelChanges, kWaitsForTrace, 15, "11", "00", 0, 1, "00", ValuesMatch,    15, 1,
     HEAD("10ns", "Model change not in the Trace"),
     BEFORE("00") AT("10ns", "Model became", "01") AT("15ns", TWICE_T, "00") AGAIN},
    {kModelChanges, kWaitsForTrace, 10, "11", "00", 0, 1, "11", OutOfSync,      10, 1,
     HEAD("10ns", "Model change not in the Trace"),
     BEFORE("00") AT("10ns", "Model became", "01") AT("10ns", TWICE_T, "11") MARKED},
    {kModelChanges, kWaitsForModel, 10, "00", "01", 0, 0, "01", ValuesMatch,    10, 0, "", ""},
    {kModelChanges, kWaitsForModel, 15, "00", "0z", 0, 0, "11", OutOfSync,      15, 1,
     HEAD("10ns", "Bad state change in Model"),
     BEFORE("00") AT("10ns", "Trace became", "0z") BUT_AT("Model became", "11") MARKED},
    {kModelChanges, OutOfSync,      15, "00", "01", 0, 0, "01", ValuesMatch,    15, 0, " ", HEAD("15ns", "Back in-sync")},
    {kModelChanges, OutOfSync,      15, "00", "01", 0, 0, "10", OutOfSync,      10, 0, "", ""},

    {kTimesOut,     kWaitsForTrace, 15, "11", "00", 0, 1, "",   kWaitsForTrace, 10, 0, "", ""},
    {kTimesOut,     kWaitsForTrace, 16, "11", "00", 0, 1, "",   OutOfSync,      10, 1,
     HEAD("10ns", "Model change not in the Trace"),
     BEFORE("00") AT("10ns", "Model became", "01") "  But by time 16ns the Trace had not changed\n" MARKED},
    {kTimesOut,     kWaitsForModel, 16, "00", "01", 0, 0, "",   OutOfSync,      10, 1,
     HEAD("10ns", "Model missed a state change"),
     BEFORE("00") AT("10ns", "Trace became", "01") "  But by time 16ns the Model had not changed\n" MARKED},
    {kTimesOut,     kWaitsForModel, 16, "01", "00", 0, 0, "",   ValuesMatch,    10, 0, "", ""},

    {kTraceEnds,    DoNotCompare,   15, "00", "11", 0, 0, "",   DoNotCompare,   0,  0, "", ""},
    {kTraceEnds,    Parked,         15, "00", "11", 0, 0, "",   Parked,         10, 0, "", ""},
    {kTraceEnds,    ValuesMatch,    15, "00", "1x", 0, 0, "",   OutOfSync,      15, 1,
     HEAD("10ns", "End State Difference"), VALUES("1x", "00")},
    {kTraceEnds,    kWaitsForTrace, 15, "00", "00", 0, 1, "",   OutOfSync,      15, 1,
     HEAD("10ns", "Model change not reported in Trace"), VALUES("00", "01")},
    {kTraceEnds,    kWaitsForTrace, 10, "00", "00", 0, 1, "",   kWaitsForTrace, 10, 0, "", ""},
    {kTraceEnds,    kWaitsForModel, 15, "00", "01", 0, 0, "",   OutOfSync,      15, 1,
     HEAD("10ns", "Trace change not seen in Model"), VALUES("01", "00")},
    {kTraceEnds,    kWaitsForModel, 10, "00", "01", 0, 0, "",   kWaitsForModel, 10, 0, "", ""},
    {kTraceEnds,    OutOfSync,      15, "00", "01", 0, 0, "",   OutOfSync,      10, 0, HEAD("10ns", "Not re-synchronised"), ""},
    {kTraceEnds,    OutOfSync,      15, "00", "01", 0, 1, "",   OutOfSync,      10, 0, "", ""},
};
// clang-format on

class CompareTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        registerNets(
            "top",
            {net(0, 1, "s", &storage, 1, 0, 1, 0x1), net(0, 2, "lower", &low, 63, 0, 0x201, 0x1),
             net(0, 3, "lower", &high, 99, 64, 0x201, 0x1), net(0, 4, "in", &input, 3, 0)});
        completeRegistration(true);
    }

    /// Starts anew, with one compared net.
    QkVCDTrace* watch(const char* fullName) {
        reader().vcdModel = nullptr;
        reader().start(false);
        QkTrace* const live = name(fullName)->trace;
        return traces().add(live, live->width());
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
    static QkVCDTraces& traces() { return reader().vcdModel->traces; }

    QkVCDTrace* arrange(const Row& row) {
        storage = row.was;
        QkVCDTrace* const trace = watch("top.s");
        storage = row.is;
        trace->readLive();
        for (BitString* bits : {&trace->vcdBits, &trace->pendingBits})
            bits->setDigits(row.trace, 0, 2);
        trace->previousValue.setDigits(row.before, 0, 2);
        if (row.state == DoNotCompare)
            trace->makeStimulus();
        else if (row.state == ValuesMatch)
            trace->lastStateChange = 10;
        else
            trace->setState(row.state, 10);
        trace->isStimulus = false;
        traces().scanLiveChanges();
        return trace;
    }

    static void happen(const Row& row, QkVCDTrace* trace, uint8_t& place) {
        qk_cycle = row.now;
        switch (row.event) {
            case kTraceChanges:
                trace->setPendingVC(row.value, 0, 2, row.state == Parked);
                traces().commitPending(false);
                break;
            case kModelChanges:
                place = static_cast<uint8_t>((row.value[0] - '0') * 2 + (row.value[1] - '0'));
                traces().scanLiveChanges();
                break;
            case kTimesOut: checkSyncTimeouts(); break;
            case kTraceEnds: trace->checkEndState(); break;
        }
    }

    uint8_t storage = 0, input = 0;
    uint64_t low = 0, high = 0;
};

TEST_F(CompareTest, FollowsItsTables) {
    reader().synctime = 5;
    for (const Row& row : rows) {
        for (const int verbose : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", verbose " << verbose);
            reader().verbose = 0;
            qk_cycle = 10;
            QkVCDTrace* const trace = arrange(row);
            reader().verbose = verbose;
            said.clear();
            happen(row, trace, storage);
            const std::string loud = std::string(row.said) == " " ? "" : row.said;
            EXPECT_EQ(said, verbose ? loud + row.details : loud);
            EXPECT_EQ(reader().nDifferences, row.differences);
            EXPECT_EQ(compareStateName(trace->state), std::string(compareStateName(row.next)));
            EXPECT_EQ(trace->lastStateChange, row.entered);
            EXPECT_EQ(nOutOfSync, row.next == OutOfSync);
            EXPECT_EQ(trace->lostSync, row.next == OutOfSync || row.state == OutOfSync);
            const auto waits = [](CompareState s) {
                return s == kWaitsForTrace || s == kWaitsForModel;
            };
            EXPECT_EQ(waitingToSync == trace, waits(row.next));
            EXPECT_EQ(trace->nChanges, waits(row.state) && !waits(row.next));
            const uint64_t waited = row.entered - 10;
            EXPECT_EQ(trace->maxSyncToVCD, row.state == kWaitsForTrace ? waited : 0);
            EXPECT_EQ(trace->maxSyncToLive, row.state == kWaitsForModel ? waited : 0);
        }
    }
}

TEST_F(CompareTest, ShowsBothValuesUnlessStrict) {
    const struct {
        int row;  ///< in `rows`, of those with a difference
        const char* values;
    } cases[] = {
        {0, "\tTrace Value: 11\n\tModel Value: 01\n\t             ^\n"},
        {1, "\tTrace Value: 01\n\tModel Value: 00\n\t              ^\n"},
        {2, "\tTrace Value: 11\n\tModel Value: 00\n\t             ^^\n"},
        {3, "\tTrace Value: 1x\n\tModel Value: 00\n\t             ^\n"},
        {4, "\tTrace Value: 00\n\tModel Value: 01\n\t              ^\n"},
        {7, "\tTrace Value: 00\n\tModel Value: 01\n\t              ^\n"},
        {8, "\tTrace Value: 01\n\tModel Value: 00\n\t              ^\n"},
        {9, "\tTrace Value: 1x\n\tModel Value: 00\n\t             ^\n"},
    };
    std::vector<const Row*> differences;
    for (const Row& row : rows)
        if (row.differences != 0) differences.push_back(&row);
    reader().synctime = 5;
    qk_strict = false;
    for (const auto& c : cases) {
        const Row& row = *differences[static_cast<size_t>(c.row)];
        SCOPED_TRACE(row.said);
        qk_mtc_verbose(0);
        qk_cycle = 10;
        QkVCDTrace* const trace = arrange(row);
        said.clear();
        happen(row, trace, storage);
        EXPECT_EQ(said, row.said + std::string(c.values));
    }
    qk_mtc_verbose(1);
    qk_cycle = 10;
    const Row& first = *differences[0];
    QkVCDTrace* const trace = arrange(first);
    said.clear();
    happen(first, trace, storage);
    EXPECT_EQ(said, std::string(first.said) + BEFORE("00") AT("10ns", "Model became", "01") BUT_AT(
                                                  "Trace changed to", "11") "    ^\n" MARKED);
    qk_strict = true;
}

TEST_F(CompareTest, NamesItsStates) {
    const char* const names[] = {
        "DoNotCompare",        "Ignored",   "ValuesMatch",      "WaitingForVCD",
        "WaitingForLiveModel", "OutOfSync", "!!! BAD STATE !!!"};
    for (int state = DoNotCompare; state <= Destroy; ++state)
        EXPECT_STREQ(compareStateName(static_cast<CompareState>(state)), names[state]);
}

TEST_F(CompareTest, ComparesValuesInSeveralPartsDigitByDigit) {
    QkVCDTrace* const trace = watch("top.lower");
    const std::string digits = "1" + std::string(40, '0') + "1" + std::string(58, '0');
    trace->vcdBits.setDigits(digits, 0, 100);
    EXPECT_FALSE(trace->matchesLiveModel());
    high = uint64_t{1} << 35;
    low = uint64_t{1} << 58;
    EXPECT_TRUE(trace->readLive());
    EXPECT_TRUE(trace->matchesLiveModel());
    EXPECT_EQ(trace->liveText(), digits);
    low |= 2;
    EXPECT_EQ(trace->storageText(), digits.substr(0, 98) + "10");
    EXPECT_TRUE(trace->matchesLiveModel()) << "not read yet";
    trace->readLive();
    EXPECT_FALSE(trace->matchesLiveModel());
    trace->vcdBits.setDigits("Z", 1, 1);
    EXPECT_TRUE(trace->matchesLiveModel());
}

TEST_F(CompareTest, UnparksWithTheModelsValue) {
    QkVCDTrace* const trace = watch("top.lower");
    trace->setState(Parked, 1);
    high = 5;
    low = 9;
    trace->unpark();
    EXPECT_EQ(trace->state, ValuesMatch);
    EXPECT_EQ(trace->vcdBits.text(), trace->storageText());
    EXPECT_EQ(trace->previousValue.text(), trace->storageText());
    trace->setPendingVC("1", 2, 1, false);
    traces().commitPending(false);
    EXPECT_EQ(trace->vcdBits.text(), std::string(33, '0') + "101" + std::string(60, '0') + "1101");
}

TEST_F(CompareTest, ATimeoutEndsTheWaitsThatBeganLongestAgo) {
    QkVCDTrace* const first = watch("top.s");
    QkVCDTrace* const second = traces().add(name("top.lower")->trace, 100);
    high = low = storage = 0;
    for (QkVCDTrace* trace : {second, first}) {
        trace->vcdBits.setDigits("1", 0, 2);
        ++qk_cycle;
        trace->setState(kWaitsForModel, qk_cycle);
    }
    reader().synctime = 3;
    qk_cycle += 3;
    checkSyncTimeouts();
    EXPECT_EQ(second->state, OutOfSync);
    EXPECT_EQ(first->state, kWaitsForModel);
    EXPECT_EQ(waitingToSync, first);
}

}  // namespace
