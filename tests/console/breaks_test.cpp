// break, as typed.
#include "console/console.h"
#include "netdb/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

class BreakCommandTest : public ConsoleTest {};

TEST_F(BreakCommandTest, SaysWhatItDidOrWhatIsWrong) {
    const struct {
        const char* line;
        const char* said;
    } steps[] = {
        {"break", "No breakpoints.\n"},
        {"break top.cpu.pc", "breakpoint 1: top.cpu.pc\n"},
        {"break top.cpu.pc==0x0012F", "breakpoint 2: top.cpu.pc == 0x12f\n"},
        {"break  top.cpu.wide !=100'h_1", "Invalid constant: 100'h_1\n"},
        {"break  top.cpu.wide !=100'h10000000000000000",
         "breakpoint 3: top.cpu.wide != 0x10000000000000000\n"},
        {"break *.up != 16#ff#", "breakpoint 4: top.cpu.up != 0xff\n"},
        {"break top.vhdl.STATE == 3'b111", "breakpoint 5: top.vhdl.State == 0x7\n"},
        {"break top.cpu.up == 0x100", "Invalid range: 0x100 exceeds bit range of top.cpu.up\n"},
        {"break top.cpu.up == 256 ", "Invalid range: 256 exceeds bit range of top.cpu.up\n"},
        {"break top.cpu.up ==", "Invalid constant: \n"},
        {"break top.cpu.up = 5", "Invalid operator: =\n"},
        {"break top.cpu.up=5", "Invalid operator: =5\n"},
        {"break top.cpu.up <5 6", "Invalid operator: <5\n"},
        {"break top.cpu.up enabled", "Invalid operator: enabled\n"},
        {"break top.cpu.up enable now", "Invalid option: now is redundant for enable\n"},
        {"break 4 delete it all", "Invalid option: it all is redundant for delete\n"},
        {"break nosuch", "Invalid net name: nosuch matches none or more than one nets\n"},
        {"break top.cpu.* ?", "Invalid net name: top.cpu.* matches none or more than one nets\n"},
        {"break top.cpu.secret delete",
         "Invalid net name: top.cpu.secret matches none or more than one nets\n"},
        {"break == 5",
         "breakpoint  1:  enabled, top.cpu.pc\n"
         "breakpoint  2:  enabled, top.cpu.pc == 0x12f\n"
         "breakpoint  3:  enabled, top.cpu.wide != 0x10000000000000000\n"
         "breakpoint  4:  enabled, top.cpu.up != 0xff\n"
         "breakpoint  5:  enabled, top.vhdl.State == 0x7\n"},
        {"break 3x", "Invalid breakpoint number: 3x\n"},
        {"break 3x delete", "Invalid breakpoint number: 3x\n"},
        {"break 4294967297 delete", "Invalid breakpoint number: 4294967297\n"},
        {"break 99999999999999999999999 delete",
         "Invalid breakpoint number: 99999999999999999999999\n"},
        {"break 3", "Break operation failed unexpectedly\n"},
        {"break 3 == 5", "Break operation failed unexpectedly\n"},
        {"break 3 == x", "Invalid constant: x\n"},
        {"break 3 off", "Invalid operator: off\n"},
        {"break 9 enable", "No breakpoint number 9\n"},
        {"break 9 disable", "No breakpoint number 9\n"},
        {"break 9 delete", "No breakpoint number 9\n"},
        {"break top.cpu.acc enable", "No breakpoint on top.cpu.acc\n"},
        {"break top.cpu.acc disable", "No breakpoint on top.cpu.acc\n"},
        {"break top.cpu.acc delete", "No breakpoint on top.cpu.acc\n"},
        {"break 4 disable", "breakpoint 4 disabled\n"},
        {"break top.cpu.pc disable", "breakpoints on top.cpu.pc disabled\n"},
        {"break 2 enable", "breakpoint 2 enabled\n"},
        {"break 3 delete", "breakpoint 3 deleted\n"},
        {"break 3 delete", "No breakpoint number 3\n"},
        {"break",
         "breakpoint  1: disabled, top.cpu.pc\n"
         "breakpoint  2:  enabled, top.cpu.pc == 0x12f\n"
         "breakpoint  4: disabled, top.cpu.up != 0xff\n"
         "breakpoint  5:  enabled, top.vhdl.State == 0x7\n"},
        {"break top.cpu.pc enable", "breakpoints on top.cpu.pc enabled\n"},
        {"break top.cpu.pc delete", "breakpoints on top.cpu.pc deleted\n"},
        {"break top.clk", "breakpoint 6: top.clk\n"},
        {"setvv v = top.cpu.up", "top.v is created as top.cpu.up[0:7]\n"},
        {"break top.v", "breakpoint 7: top.v\n"},
        {"setvv v delete", "top.v is deleted\n"},
        {"break 6 delete", "breakpoint 6 deleted\n"},
        {"break 7 disable", "breakpoint 7 disabled\n"},
        {"break",
         "breakpoint  4: disabled, top.cpu.up != 0xff\n"
         "breakpoint  5:  enabled, top.vhdl.State == 0x7\n"
         "breakpoint  7: disabled, top.v, top.v deleted\n"},
        {"break 7 delete", "breakpoint 7 deleted\n"},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.line);
        EXPECT_EQ(run(step.line), step.said);
    }
    const QkTrace* const pc = qkLiveModel->findOne("top.cpu.pc")->trace;
    EXPECT_EQ(pc->nbreak, 0);
    EXPECT_EQ(pc->nshow, 0);
}

