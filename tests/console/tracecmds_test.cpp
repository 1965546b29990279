// trace, untrace, show, unshow, and the commands of trace files.
#include "netdb/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

class TraceCommandsTest : public ConsoleTest {
protected:
    /// The traced names, in the order of listings, with a '*' behind those that are shown.
    std::string tracedNames() {
        std::string names;
        NameRing::each(qkLiveModel->names, [&](const QkName* name) {
            if (!name->traced) return;
            names += name->show ? std::string(name->name) + "* " : std::string(name->name) + " ";
        });
        return names;
    }
};

TEST_F(TraceCommandsTest, TraceAndUntraceChooseNames) {
    const struct {
        const char* line;
        const char* said;
        const char* traced;
    } steps[] = {
        {"trace", "trace: no pattern supplied!\n", ""},
        {"trace -i", "trace: no pattern supplied!\n", ""},
        {"trace -i  ", "trace: no pattern supplied!\n", ""},
        {"trace -", "trace: no pattern supplied!\n", ""},
        {"trace nosuch", "trace: no signals match pattern: nosuch\n", ""},
        {"trace -x top.clk", "trace: no signals match pattern: -x top.clk\n", ""},
        {"trace -ix top.clk", "trace: no signals match pattern: -ix top.clk\n", ""},
        {"trace -m top.clk", "trace: no signals match pattern: top.clk\n", ""},
        {"trace -i top.done", "trace: no signals match pattern: top.done\n", ""},
        {"trace top.cpu.secret", "trace: no signals match pattern: top.cpu.secret\n", ""},
        {"untrace top.clk", "untrace: no signals match pattern: top.clk\n", ""},
        {"trace -i *", "", "clk rst "},
        {"trace -mi *", "", "clk rst "},
        {"trace *.p*c*", "", "clk rst pc pc_copy "},
        {"trace *.pc", "", "clk rst pc pc_copy "},
        {"trace top.vhdl.STATE", "", "clk rst pc pc_copy State "},
        {"untrace *.pc", "", "clk rst pc_copy State "},
        {"untrace *.pc", "untrace: no signals match pattern: *.pc\n", "clk rst pc_copy State "},
        {"untrace *", "", ""},
        {"untrace", "untrace: no signals match pattern: \n", ""},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.line);
        EXPECT_EQ(run(step.line), step.said);
        EXPECT_EQ(tracedNames(), step.traced);
    }
}

TEST_F(TraceCommandsTest, CountsKeepUpWithTheFlags) {
    run("trace top.cpu.pc");
    run("trace top.cpu.pc");
    run("show top.cpu.pc_copy");
    run("show top.cpu.pc_copy");
    const QkName* const pc = qkLiveModel->findOne("top.cpu.pc");
    EXPECT_EQ(pc->trace->ntrace, 2);
    EXPECT_EQ(pc->trace->nshow, 1);
    EXPECT_EQ(pc->scope->tracedCount, 2);
    EXPECT_EQ(pc->scope->parent->tracedCount, 2);
    EXPECT_EQ(type({"untrace top.cpu.pc_copy", "step"}),
              kBanner + ready("0ns", 2) + ready("0ns", 1));
    EXPECT_EQ(pc->trace->nshow, 0);
    EXPECT_NE(pc->trace->a_next, nullptr) << "still compared";
    run("untrace *");
    EXPECT_EQ(pc->trace->a_next, nullptr);
    EXPECT_EQ(pc->scope->tracedCount, 0);
}

TEST_F(TraceCommandsTest, ShowListsTracesAndShows) {
    EXPECT_EQ(run("show *.p*c*"),
              "top.cpu.pc        r : 012f\n"
              "top.cpu.pc_copy   r : 012f\n");
    EXPECT_EQ(tracedNames(), "pc* pc_copy* ");
    EXPECT_EQ(run("show nosuch"),
              "No matching signals (in 26 names)\ntrace: no signals match pattern: nosuch\n");
    EXPECT_EQ(run("show -i top.r*"), "top.rst   i   : 0\n");
    EXPECT_EQ(tracedNames(), "rst* pc* pc_copy* ");
    run("show -i top.r*");
    EXPECT_EQ(qkLiveModel->findOne("top.rst")->trace->nshow, 1);
    EXPECT_EQ(run("unshow *.pc*"), "");
    EXPECT_EQ(tracedNames(), "rst* pc pc_copy ");
    EXPECT_EQ(run("unshow nosuch"), "");
    EXPECT_THAT(run("show"), testing::EndsWith("top.vhdl.State       : 3'h5\n"
                                               "trace: no pattern supplied!\n"));
}

