// Which scopes and names of a trace find their place in the model.
#include "tests/validate/validate_fixture.h"

namespace {

constexpr const char* kInputs = "$var wire 1 c clk $end $var wire 1 e en $end ";
constexpr const char* kDump = " $enddefinitions $end #0 $dumpvars 0c 0e $end\n";

std::string scope(const std::string& name, const std::string& contents) {
    return "$scope module " + name + " $end " + contents + " $upscope $end ";
}

std::string counts(int signals, int matched, int comparable, int inTrace) {
    const auto line = [](int count, const char* what) {
        return "    " + std::to_string(count) + what;
    };
    return "\nThe Trace file contains " + std::to_string(signals) + " signals:\n" +
           line(matched, " match variables in the model\n") +
           line(signals - matched, " not matched to any variable in the model\n") +
           line(comparable, " variables can be compared, ") + std::to_string(inTrace) +
           " in trace\n";
}

constexpr const char* kNoneTraced =
    "\nZEFT Validate Warning: 1 variables can be compared but none were traced in the VCD\n";
constexpr const char* kNoStimuli =
    "Warning: Top-level c-model input not traced in VCD file: top.clk\n"
    "Warning: Top-level c-model input not traced in VCD file: top.en\n"
    "    0 stimulus signals found \nref.vcd: Open Trace: Failed to find stimuli\n";
constexpr const char* kTwoStimuli = "    2 stimulus signals found \n";

class LinkingTest : public ValidateTest {
protected:
    /// Opens a trace and goes to its end. @return what was said up to the run
    static std::string open(const std::string& declarations) {
        writeFile("ref.vcd", declarations + kDump);
        said.clear();
        qk_mtc("ref.vcd");
        return said.substr(0, said.find("\nZEFT Validate: Running"));
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
};

TEST_F(LinkingTest, PairsScopesByNameAndNamesByRange) {
    const std::string none = kNoneTraced;
    const std::string nothing =
        "ZEFT Validate: no variables in the model can be compared to the "
        "trace\nZEFT Validate: monitoring 0 of 0 variables in the model\n";
    const struct {
        std::string text, said;
    } cases[] = {
        {scope("top", kInputs), none + counts(2, 2, 1, 0) + kTwoStimuli + nothing},
        {scope("tb", scope("top", kInputs)), none + counts(2, 0, 1, 0) + kNoStimuli},
        {scope("TOP", kInputs), none + counts(2, 0, 1, 0) + kNoStimuli},
        {scope("top", std::string(kInputs) + "$var reg 4 n count [3:0] $end"),
         counts(3, 3, 1, 1) + kTwoStimuli},
        {scope("top", std::string(kInputs) + "$var reg 4 n count $end"),
         counts(3, 3, 1, 1) + kTwoStimuli},
        {scope("top", std::string(kInputs) + "$var reg 4 n count [4:1] $end"),
         none + counts(3, 2, 1, 0) + kTwoStimuli + nothing},
        {scope("top", std::string(kInputs) + "$var reg 3 n count [2:0] $end"),
         "Warning: Bit Range mismatch:\n  in the file,  width    3, range [2:0]: 'top.count'\n"
         "  in the model, width    4, range [3:0]: 'top.count'\n" +
             none + counts(3, 2, 1, 0) + kTwoStimuli + nothing},
        {scope("top", std::string(kInputs) + "$var reg 2 n done $end"),
         "Warning: Bit Range mismatch:\n  in the file,  width    2, range [-1:-1]: 'top.done'\n"
         "  in the model, width    1, range [-1:-1]: 'top.done'\n" +
             none + counts(3, 2, 1, 0) + kTwoStimuli + nothing},
        {scope("top", std::string(kInputs) +
                          "$var reg 2 m count [3:2] $end $var reg 2 n count [1:0] $end"),
         counts(3, 3, 1, 1) + kTwoStimuli},
        {scope("top", std::string(kInputs) + "$var wire 1 d done $end"),
         none + counts(3, 3, 1, 0) + kTwoStimuli},
    };
    for (const auto& c : cases) {
        qk_cycle = 0;
        EXPECT_EQ(open(c.text), c.said) << c.text;
    }
    reader().verbose = 1;
    EXPECT_EQ(open(scope("x", "") + scope("tb", "$var wire 1 c clk $end")),
              "\nZEFT Validate Warning: 2 variables can be compared but none were traced in the "
              "VCD\n\tVariables that could be compared:\n\t    top.done\n\t    top.count\n"
              "\tTop-level scopes in the trace:\n\t    tb\n" +
                  counts(1, 0, 2, 0) + kNoStimuli)
        << "an output is compared for good once it has been";
}

TEST_F(LinkingTest, MapsScopesAndAlignsWhatIsAbove) {
    const std::string count = "$var reg 4 n count [3:0] $end";
    qk_mtc_map("top", "tb.dut");
    EXPECT_EQ(open(scope("tb", scope("du", "") + scope("dut", kInputs + count))),
              counts(3, 3, 1, 1) + kTwoStimuli);
    qk_mtc_map("top.", "nowhere.");
    qk_mtc_map("top.sub", "tb.other");
    EXPECT_EQ(said.substr(said.rfind("Removed")),
              "Removed mapping top = tb.dut\nAdded mapping top = nowhere\n"
              "Added mapping top.sub = tb.other\n");
    EXPECT_EQ(
        open(scope("tb", kInputs + count + " " + scope("other", "$var wire 8 b bus [7:0] $end"))),
        "Unable to map 'top' to trace scope 'nowhere'\n" + counts(4, 4, 1, 1) + kTwoStimuli);
}

TEST_F(LinkingTest, MapsWhatIsGivenInAnyOrder) {
    using Maps = std::vector<std::pair<const char*, const char*>>;
    const std::string ports = kInputs + std::string("$var reg 4 n count [3:0] $end ");
    const std::string bus = scope("core", "$var wire 8 b bus [7:0] $end ");
    const std::string trace = scope("tb", scope("dut", ports) + scope("other", ports + bus));
    const struct {
        Maps maps;
        std::string said, listed;
    } cases[] = {
        {{{"top", "tb.dut"}, {"top.sub", "tb.other.core"}},
         counts(7, 4, 1, 1) + kTwoStimuli,
         "\ttop.sub = tb.other.core\n\ttop = tb.dut\n"},
        {{{"top.sub", "tb.other.core"}, {"top", "tb.dut"}},
         counts(7, 4, 1, 1) + kTwoStimuli,
         "\ttop = tb.dut\n\ttop.sub = tb.other.core\n"},
        {{{"top.sub", "tb.dut"}, {"top", "tb.dut"}},
         "Unable to map 'top.sub' to trace scope 'tb.dut'\n" + counts(7, 3, 1, 1) + kTwoStimuli,
         "\ttop = tb.dut\n\ttop.sub = tb.dut (not current)\n"},
    };
    qkLiveModel->interactive = true;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        for (const auto& [live, place] : c.maps) qk_mtc_map(live, place);
        reader().start(false);
        writeFile("ref.vcd", trace + kDump);
        said.clear();
        reader().openTrace("ref.vcd");
        EXPECT_EQ(said.substr(0, said.find("\nTimescale")), c.said);
        said.clear();
        qk_mtc_map("", "");
        EXPECT_EQ(said, "Mapped scopes:\n" + c.listed);
        reader().close();
        reader().runningFromVCD = false;
        for (const auto& [live, place] : c.maps) qk_mtc_map(live, "");
    }
}

TEST_F(LinkingTest, DrivesWhatTheUserNames) {
    const struct {
        const char *live, *trace, *said;
    } cases[] = {
        {"top.sub.bus", "tb.none",
         "ZEFT Validate: warning: unable to find trace of 'tb.none' to drive 'top.sub.bus'\n"},
        {"top.sub.bus", "tb.n",
         "ZEFT Validate: unable to use 'tb.n' to drive 'top.sub.bus' as their bit-ranges do not "
         "match\n"},
        {"top.sub.slice", "tb.n",
         "ZEFT Validate: error: unable to drive 'top.sub.slice' from trace of 'tb.n'\n"},
        {"top.sub.bus", "tb.b", ""},
    };
    QkName* const sub = name("top.sub.bus");
    QkName* const slice = qkLiveModel->addName(sub->scope, "slice", 1, 0);
    slice->kind = kExtractName;
    slice->extension = new NameExtension;
    slice->extension->range = BitRange(3, 0);
    qkLiveModel->bindExtract(slice, name("top.count")->trace);
    const std::string trace = scope("top", std::string(kInputs) + "$var reg 4 m count [3:0] $end") +
                              scope("tb", "$var wire 8 b b [7:0] $end $var wire 4 n n [3:0] $end");
    const std::string before = counts(5, 3, 1, 1);
    for (const auto& c : cases) {
        qk_mtc_stimulus(c.live, c.trace);
        EXPECT_EQ(open(trace),
                  before + c.said + (*c.said ? kTwoStimuli : "    3 stimulus signals found \n"));
        EXPECT_FALSE(sub->stimulus) << "it was for that trace";
        qk_mtc_stimulus(c.live, "");
    }
    qk_mtc_stimulus("top.sub.bus", "tb.b");
    model.bus = 0xff;
    writeFile("ref.vcd", trace + kDump + "bx0x1 b\n#1\nb10 b\n#2\n");
    EXPECT_EQ(qk_mtc("ref.vcd"), 1);
    EXPECT_EQ(model.bus, 2);
}

TEST_F(LinkingTest, AStimulusReplacesWhatDroveBothNets) {
    using Maps = std::vector<std::pair<const char*, const char*>>;
    static uint8_t port;
    registerNets("top.leaf", {net(0, 1, "en", &model.enPort, 0, 0, QK_type_input),
                              net(0, 2, "port", &port, 0, 0)});
    const std::string trace = scope(
        "top", std::string(kInputs) + "$var reg 4 n count [3:0] $end $var wire 1 d done $end " +
                   scope("leaf", "$var wire 1 l en $end $var wire 1 p port $end"));
    const struct {
        Maps maps;
        int stimuli;
        const char* body;
        int clk, en, port;  // at the end
    } cases[] = {
        {{}, 2, "1c\n", 1, 0, 0},
        {{{"top.clk", "top.en"}, {"top.en", "top.clk"}}, 2, "1c\n", 0, 1, 0},
        {{{"top.en", "top.clk"}, {"top.clk", "top.en"}}, 2, "1e 1l\n", 1, 0, 0},
        {{{"top.en", "top.leaf.port"}}, 2, "1p 0e 0l\n", 0, 1, 0},
        {{{"top.leaf.port", "top.en"}}, 2, "1e\n", 0, 0, 1},
        {{{"top.leaf.port", "top.en"}, {"top.en", "top.en"}}, 3, "1e\n", 0, 1, 1},
        {{{"top.en", "top.done"}}, 2, "1d\n", 0, 1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "row " << &c - cases);
        for (const auto& [live, source] : c.maps) qk_mtc_stimulus(live, source);
        model.clk = model.en = model.count = port = 0;
        qk_cycle = 0;
        writeFile("ref.vcd",
                  trace + " $enddefinitions $end #0 $dumpvars 0c 0e 0d 0l 0p b0 n $end #1\n" +
                      c.body + "#2\n");
        said.clear();
        qk_mtc("ref.vcd");
        EXPECT_THAT(said, testing::HasSubstr(std::to_string(c.stimuli) + " stimulus signals"));
        EXPECT_EQ(model.clk, c.clk);
        EXPECT_EQ(model.en, c.en);
        EXPECT_EQ(port, c.port);
        for (const auto& [live, source] : c.maps) qk_mtc_stimulus(live, "");
    }
    EXPECT_THAT(said, testing::HasSubstr("Trace change not seen in Model: top.done"))
        << "what drives another net is still compared with its own";
}

TEST_F(LinkingTest, AnInputThatSharesItsCodeWithAnOutputDrives) {
    writeFile("ref.vcd", scope("top",
                               "$var wire 1 c clk $end $var wire 1 d en $end "
                               "$var wire 1 d done $end") +
                             " $enddefinitions $end #0 $dumpvars 0c 0d $end #1 1d\n#2 1c\n#3\n");
    qk_mtc_clock("top.clk", 0);
    stepped = 0;
    qk_mtc("ref.vcd");
    EXPECT_EQ(stepped, 3);
    EXPECT_EQ(model.count, 1);
}

TEST_F(LinkingTest, LoadedStateMustBeComplete) {
    std::vector<QkGRNet> rows;
    static uint8_t bits[25];
    static std::string names[25];
    std::vector<QkGRScope> scopes;
    for (int i = 0; i < 25; ++i) {
        names[i] = "n" + std::string(1, static_cast<char>('a' + i));
        rows.push_back(
            net(0, i + 1, names[i].c_str(), &bits[i], 0, 0, 1, i == 1 ? QK_flag_never_write : 0));
        scopes.push_back({0, i + 1, names[i].c_str(), 0});
    }
    registerNets("top.many", rows, scopes);
    completeRegistration(true, 0);
    writeFile("state.vcd", scope("top", scope("sub",
                                              "$var wire 8 b bus [7:0] $end"
                                              " $var wire 3 o other [2:0] $end") +
                                            scope("many", "$var wire 1 ! na $end")) +
                               kDump);
    reader().start(true);
    ASSERT_EQ(reader().readHeader("state.vcd"), 1);
    said.clear();
    EXPECT_EQ(reader().linkModel(), 0);
    std::string expected = "Failed to find data for the following scopes:\n";
    for (int i = 0; i < 20; ++i) expected += "\ttop.many." + names[i] + "\n";
    expected +=
        "\t...\nFailed to find data for the following signals:\n"
        "\ttop.clk\n\ttop.en\n\ttop.count\n\ttop.done\n";
    for (int i = 2; i < 18; ++i) expected += "\ttop.many." + names[i] + "\n";
    EXPECT_EQ(said, expected + "\t...\n");
    EXPECT_EQ(reader().vcdModel->traces.all.size(), 0u);
    reader().close();
}

TEST_F(LinkingTest, ForgetsWhatTheModelDropsInTheMiddle) {
    static kelvo_module* gone;
    static uint8_t narrow, wideLow;
    static uint64_t wide[2];
    static uint8_t* place = &narrow;
    gone = registerNets("extra", {net(0, 1, "a", &place, 0, 0, QK_type_inout, 0x1),
                                  net(0, 2, "s", &wideLow, 3, 0, 1, 0x1),
                                  net(0, 3, "w", &wide[0], 63, 0, 0x201, 0x1),
                                  net(0, 4, "w", &wide[1], 99, 64, 0x201, 0x1)});
    qk_mtc_map("extra", "extra");
    duringStep = [] {
        if (stepped == 3) delete std::exchange(gone, nullptr);
    };
    writeFile("ref.vcd",
              scope("top", std::string(kInputs) + "$var reg 4 n count [3:0] $end") +
                  scope("extra", "$var reg 4 s s [3:0] $end $var reg 100 w w [99:0] $end") + kDump +
                  "#1 b1 s b1 w 1c\n#2 b11 s 0c\n#3 b0 w b0 s 1c\n#4 b1 w\n#5\n");
    qk_mtc("ref.vcd");
    EXPECT_EQ(gone, nullptr);
    EXPECT_THAT(said, testing::HasSubstr("End of Trace File Reached"));
    EXPECT_TRUE(reader().mappedScopes.empty());
}

}  // namespace
