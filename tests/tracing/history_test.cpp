#include <bitset>
#include <map>
#include <random>
#include <sstream>
#include <unordered_map>

#include "console/console.h"
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

TEST_F(HistoryTest, TheLimitAfterAFile) {
    struct {
        bool strict;
        const char *before, *during, *after;
    } const cases[] = {
        {false, "circular 0", "circular", "disabled"},
        {false, "circular 12000", "circular", "enabled: at least 12000 value changes"},
        {false, "circular 12000", "circular 0", "disabled"},
        {false, "circular 0", "circular 20000", "enabled: at least 20000 value changes"},
        {true, "circular 12000", "circular 0", "enabled: at least 12000 value changes"},
        {false, "circular 0", "circular", "disabled"},
        {true, "circular 0", "circular", "enabled: at least 10000 value changes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.before) + ", " + c.during);
        qk_strict = c.strict;
        qk_cli(c.before);
        ASSERT_EQ(qk_traceto("x.vcd"), 1);
        qk_cli(c.during);
        run(20000);
        EXPECT_EQ(qkLiveModel->writer.scopesWritten, name("top.n")->traced);
        qk_traceclose();
        said.clear();
        qk_cli("circular");
        EXPECT_EQ(said, "Circular buffering" + std::string(c.after[0] == 'd' ? ": " : " ") +
                            c.after + "\n");
        trace("top.n");
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
    qk_strict = false;
    qkLiveModel->writer.stopTracing(name("many.m0"));
    trace("*");
    saved();
    trace("top.n");
    EXPECT_EQ(conditions.size(), 1u);
}

TEST_F(HistoryTest, AFinerTickRescalesWhatRemembersATime) {
    qkLiveModel->reader.synctime = 2;
    stopTime = 5000000;
    trace("top.n");
    run(1);
    qk_set_timescale("strictly", -9, -12);
    run(1);
    EXPECT_EQ(saved(), "#0\n$dumpvars\nb0 !\n$end\n#1\nb1 !\n#1001\nb10 !\n");
    EXPECT_EQ(stopTime, 5000000u);

    run(2);
    qk_strict = false;
    ASSERT_EQ(qk_traceto("x.vcd"), 1);  // its head waits
    qk_set_timescale("practically", -9, -13);
    EXPECT_EQ(qkLiveModel->reader.synctime, 20u);
    EXPECT_EQ(stopTime, 50000000u);
    run(20000);
    EXPECT_EQ(said, "VCD written to file: x.vcd\n");
    qk_set_timescale("practically", -9, -14);
    EXPECT_EQ(
        said,
        "VCD written to file: x.vcd\nZEFT: closing VCD file 'x.vcd': the timescale gets finer "
        "than its header says\nVCD written to file: x.vcd\n");
    const std::string vcd = readVcd("x.vcd");
    EXPECT_THAT(vcd, testing::StartsWith("$timescale\n    100 fs\n"));
    EXPECT_THAT(vcd,
                testing::HasSubstr("#10020\n$dumpvars\n$end\nb11 !\n#10030\nb100 !\n#10031\n"));
    EXPECT_THAT(vcd, testing::EndsWith("#30030\nb100100 !\n"));
    run(1);
    EXPECT_EQ(saved(), "#300301\n$dumpvars\n$end\nb100101 !\n");
}

/// Calls check(time, values) with the digits by identifier code at the end of each time of a file.
/// @return how many values follow the dump
template <class Check>
int play(const std::string& body, Check&& check) {
    std::unordered_map<std::string, std::string> values;
    std::istringstream words(body);
    std::string time;
    int changes = 0;
    for (std::string word, code; words >> word;) {
        if (word == "$end") changes = 0;
        if (word[0] == '#') {
            if (!values.empty()) check(std::stoull(time), values);
            time = word.substr(1);
        } else if (word[0] == 'b') {
            words >> code;
            word.erase(0, 1);
            EXPECT_NE(std::exchange(values[code], word), word) << "recorded twice";
            ++changes;
        }
    }
    check(std::stoull(time), values);
    return changes;
}

TEST_F(HistoryTest, WhatCircularMemoryKeepsIsRightFromItsStart) {
    qk_strict = false;
    static uint64_t wide[3];
    static uint8_t array[3000];
    QkGRNet mem = net(0, 4, "mem", array, 7, 0, 1 | QK_array);
    mem.array_left = 2999;
    kelvo_module* const module =
        registerNets("wides", {net(0, 1, "wide", &wide[0], 63, 0, 0x201),
                               net(0, 2, "wide", &wide[1], 127, 64, 0x201),
                               net(0, 3, "wide", &wide[2], 180, 128, 0x201), mem});
    registerMany();
    qk_cli("setvv v = wides.wide[150:20], top.n");
    const char* const names[] = {" wide   [", " v      [", " o      [", " m1000  ["};
    trace("*");
    qk_circular(10000);
    for (const int perStep : {3, 40, 1400}) {
        SCOPED_TRACE(perStep);
        std::mt19937_64 random(static_cast<uint64_t>(perStep));
        std::map<uint64_t, std::vector<std::string>> expected;
        for (int step = 0; step * perStep < 60000; ++step) {
            for (int i = 0; i < perStep; ++i) ++many[random() % 1500];
            wide[random() % 3] = random() >> (11 + random() % 53);
            if (step < 10) other = static_cast<uint8_t>(perStep);
            ++array[random() % 3000];
            module->qk_finalize_wave();
            run(1);
            const std::string bits = std::bitset<53>(wide[2]).to_string() +
                                     std::bitset<64>(wide[1]).to_string() +
                                     std::bitset<64>(wide[0]).to_string();
            expected[qk_cycle] = {bits, bits.substr(30, 131) + std::bitset<8>(byte).to_string(),
                                  std::bitset<8>(other).to_string(),
                                  std::bitset<32>(many[1000]).to_string()};
        }
        EXPECT_EQ(qk_save("x.vcd"), 1);
        const std::string vcd = readVcd("x.vcd");
        const int kept = play(vcd.substr(vcd.find("\n#")), [&](uint64_t time, auto& values) {
            for (size_t i = 0; i < 4; ++i) {
                const size_t at = vcd.find(names[i]) - 3;
                std::string text = values[vcd.substr(at, vcd.find(' ', at) - at)];
                if (text.empty() && perStep > 3) continue;  // the save before has its last value
                text.insert(0, expected[time][i].size() - text.size(), '0');
                ASSERT_EQ(text, expected[time][i]) << time << names[i];
            }
        });
        EXPECT_GE(kept, 10000);
        EXPECT_LE(kept, 10000 + 3 * perStep + 3000);
    }
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
