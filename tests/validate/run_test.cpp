// Running along a trace: who moves time, when the model is stepped, where a run stops.
#include "console/console.h"
#include "tests/validate/validate_fixture.h"

namespace {

constexpr const char* kDump = "#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n";
constexpr const char* kCompletion = "\nZEFT Validate: Running simulation to completion\n";
constexpr const char* kFailed = "ZEFT Validate: difference found while running simulation\n";

std::string ended(const char* time) {
    return std::string("\nTime: ") + time + ": End of Trace File Reached\n\n";
}

std::string summary(int driven, int compared, const char* longest, int differences) {
    return "\n\nZEFT Validate:\n  Made " + std::to_string(driven) +
           " changes in 2 inputs\n  Compared " + std::to_string(compared) +
           " changes in 2 signals\n  Longest time to synchronise was " + longest + "\n  " +
           std::to_string(differences) + " differences found\n";
}

class RunTest : public ValidateTest {
protected:
    /// Runs a trace without a console. @return what was said from the run on
    static std::string runTrace(const std::string& body, int result) {
        writeTrace(body);
        stepped = 0;
        said.clear();
        const int done = qk_mtc("ref.vcd");
        if (result >= 0) {
            EXPECT_EQ(done, result);
        }
        const size_t at = said.find(kCompletion);
        return at == std::string::npos ? said : said.substr(at + std::strlen(kCompletion));
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
};

TEST_F(RunTest, AStepMayMakeTheTickFiner) {
    qk_mtc_clock("top.clk", 0);
    qk_strict = false;
    qk_mtc_synctime(4, "ns");
    duringStep = [] {
        if (qk_cycle == 20) qk_set_timescale("a module made late", -9, -12);
    };
    const std::string body = std::string(kDump) +
                             "#5\n1e\n1c\n#10\n0c\nb1 n\n#20\n1c\n#23\n"
                             "b10 n\n#30\n0c\n#40\n";
    EXPECT_EQ(runTrace(body, 1),
              "Time: 0ns: 0 signals out-of-sync\n" + ended("40000ps") + summary(5, 2, "5000ps", 0) +
                  "  1 net compared in name only (no change in the trace): top.done\n");
    EXPECT_EQ(qk_cycle, 40000u);
}

TEST_F(RunTest, StopsAtTheThreshold) {
    qk_mtc_clock("top.clk", 0);
    std::string body = kDump;
    for (int i = 1; i <= 60; ++i) {
        body += "#" + std::to_string(i);
        body += i % 2 ? "\nb1 n\n" : "\nb0 n\n";
    }
    std::string counted = runTrace(body, 0);
    EXPECT_THAT(counted, testing::EndsWith(summary(0, 10, "1ns", 10) + kFailed));
    EXPECT_EQ(qk_cycle, 21u);
    reader().threshold = -1;
    counted = runTrace(body, 0);
    EXPECT_THAT(counted, testing::EndsWith(ended("60ns") + summary(0, 30, "1ns", 30) + kFailed));
}

// What the model is given in each step of one time step of the trace.
std::string inputsSeen;

TEST_F(RunTest, StepsOnClocks) {
    constexpr unsigned early = QK_flag_early_input, step = QK_flag_step_input;
    const struct {
        int clocksFirst;
        unsigned flags;  ///< of the other input
        const char *lines, *steps;
    } cases[] = {
        {0, 0, "1e\n1c\n", "c1e1 "},
        {0, 0, "1c\n1e\n", "c1e0 "},
        {0, 0, "1e\n", ""},
        {0, step, "1e\n", "c0e1 "},
        {0, step, "1c\n1e\n", "c1e0 c1e1 "},
        {0, early, "1e\n", ""},
        {0, early, "1e\n1c\n", "c0e1 c1e1 "},
        {0, early, "1c\n1e\n", "c1e0 "},
        {0, early, "1c\n0c\n1e\n1c\n", "c0e0 c0e1 c1e1 "},
        {0, 0, "1c\n1d\n0c\n", "c1e0 c0e0 "},
        {1, 0, "1e\n1c\n", "c1e0 c1e1 "},
        {1, 0, "1c\n1e\n", "c1e0 c1e1 "},
        {1, 0, "1e\n", "c0e1 "},
        {1, 0, "0e\n1d\nb1 n\n", ""},
        {1, 0, "1e\n1c\n0c\n", "c0e1 "},
        {1, early, "1c\n1e\n", "c0e1 c1e1 "},
        {1, early, "1e\n", "c0e1 "},
        {1, QK_flag_clock, "1c\n1e\n", "c1e1 "},
        {1, step, "1e\n1c\n", "c1e0 c1e1 "},
    };
    duringStep = [] {
        inputsSeen += "c" + std::to_string(counter->clk) + "e" + std::to_string(counter->en) + " ";
        qk_cycle += 1000;  // undone
    };
    QkTrace* const en = name("top.en")->trace;
    for (const auto& c : cases) {
        for (const std::string ending : {"#6\n", ""}) {
            SCOPED_TRACE(c.lines + ending);
            if (!c.clocksFirst && ending.empty()) continue;
            qk_mtc_clock_first(c.clocksFirst);
            en->flags = c.flags;
            model = CounterStorage{};
            model.clkPort = &model.clk;
            qk_cycle = 0;
            inputsSeen.clear();
            runTrace(std::string(kDump) + "#5\n" + c.lines + ending, -1);
            EXPECT_EQ(inputsSeen, std::string("c0e0 ") + c.steps);
            EXPECT_EQ(qk_cycle, ending.empty() ? 5u : 6u);
        }
    }
    EXPECT_EQ(qk_mtc_clock_first(0), 1);
    EXPECT_TRUE(reader().steponclock) << "what was in force before";
    qk_mtc_clock_first(1);
    qk_mtc_step_on_clock(0);
    EXPECT_EQ(qk_mtc_clock_first(1), 1);
    qk_mtc_step_on_clock(1);
    EXPECT_EQ(qk_mtc_clock_first(1), 0) << "the latest to be switched on holds";
}

TEST_F(RunTest, LooksAtTheModelOnceATimeStepWithClocksFirst) {
    qk_mtc_clock_first(1);
    duringStep = [] { counter->done = counter->clk && !counter->en; };
    run("trace top.done");
    const std::string body = std::string(kDump) + "#5\n1e\n1c\n#10\n0c\n#15\nb1 n\n1c\n#20\n";
    EXPECT_THAT(runTrace(body, 1), testing::EndsWith(summary(4, 1, "0ns", 0)));
    qk_save("out.vcd");
    EXPECT_THAT(readVcd("out.vcd"), testing::EndsWith("$end\n#20\n")) << "no glitch at 5 ns";
}

TEST_F(RunTest, FirstValuesMakeNoClockEdgeForAModelThatSettles) {
    const std::string body =
        "#0\n$dumpvars\n1c\n1e\n0d\nb101 n\n$end\n"
        "#5\n0c\n#10\n1c\nb110 n\n#15\n0c\n#20\n";
    qk_settle_fn = [] {
        counter->lastClk = counter->clk;
        counter->done = counter->count == 3;
    };
    for (int opening = 0; opening < 2; ++opening) {
        EXPECT_THAT(runTrace(body, 1), testing::EndsWith(summary(3, 1, "0ns", 0)));
        EXPECT_EQ(stepped, 3);
    }
    qk_settle_fn = nullptr;
    runTrace(body, 0);
    EXPECT_EQ(stepped, 4);
}

TEST_F(RunTest, NeedsAStepFunctionAndACompatibleModel) {
    qk_step_fn = nullptr;
    writeTrace(kDump);
    EXPECT_EQ(qk_mtc("ref.vcd"), 0);
    EXPECT_THAT(said, testing::EndsWith("found \nZEFT Validate: 'qk_step_fn()' not registered\n"));
    qkLiveModel->allTraceFlags = QK_flag_hidden;
    said.clear();
    EXPECT_EQ(qk_mtc(nullptr), 0);
    EXPECT_EQ(said, "ZEFT Validate: model not compatible, rebuild using MS Mode\n");
}

TEST_F(RunTest, TheModelMayAskForAnythingInItsStep) {
    qk_mtc_clock("top.clk", 0);
    duringStep = [] {
        if (stepped != 3) return;
        for (const char* line : {"close", "map top=top", "stimulus top.en=top.clk", "validate",
                                 "open ref.vcd", "monitor -t", "ignore *count", "trace *"})
            qk_cli(line);
        qk_takenote();
    };
    const std::string ran = runTrace(std::string(kDump) + "#5\n1e\n#10\n1c\n#15\n0c\n#20\n", 1);
    EXPECT_THAT(ran, testing::HasSubstr("Added mapping top = top\nZEFT Validate: unable to add"));
    EXPECT_THAT(ran, testing::HasSubstr("ZEFT Validate: VCD file already open\n"));
    EXPECT_FALSE(runningFromVCD);
    EXPECT_EQ(qk_cycle, 15u) << "closed behind the line";
}

TEST_F(RunTest, ShowsItselfToTheCurious) {
    qk_mtc_clock("top.clk", 0);
    run("show top.count");
    run("show top.en");
    reader().verbose = 4;
    reader().verbosestep = true;
    reader().timeExecution = true;
    const std::string ran = runTrace(std::string(kDump) + "#5\n1e\nb1 n\n#10\n", 0);
    for (const char* part :
         {"QkVCDVar::setVCDValue: top.en (linked to top.en) <= 1\n"
          "QkVCDVar::setVCDValue: (flags 0x0000)\n",
          "QkVCDTrace::setPendingVC(): Time: 5ns: Change in      : top.en\n",
          "Commit Pending Changes:\nTime: 5ns: Commit top.en: 0 -> 1\n",
          "QkVCDTrace::noteVCDUpdate(1) [top.en] canCompareValues=0, state=DoNotCompare\n",
          "QkTrace::writeBitString(\"1\",0) (top.en) flags=0x0000 invert=0 neverWrite:0\n"
          "QkTrace::writeBitString(): bitswalker: (top.en) t->flags=0x0000 t->invert=0\n"
          "       5ns: top.en    = 1\n"
          "Time: 5ns: VCD Change: top.en  (stimulus updated)  1\n"
          "Time: 5ns: Commit top.count: 0000 -> 0001\n",
          "Time: 5ns: setState for top.count  - ValuesMatch->WaitingForLiveModel (after 5ns)\n",
          "Time: 5ns: Step (time change)\n", "Time: 10ns: Start VCD timestep:\n",
          "    top.count:  Changes:1      (Lost Sync)\n",
          "       top.en:  Changes:1      (Input)\n",
          "     top.done:  Changes:0      Max Sync Time: 0ns\n", " CPU-seconds elapsed\n"})
        EXPECT_THAT(ran, testing::HasSubstr(part));
}

TEST_F(RunTest, AnInvertedInputReadsWhatTheTraceSaysUnlessStrict) {
    static uint8_t storage;
    static uint8_t* port = &storage;
    QkGRNet inverse = net(0, 2, "n", nullptr, 0, 0, QK_type_input, QK_flag_replaced);
    inverse.replacement = -1;
    registerNets("more", {net(0, 1, "p", &port, 0, 0, 0x100 | QK_type_input), inverse});
    for (const bool strict : {true, false}) {
        qk_strict = strict;
        qk_cycle = 0;
        writeFile(
            "ref.vcd",
            "$scope module more $end $var wire 1 n n $end $upscope $end $enddefinitions $end\n"
            "#0 $dumpvars 0n $end\n#5 1n\n#6 0n\n#7 1n\n#8\n");
        qk_mtc("ref.vcd");
        EXPECT_EQ(storage, strict) << said;
    }
    qk_strict = true;
}

TEST_F(RunTest, ClosesAfterTheOpeningThatAsksForIt) {
    qk_prints = [](const char* text) {
        said += text;
        if (said.find("top.en = 1") != std::string::npos) qk_cli("close");
    };
    run("show top.en");
    writeTrace("#0\n$dumpvars\n0c\n1e\n0d\nb0 n\n$end\n#5\n0e\n");
    EXPECT_EQ(qk_mtc("ref.vcd"), 0);
    EXPECT_THAT(said, testing::HasSubstr("0ns: top.en = 1"));
    EXPECT_FALSE(runningFromVCD);
}

}  // namespace
