// The command loop, run control, the end of input and Ctrl-C.
#include <csignal>

#include "console/console.h"
#include "model/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

class LoopTest : public ConsoleTest {};

TEST_F(LoopTest, StepAndContinueMoveTheStopTime) {
    const struct {
        uint64_t now;
        const char* line;
        uint64_t stop;
    } cases[] = {
        {100, "step", 101},         {100, "step 20", 120},      {100, "step 2us", 2100},
        {100, "s 1", 101},          {100, "step 0", 100},       {100, "step 5 apples", 99},
        {100, "step apples", 99},   {100, "step -5", 99},       {0, "step apples", 0},
        {100, "continue", kNoStop}, {100, "continue 500", 500}, {100, "cont 50", 50},
        {100, "c 1.5us", 1500},     {100, "c later", 0},        {100, "c 18446744073709551615", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        qk_cycle = c.now;
        stopTime = 77;
        EXPECT_EQ(qk_cli(c.line), 1);
        EXPECT_EQ(stopTime, c.stop);
    }
}

TEST_F(LoopTest, OnlyTheEndOfInputEndsIt) {
    const std::string withNul("\0ls top.clk\nls top.r\0st\nstep\n", 29);
    EXPECT_EQ(typeBytes(withNul), kBanner + ready("0ns", 0) + "Command not recognised\n" +
                                      ready("0ns", 0) + "No matching signals (in 26 names)\n" +
                                      ready("0ns", 0));
    // What does not fit into a line is the next command.
    EXPECT_EQ(typeBytes(std::string(255, 'x') + "ls top.clk\nstep\n"),
              ready("0ns", 0) + "Command not recognised\n" + ready("0ns", 0) +
                  "top.clk   c   : 1\n" + ready("0ns", 0));
    std::string noise;
    for (int i = 0; i < 100000; ++i) noise += static_cast<char>(i * 7919 >> 3);
    typeBytes(noise);
    EXPECT_EQ(note(1), "") << "the noise ended the input";
}

TEST_F(LoopTest, AnInnerLoopLeavesWithTheOuterOne) {
    EXPECT_EQ(type({"cli", "cli", "step 5", "ls top.clk"}),
              kBanner + ready("0ns", 0) + ready("0ns", 0) + ready("0ns", 0));
    EXPECT_EQ(stopTime, 5u);
    std::string many;
    for (int i = 0; i < 200000; ++i) many += "cli\n";
    EXPECT_EQ(typeBytes(many + "step 8\n").size(), 200001 * ready("0ns", 0).size());
    EXPECT_EQ(stopTime, 8u);
}

TEST_F(LoopTest, HistoryHoldsWhatWasTypedButSavet) {
    writeFile("script", "ls top.clk\n");
    type({"ls  top.*", "", "savet saved", "savetrace", "loadt script", "  savet", "step"});
    std::string history;
    HistoryRing::each(qkLiveModel->console.history,
                      [&](const HistoryEntry* entry) { history += entry->command.str(); });
    EXPECT_EQ(history, "ls  top.*loadt scriptstep");
    EXPECT_EQ(readFile("saved"), "ls  top.*\n\n");
    EXPECT_EQ(readFile(".qk_savet"), "ls  top.*\n\nloadt script\n");
    EXPECT_EQ(run("savet late"), "Trace history written to: late\n");
    EXPECT_EQ(run("savet missing/late"), "Failed to open file: missing/late\n");
}

TEST_F(LoopTest, TimeThatRunsBackwardsIsReported) {
    EXPECT_EQ(note(50), "");
    qk_cycle = 20;
    EXPECT_EQ(note(0), "Warning, time now=20ns, previous time was 50ns\n");
    EXPECT_EQ(note(0), "");
}

// ---- Ctrl-C

TEST_F(LoopTest, CtrlCLeavesTheScriptThatRunsTheModel) {
    for (const bool strict : {true, false}) {
        qk_strict = strict;
        qk_sigint_install();
        writeFile("script", "step 10\nls top.rst\n");
        type({"loadt script"});
        std::raise(SIGINT);
        const std::string printed = note(1);
        EXPECT_EQ(printed.substr(0, printed.find("time")),
                  strict ? "^C\nzeft> ls top.rst\ntop.rst   i   : 0\n"
                         : "^C\nScript: script - left after line 1\n\n");
    }
}

int ownPresses = 0;
void countOwn(int) { ++ownPresses; }

TEST_F(LoopTest, CtrlCOpensTheConsoleAtTheNextNote) {
    qk_sigint_install();
    std::raise(SIGINT);
    EXPECT_EQ(sigintCount, 1);
    const std::string opened = type({"continue"});
    EXPECT_EQ(opened, "^C\n" + std::string(kBanner) + ready("0ns", 0));
    EXPECT_EQ(note(10), "");

    FILE* const more = std::tmpfile();
    std::fputs("step 5\n", more);
    std::rewind(more);
    qk_stdin = more;
    std::raise(SIGINT);
    std::raise(SIGINT);
    EXPECT_EQ(note(10), "^C\n" + ready("20ns", 0));
    EXPECT_EQ(sigintCount, 0);
    EXPECT_EQ(note(1), "");
    std::fclose(more);
}

TEST_F(LoopTest, TheFourthUnservedPressGivesTheSignalBack) {
    std::signal(SIGINT, countOwn);
    qk_sigint_install();
    qk_sigint_install();  // once is enough: the displaced handler stays the model's own
    for (int press = 1; press <= 4; ++press) std::raise(SIGINT);
    EXPECT_EQ(ownPresses, 0);
    std::raise(SIGINT);
    EXPECT_EQ(ownPresses, 1);
    EXPECT_EQ(type({"step"}), "^C\n" + std::string(kBanner) + ready("0ns", 0));
    std::raise(SIGINT);
    EXPECT_EQ(ownPresses, 2) << "still given back";
    qk_sigint_install();
    std::raise(SIGINT);
    EXPECT_EQ(ownPresses, 2) << "taken again";
    restoreSigintHandler();
    std::raise(SIGINT);
    EXPECT_EQ(ownPresses, 3);
}

int pressCtrlC(const char*) {
    std::raise(SIGINT);
    stopTime = qk_cycle + 1;
    return 1;
}

TEST_F(LoopTest, PressesDoNotAddUpOnceTheConsoleHasBeenOpen) {
    qk_register_cmd("press", "press Ctrl-C, then step", 0, pressCtrlC);
    std::signal(SIGINT, countOwn);
    qk_sigint_install();
    for (int round = 0; round < 3; ++round) {
        std::raise(SIGINT);
        std::raise(SIGINT);
        type({"press"});
        EXPECT_EQ(sigintCount, 0);
    }
    EXPECT_EQ(ownPresses, 0);
}

TEST_F(LoopTest, ALoopWithoutAStreamIsRefused) {
    qk_stdin = nullptr;
    EXPECT_DEATH(qk_cli("cli"), "qk_stdin != 0");
}

}  // namespace
