#include "tests/support/model_test.h"

namespace {

class HistoryTest : public ModelTest {
protected:
    static inline uint8_t byte, other;
    static inline uint32_t many[1500];

    void SetUp() override {
        ModelTest::SetUp();
        registerNets("top", {net(0, 1, "n", &byte, 7, 0), net(0, 2, "o", &other, 7, 0)});
    }
    /// Changes the byte at each of `steps` ticks.
    static void run(int steps) {
        for (int step = 0; step < steps; ++step) {
            ++byte;
            advance();
        }
    }
    /// The saved file from the end of its definitions on.
    static std::string saved() {
        EXPECT_EQ(qk_save("x.vcd"), 1);
        const std::string vcd = readVcd("x.vcd"), mark = "$enddefinitions $end\n";
        return vcd.substr(vcd.find(mark) + mark.size());
    }
    static void registerMany() {
        std::vector<std::string> names;
        for (int i = 0; i < 1500; ++i) names.push_back("m" + std::to_string(i));
        std::vector<QkGRNet> rows;
        for (int i = 0; i < 1500; ++i)
            rows.push_back(net(0, i + 1, names[static_cast<size_t>(i)].c_str(), &many[i], 31, 0));
        registerNets("many", rows);
    }
};

TEST_F(HistoryTest, TheFirstRecordingSetsTheStartTimeAndLaterOnesHaveMarkers) {
    qk_cycle = 7;
    trace("top.n");
    run(1);
    trace("top.o");  // a second capture at one time, and an initial value that came later
    byte = 9;
    qkLiveModel->writer.captureEntry();
    run(1);
    EXPECT_EQ(saved(), "#7\n$dumpvars\nb0 !\nb0 \"\n$end\n#8\nb1 !\nb1001 !\n#9\nb1010 !\n");
    // A save consumes the history: what follows has no initial values.
    advance();
    run(1);
    run(1);
    EXPECT_EQ(saved(), "#11\n$dumpvars\n$end\nb1011 !\n#12\nb1100 !\n");
}

TEST_F(HistoryTest, AChangeAndBackBetweenCapturesLeavesNothing) {
    trace("*");
    byte = 1;
    byte = 0;
    advance();
    EXPECT_EQ(saved(), "#0\n$dumpvars\nb0 !\nb0 \"\n$end\n#1\n");
}

TEST_F(HistoryTest, TracingAgainRecordsTheValueThen) {
    trace("top.n");
    byte = 1;
    advance();
    qkLiveModel->writer.stopTracing(name("top.n"));
    byte = 2;
    advance();
    trace("top.n");
    EXPECT_EQ(saved(), "#0\n$dumpvars\nb0 !\n$end\n#1\nb1 !\n#2\nb10 !\n");
}

TEST_F(HistoryTest, ASliceTracedAgainHasOneInitialValueAndALineThen) {
    qk_cli("setvv v = top.o[3:0], top.n[3:0]");
    trace("top.v");
    byte = 1;
    advance();
    qkLiveModel->writer.stopTracing(name("top.v"));
    other = 2;
    advance();
    trace("top.v");
    EXPECT_EQ(saved(), "#0\n$dumpvars\nb0 !\n$end\n#1\nb1 !\n#2\nb100001 !\n");
}

TEST_F(HistoryTest, TheHeadOfAFileHasAllThatOneCommandTraces) {
    trace("top.n");
    ASSERT_EQ(qk_traceto("x.vcd"), 1);
    run(5000);  // no room is left, not even for a time
    ++qk_cycle;
    byte = other = 7;
    registerNets("more", {net(0, 1, "m", &many[0], 31, 0)});
    trace("*");
    run(1);
    ASSERT_EQ(qk_traceclose(), 1);
    const std::string vcd = readVcd("x.vcd");
    EXPECT_THAT(vcd, testing::HasSubstr("$dumpvars\nb0 \"\nb0 !\nb111 #\n$end\n"));
    EXPECT_THAT(vcd, testing::EndsWith("#5001\nb111 \"\n#5002\nb1000 \"\n"));
}

TEST_F(HistoryTest, CircularReportsAndRoundsItsLimit) {
    struct {
        int n;
        const char* message;
    } const cases[] = {
        {0, "Circular buffering: disabled\n"},
        {5, "Circular buffering enabled: at least 10000 value changes\n"},
        {10001, "Circular buffering enabled: at least 11000 value changes\n"},
        {0, "Circular buffering enabled: at least 11000 value changes\n"},
        {-1, "Circular buffering enabled: at least 10000 value changes\n"},
        {INT32_MAX, "Circular buffering enabled: at least 2147484000 value changes\n"}};
    for (const auto& c : cases) {
        said.clear();
        EXPECT_EQ(qk_circular(c.n), 1);
        EXPECT_EQ(said, c.message);
    }
}

TEST_F(HistoryTest, CircularDropsTheOldestTimesAndBringsTheirNetsBack) {
    ASSERT_EQ(qk_circular(1), 1);
    trace("*");
    other = 7;  // changes once, at 1: dropped with the first bucket
    run(5000);
    // Each time takes two entries, the first three: the last value of all needs an eleventh bucket.
    // The first one goes. Its last entry is the marker of time 500, whose value goes with it.
    const std::string vcd = saved();
    const std::string start = "#500\n$dumpvars\nb0 !\nb0 \"\n$end\n";
    ASSERT_THAT(vcd, testing::StartsWith(start));
    EXPECT_THAT(vcd.substr(start.size()), testing::StartsWith("#501\nb11110101 !\n#502\n"));
    EXPECT_THAT(vcd, testing::EndsWith("#5000\nb10001000 !\n"));
    EXPECT_EQ(vcd.find("b111 \""), std::string::npos);

    // The next capture brings back whatever was dropped, changed or not.
    advance();
    EXPECT_THAT(saved(), testing::EndsWith("$end\nb111 \"\nb10001000 !\n"));
}

TEST_F(HistoryTest, NetsWithoutInitialValuesGetThemWhenTheirHistoryIsDropped) {
    ASSERT_EQ(qk_circular(1), 1);
    trace("*");
    saved();  // takes the initial values with it
    ++other;
    run(5000);
    // Without a marker for time 1 each time has two entries: the marker of 5001 needs an eleventh
    // bucket. Both nets are in the one that goes; they get the values of the capture that drops it.
    run(1);
    EXPECT_THAT(saved(), testing::StartsWith("#500\n$dumpvars\nb1 \"\nb10001001 !\n$end\n#501\n"));
}

TEST_F(HistoryTest, ATimeThatRunsOverIntoTheNextBucketIsDroppedAsAWhole) {
    registerMany();
    ASSERT_EQ(qk_circular(1), 1);
    trace("top.*");
    trace("many.*");
    for (int step = 0; step < 7; ++step) {
        for (uint32_t& word : many) ++word;
        advance();
    }
    // 7 times of 1501 entries are more than 10000: the first bucket goes, and with it the rest of
    // time 1 in the second.
    const std::string vcd = saved();
    EXPECT_THAT(vcd, testing::StartsWith("#1\n$dumpvars\n"));
    EXPECT_THAT(vcd, testing::HasSubstr("$end\n#2\nb10 "));
    EXPECT_THAT(vcd, testing::Not(testing::HasSubstr("\nb1 ")));
}

TEST_F(HistoryTest, ContinuousTracingWritesTheHeaderWithTheFirstOverflow) {
    trace("top.n");
    ASSERT_EQ(qk_traceto("x.vcd"), 1);
    QkTraceWriter& writer = qkLiveModel->writer;
    EXPECT_EQ(writer.maxeventbs, 10);
    run(5000);  // fills 10 buckets to the last entry
    EXPECT_FALSE(writer.scopesWritten);
    trace("top.o");
    run(1);
    EXPECT_TRUE(writer.scopesWritten);
    run(20000);
    EXPECT_EQ(qk_save("y.vcd"), 0);
    EXPECT_EQ(said,
              "Unable to save VCD file while a continuous save is in-progress, use traceclose\n");
    ASSERT_EQ(qk_traceto("z.vcd"), 1);  // ends the first file
    EXPECT_FALSE(writer.scopesWritten);
    const std::string vcd = readVcd("x.vcd");
    EXPECT_THAT(vcd, testing::HasSubstr("#0\n$dumpvars\nb0 !\nb0 \"\n$end\n#1\nb1 !\n#2\n"));
    EXPECT_THAT(vcd, testing::EndsWith("#25000\nb10101000 !\n#25001\nb10101001 !\n"));
    EXPECT_EQ(static_cast<int>(std::count(vcd.begin(), vcd.end(), '#')), 25002);
}

TEST_F(HistoryTest, TracingMuchMoreAtTheLimitIsAFault) {
    registerMany();
    static std::vector<std::string> conditions;
    qkSetAssertHandler(
        [](const char* condition, const char*, int) { conditions.push_back(condition); });
    ASSERT_EQ(qk_circular(1), 1);
    trace("top.n");
    run(5000);
    trace("many.*");
    EXPECT_THAT(conditions, testing::ElementsAre("panchor == &eventbs"));
}

TEST_F(HistoryTest, ArrayElementsThatAreNotZeroHaveInitialEntriesButNoText) {
    static uint8_t array[3000];
    QkGRNet row = net(0, 1, "a", array, 7, 0, 1 | QK_array);
    row.array_left = 2999;
    array[0] = array[2999] = 1;
    registerNets("arrays", {row});
    trace("*");
    byte = 1;
    advance();
    EXPECT_EQ(saved(), "#0\n$dumpvars\nb0 !\nb0 \"\n$end\n#1\nb1 !\n");
}

}  // namespace
