// The commands of a comparison and their words.
#include "console/console.h"
#include "tests/validate/validate_fixture.h"

namespace {

class CommandsTest : public ValidateTest {
protected:
    /// Runs one command line in a comparison without a trace. @return what it said
    static std::string inComparison(const char* line) {
        QkFileReader& reader = qkLiveModel->reader;
        if (!reader.runningFromVCD) reader.start(false);
        qkLiveModel->interactive = true;
        currentPrompt = kValidatePrompt;
        const std::string answer = run(line);
        return answer.empty() && !qk_cli(line) ? "Command not recognised\n" : answer;
    }
};

TEST_F(CommandsTest, AnswerInAComparison) {
    const struct {
        const char *line, *said;
    } cases[] = {
        {"threshold", "ZEFT Validate: Error threshold is: 10 differences\n"},
        {"threshold 0", "ZEFT Validate: Error threshold is: unlimited\n"},
        {"threshold 3x", "ZEFT Validate: Error threshold is: 3 differences\n"},
        {"threshold", "ZEFT Validate: Error threshold is: 3 differences\n"},
        {"verbose 3", "ZEFT Validate: verbose is: on\n"},
        {"verbose maybe", "ZEFT Validate: verbose is: on\n"},
        {"verbose off", "ZEFT Validate: verbose is: off\n"},
        {"verbose", "ZEFT Validate: verbose is: on\n"},
        {"verbose 0", "ZEFT Validate: verbose is: off\n"},
        {"verbosestep", "ZEFT Validate: verbosestep is: on\n"},
        {"verbosestep OFF", "ZEFT Validate: verbosestep is: off\n"},
        {"verbosestep nope", "ZEFT Validate: verbosestep is: off\n"},
        {"time_execution what", "ZEFT Validate: execution timing is: on\n"},
        {"time_execution 0", "ZEFT Validate: execution timing is: off\n"},
        {"steponclock No", "ZEFT Validate: steponclock is off\n"},
        {"steponclock", "ZEFT Validate: steponclock is on\n"},
        {"synctime",
         "synctime: Allowed skew between model and trace is 0ns\n"
         "Allowed skew is zero:   Differences may not be reported until the end of the "
         "trace file\n"},
        {"synctime 2.5us", "synctime: Allowed skew between model and trace is 2500ns\n"},
        {"synctime -1ns", "synctime: Negative time interval not allowed!\n"},
        {"synctime soon", "synctime: Allowed skew between model and trace is 2500ns\n"},
        {"clock", "ZEFT Validate: no clock nets named\n"},
        {"clock top.c*", "ZEFT Validate: top.clk is a clock input\n"},
        {"clock top.e* off", "ZEFT Validate: top.en is not a clock input\n"},
        {"clock top.count", "ZEFT Validate: no stimuli found matching pattern top.count\n"},
        {"clockfirst", "ZEFT Validate: clockfirst is on\n"},
        {"clockfirst off", "ZEFT Validate: clockfirst is off\n"},
        {"early", "ZEFT Validate: no early nets named\n"},
        {"early top.e*", "ZEFT Validate: top.en is an early input\n"},
        {"early top.en off", "ZEFT Validate: top.en is not an early input\n"},
        {"early top.count", "ZEFT Validate: no stimuli found matching pattern top.count\n"},
        {"restart",
         "ZEFT Validate: the restart command has been removed, restart by re-running "
         "the model.\n"},
        {"summary", "\nZEFT Validate: not started!\n"},
        {"monitor",
         "ZEFT Validate: no variables in the model can be compared to the trace\n"
         "ZEFT Validate: monitoring 0 of 0 variables in the model\n"},
        {"step", "ZEFT Validate: Trace file not open\n"},
        {"continue 50", "ZEFT Validate: Trace file not open\n"},
        {"open", "Failed to open file ''\n: Open Trace: Failed to Open\n"},
        {"validate x", ""},
        {"close", ""},
        {"ignore top.none", ""},
        {"loadt nothing", "Failed to open command file: nothing\n"},
        {"bogus", "Command not recognised\n"},
        {"map", "Mapped scopes:\n\t(none)\n"},
        {"map top.nowhere = tb", "map: top.nowhere is not a scope in the model\n"},
        {"map top.sub.=tb/sub", "Added mapping top.sub = tb.sub\n"},
        {"map", "Mapped scopes:\n\ttop.sub = tb.sub (not current)\n"},
        {"map top.sub=", "Removed mapping top.sub = tb.sub\nMapped scopes:\n\t(none)\n"},
        {"stimulus", "ZEFT Validate: additional stimulus nets:\n\t(none)\n"},
        {"stimulus top.sub.none=a", "ZEFT Validate: net 'top.sub.none' not found in the model\n"},
        {"stimulus top.sub.bus=tb/b",
         "ZEFT Validate:\n   Additional Stimulus:\n     top.sub.bus\n   will be driven by trace "
         "of:\n     tb.b\n   (1 additional stimuli now configured)\n"},
        {"stimulus", "ZEFT Validate: additional stimulus nets:\n\ttop.sub.bus = tb.b\n"},
        {"stimulus top.sub.bus=",
         "Removed mapping top.sub.bus = tb.b\nZEFT Validate: additional stimulus nets:\n"
         "\t(none)\n"},
        {"ls -n top.s*",
         "Model Signals Not in Trace:\n\ttop.sub.bus\n\ttop.sub.other\n"
         "Trace Signals Not in Model:\n\t(none)\n"},
        {"ls -nt", "ls: -n must be given as the only option\n"},
        {"ls -oicmr nothing",
         "No matching signals (in 6 names)\n  Searched a total of: 0 "
         "out-of-sync signals, 2 inputs, 1 clocks, 0 matched signals, 1 "
         "registers"},
        {"trace -m *", "trace: no signals match pattern: *\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(inComparison(c.line), c.said) << c.line;
    }
    EXPECT_EQ(qk_mtc_stimulus("top.*", "x"), 0);
    EXPECT_THAT(said, testing::EndsWith("pattern matching not allowed in 'stimulus' command\n"));
    EXPECT_EQ(qk_mtc(""), 0);
    EXPECT_THAT(said, testing::EndsWith("ZEFT Validate: already running\n"));
}

TEST_F(CommandsTest, OtherNamesOfAStorageAreReportedAtVerbose2) {
    registerNets("alias", {net(0, 1, "low", &model.bus, 7, 0), net(0, 2, "bus", &model.bus, 7, 0)});
    const std::string lines =
        "trace: alias.low is on the storage of top.sub.bus\n"
        "trace: alias.bus is on the storage of top.sub.bus\n";
    for (const char* command : {"trace top.sub.bus", "show top.sub.bus"}) {
        inComparison("verbose 1");
        EXPECT_THAT(inComparison(command), testing::Not(testing::HasSubstr("storage")));
        inComparison("verbose 2");
        EXPECT_THAT(inComparison(command), testing::HasSubstr(lines));
    }
}

TEST_F(CommandsTest, AreNotRecognisedOutsideOfOne) {
    for (const char* word :
         {"open", "clock", "synctime", "map", "restart", "monitor", "threshold", "verbose",
          "summarise", "summarize", "summary", "stimulus", "ignore", "steponclock", "verbosestep"})
        EXPECT_EQ(qk_cli(word), 0) << word;
    EXPECT_EQ(run("close"), "");
    EXPECT_EQ(run("ls -m"), "ls: options [cmno] not available, ZEFT Validate not running\n");
    EXPECT_EQ(run("time_execution"), "ZEFT Validate: execution timing is: on\n");
    const std::string help = run("help");
    EXPECT_THAT(help, testing::HasSubstr("  unshow      <pattern>           turn off show\n"
                                         "  validate    [<filename>]        run ZEFT Validate\n"));
    EXPECT_THAT(help, testing::Not(testing::HasSubstr("synctime")));
    writeFile("cmds", "open x\nnone\nvalidate\nhelp\n");
    const std::string ran = run("loadt cmds");
    EXPECT_THAT(ran, testing::StartsWith(
                         "zeft> open x\nScript: cmds - Command not recognised (ZEFT Validate is "
                         "not running)\nzeft> none\nScript: cmds - Command not recognised\n"
                         "zeft> validate\nzeft validate> help\n"));
    EXPECT_THAT(
        ran, testing::HasSubstr(
                 "  open        <vcd file>       open a trace file for comparision\n"
                 "  clock       <net> [<ON/off>] name a stimulus as a clock input\n"
                 "  synctime    <time>           set time allowed between Model and Trace changes\n"
                 "  map         <model>=<trace>  map a scope in the trace to one in the model\n"
                 "  close                        close the trace file\n"
                 "  monitor     [-a|-t]          monitor all (default) or only traced signals\n"
                 "  threshold   [<n>]            set or report the error threshold\n"
                 "  ls -i       [<pattern>]      list inputs driven by the trace file\n"));
    EXPECT_THAT(ran, testing::HasSubstr(
                         "  ls -c       [<pattern>]      list signals marked as clocks\n"
                         "  verbose     [on|off]         set the verbosity\n"
                         "  summarise                    report progress on the comparison\n"
                         "  stimulus    <model>=<trace>  use <trace> to drive <model>\n"
                         "  ignore      <pattern>        do not compare signals matching pattern\n"
                         "  verbosestep [on|off]         verbose stepping\n"));
}

TEST_F(CommandsTest, WorkOnAnOpenTrace) {
    const std::string before = "\ntime=10ns: 0 of 6 values traced: ready\nzeft validate> ";
    writeTrace(
        "#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n#5\nb1 n\n1c\n#10\n1d\n#15\nb0 n\n0c\n#20\n");
    const std::string typed =
        type({"open ref.vcd", "open ref.vcd", "stimulus top.en=top.clk", "steponclock off",
              "step 10", "ls -o", "ls -mic top.*", "monitor -t", "trace -m *done", "monitor",
              "ls -o", "map top=top", "ignore *count", "continue", "summary", "ls -n"});
    for (const std::string& part : {
             std::string("> ZEFT Validate: VCD file already open\n"),
             std::string("> ZEFT Validate: unable to add or remove stimuli while the input trace "
                         "file is open (use \"close\", add stimuli and then re-\"open\" the trace "
                         "file)\n"),
             "> top.count m r : 0\n"
             "       Model : 0000\n"
             "       Trace : 0001\n"
             "       State : WaitingForLiveModel Since:5ns\n" +
                 before,
             "> top.clk   c   (1 changes): 1\ntop.en    i   : 0\ntop.count m r : 0\n"
             "top.done  m   : 0\n" +
                 before,
             "> ZEFT Validate: monitoring 0 of 2 variables in the model\n" + before,
             "> trace: no signals match pattern: *done\n" + before,
             "> " + before + "No matching signals (in 6 names)\n",
             std::string("> Added mapping top = top\n\nThe Trace file contains 4 signals:\n"),
             std::string("Trace Signals Not in Model:\n\t(none)\n"),
         })
        EXPECT_THAT(typed, testing::HasSubstr(part));
}

class DoubtsTest : public ValidateTest, public testing::WithParamInterface<bool> {};

TEST_P(DoubtsTest, AreToldUnlessStrict) {
    qk_strict = GetParam();
    writeFile("ref.vcd",
              "$scope module top $end $var wire 1 c clk $end $var reg 5 n count [4:0] $end "
              "$var wire 1 d done $end $var wire 8 o other [8:1] $end $scope module sub $end "
              "$var wire 8 b bus [8:1] $end $upscope $end $upscope $end "
              "$scope module tb $end $var wire 1 c clk $end $upscope $end $enddefinitions $end\n"
              "#0\n$dumpvars\n0c\n0d\nb0 n\n$end\n#5\n1c\n#10\n");
    const std::string typed = type({"open ref.vcd", "ls -n", "continue"});
    const auto line = [&](const char* name, const char* reason) {
        return std::string("\t") + name + (qk_strict ? "" : ": ") + (qk_strict ? "" : reason) +
               "\n";
    };
    // Other bounds of the same width are linked from the left.
    const std::string turned = qk_strict ? "\ttop.sub.bus\n" : "";
    EXPECT_THAT(typed, testing::HasSubstr(
                           "Model Signals Not in Trace:\n" + line("top.en", "no such name") +
                           line("top.count", "widths 4 and 5") + turned +
                           line("top.sub.other", "no such name") + "Trace Signals Not in Model:\n" +
                           line("top.count", "widths 4 and 5") + line("top.other", "no such name") +
                           turned + line("tb.clk", "no such scope")));
    const std::string doubts =
        qk_strict ? ""
                  : "  1 net compared in name only (no change in the trace): top.done\n"
                    "  1 input without a net in the trace: top.en\n";
    EXPECT_THAT(typed, testing::HasSubstr("  0 differences found\n" + doubts + "\ntime="));
}

INSTANTIATE_TEST_SUITE_P(Either, DoubtsTest, testing::Bool());

TEST_F(CommandsTest, IgnoringEndsAWait) {
    writeTrace("#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n#5\nb1 n\n#10\nb0 n\n#15\n");
    type({"open ref.vcd"});
    qkLiveModel->reader.start(false);
    QkTrace* const count = name("top.count")->trace;
    QkVCDTrace* const trace = qkLiveModel->reader.vcdModel->traces.add(count, 4);
    trace->setState(WaitingForVCDChange, 5);
    EXPECT_EQ(qk_mtc_ignore("*.count"), 1);
    EXPECT_EQ(waitingToSync, nullptr);
    EXPECT_EQ(trace->nChanges, 1);
    EXPECT_EQ(trace->state, Parked);
    EXPECT_FALSE(isComparable(count));
    EXPECT_EQ(qk_mtc_ignore("*none"), 0);
}

TEST_F(CommandsTest, FunctionsTakeTimesInManyUnits) {
    const QkFileReader& reader = qkLiveModel->reader;
    const struct {
        uint64_t count;
        const char* unit;
        uint64_t ticks;
    } cases[] = {{7, nullptr, 7},
                 {7, "", 7},
                 {7, " us", 7000},
                 {7, "ns", 7},
                 {3, "s", 3'000'000'000},
                 {2, "msec", 2'000'000},
                 {2, "??", 2}};
    for (const auto& c : cases) {
        EXPECT_EQ(qk_mtc_synctime(c.count, c.unit), 1);
        EXPECT_EQ(reader.synctime, c.ticks) << (c.unit ? c.unit : "null");
    }
    const struct {
        double seconds;
        uint64_t ticks;
    } reals[] = {{2.5e-9, 3}, {1e-6, 1000}, {-1, 0}, {1e30, 0}};
    for (const auto& c : reals) {
        EXPECT_EQ(qk_mtc_synctime_real(c.seconds), 1);
        EXPECT_EQ(reader.synctime, c.ticks) << c.seconds;
    }
}

}  // namespace