TEST_F(TraceCommandsTest, ShownChangesLineUp) {
    run("show top.cpu.pc*");
    run("show top.cpu.wide");
    run("show top.cpu.*busy");
    run("show top.clk");
    model.pc = 0x0130;
    // Newly traced nets are compared first, clocks last.
    EXPECT_EQ(note(5),
              "       5ns: top.cpu.pc      = 0130\n"
              "       5ns: top.cpu.pc_copy = 0130\n");
    model.clk = 0;
    model.wideHigh = 0;
    model.busy = 0;
    EXPECT_EQ(note(12345678900),
              "12345678905ns: top.cpu.nbusy   = 1\n"
              "12345678905ns: top.cpu.busy    = 0\n"
              "12345678905ns: top.cpu.wide    = 000000000fedcba9876543210\n"
              "12345678905ns:     top.clk     = 0\n");
    run("unshow *");
    model.pc = 0;
    EXPECT_EQ(note(1), "");
}

TEST_F(TraceCommandsTest, ChangesSoFarAreTakenWhenTheSetChanges) {
    run("show top.cpu.up");
    model.up = 0x11;
    EXPECT_EQ(run("trace top.rst"), "       0ns: top.cpu.up = 11\n");
    model.up = 0x22;
    EXPECT_EQ(run("untrace top.rst"), "       0ns: top.cpu.up = 22\n");
    EXPECT_EQ(note(1), "");
}

TEST_F(TraceCommandsTest, AContinuousSaveClosesTheSetOfNames) {
    run("trace top.clk");
    EXPECT_EQ(run("traceto out.vcd"), "");
    EXPECT_EQ(run("trace top.rst"), "") << "the header is not written yet";
    for (int i = 0; i < 10001 && !qkLiveModel->writer.scopesWritten; ++i) {
        model.clk ^= 1;
        note(1);
    }
    ASSERT_TRUE(qkLiveModel->writer.scopesWritten);
    const char* const refused = "trace: continuous save in progress, cannot add traces\n";
    EXPECT_EQ(run("trace top.done"), refused);
    EXPECT_EQ(run("trace"), refused);
    EXPECT_EQ(run("show top.cpu.*busy"),
              "top.cpu.busy      : 1\ntop.cpu.nbusy     : 0\n" + std::string(refused) +
                  "show: continuous save in progress, cannot add traces\n");
    EXPECT_EQ(run("show top.rst"), "top.rst   it  : 0\n" + std::string(refused));
    EXPECT_EQ(tracedNames(), "clk rst* ") << "a traced name may be shown";
    EXPECT_EQ(run("save other.vcd"),
              "Unable to save VCD file while a continuous save is in-progress, use traceclose\n");
    EXPECT_EQ(run("traceclose"), "VCD written to file: out.vcd\n");
    EXPECT_EQ(run("traceclose"), "");
    EXPECT_EQ(run("trace top.done"), "");
}

TEST_F(TraceCommandsTest, FileCommandsPassTheirArgument) {
    const struct {
        const char* line;
        const char* said;
    } cases[] = {
        {"circular", "Circular buffering: disabled\n"},
        {"circular 10001", "Circular buffering enabled: at least 11000 value changes\n"},
        {"circular", "Circular buffering enabled: at least 11000 value changes\n"},
        {"circular 5", "Circular buffering enabled: at least 10000 value changes\n"},
        {"circular 0", "Circular buffering enabled: at least 10000 value changes\n"},
        {"save saved.vcd", "VCD written to file: saved.vcd\n"},
        {"save", "VCD written to file: logfile.vcd\n"},
        {"traceto trace.vcd.gz", ""},
        {"traceclose", "VCD written to gzipped file: trace.vcd.gz\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(run(c.line), c.said);
    }
    for (const char* file : {"saved.vcd", "logfile.vcd"})
        EXPECT_THAT(readFile(file), testing::StartsWith("$version")) << file;
}

}  // namespace