TEST_F(BreakCommandTest, StopsTheRunAtTheTimeOfTheChange) {
    EXPECT_EQ(
        type({"break top.cpu.pc == 0x130", "break top.cpu.pc", "show top.cpu.pc", "continue"}),
        kBanner + ready("0ns", 0) + "breakpoint 1: top.cpu.pc == 0x130\n" + ready("0ns", 1) +
            "breakpoint 2: top.cpu.pc\n" + ready("0ns", 1) + "top.cpu.pc     tr : 012f\n" +
            ready("0ns", 1));
    EXPECT_EQ(note(3), "");
    model.pc = 0x130;
    EXPECT_EQ(stopTime, kNoStop);
    qk_stdin = std::tmpfile();
    EXPECT_EQ(note(4),
              "       7ns: top.cpu.pc = 0130\n"
              "Stopped at breakpoint 1\nStopped at breakpoint 2\n" +
                  ready("7ns", 1));
    // The input has ended there: what fires from now on is told, and the run goes on.
    model.pc = 0;
    EXPECT_EQ(note(1), "       8ns: top.cpu.pc = 0000\nStopped at breakpoint 2\n");
    EXPECT_EQ(note(1), "");
    EXPECT_EQ(stopTime, kNoStop);
    std::fclose(std::exchange(qk_stdin, stdin));
}

TEST_F(BreakCommandTest, AContinuousSaveTakesNoOtherNets) {
    run("trace top.clk");
    run("traceto out.vcd");
    for (int i = 0; i < 10001 && !qkLiveModel->writer.scopesWritten; ++i) {
        model.clk ^= 1;
        note(1);
    }
    const char* const refused = "continuous save in progress, cannot add/delete break\n";
    EXPECT_EQ(run("break top.rst"), refused);
    EXPECT_EQ(run("break top.rst delete"), refused);
    EXPECT_EQ(run("break top.clk == 1"), "breakpoint 1: top.clk == 0x1\n");
    run("untrace top.clk");
    EXPECT_EQ(run("break 1 delete"), refused);
    EXPECT_EQ(run("break 1 disable"), "breakpoint 1 disabled\n");
    run("traceclose");
    EXPECT_EQ(run("break 1 delete"), "breakpoint 1 deleted\n");
}

}  // namespace
