// Which scopes and names of a trace find their place in the model.
#include "tests/validate/validate_fixture.h"

namespace {

constexpr const char* kInputs = "$var wire 1 c clk $end $var wire 1 e en $end ";
constexpr const char* kInputDump = " $enddefinitions $end #0 $dumpvars 0c 0e $end\n";

std::string scope(const std::string& name, const std::string& contents) {
    return "$scope module " + name + " $end " + contents + " $upscope $end ";
}

class LinkingTest : public ValidateTest {
protected:
    static QkFileReader& reader() { return qkLiveModel->reader; }
};

TEST_F(LinkingTest, NoSliceIsDriven) {
    QkName* const slice = qkLiveModel->addName(name("top.sub.bus")->scope, "slice", 1, 0);
    slice->kind = kExtractName;
    slice->extension = new NameExtension;
    slice->extension->range = BitRange(3, 0);
    qkLiveModel->bindExtract(slice, name("top.count")->trace);
    qk_mtc_stimulus("top.sub.slice", "tb.n");
    writeFile("ref.vcd",
              scope("top", kInputs) + scope("tb", "$var wire 4 n n [3:0] $end") + kInputDump);
    qk_mtc("ref.vcd");
    EXPECT_THAT(said, testing::HasSubstr("unable to drive 'top.sub.slice' from trace of 'tb.n'\n"));
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
    completeRegistration(true);
    writeFile("state.vcd", scope("top", scope("sub",
                                              "$var wire 8 b bus [7:0] $end"
                                              " $var wire 3 o other [2:0] $end") +
                                            scope("many", "$var wire 1 ! na $end")) +
                               kInputDump);
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
                  scope("extra", "$var reg 4 s s [3:0] $end $var reg 100 w w [99:0] $end") +
                  kInputDump + "#1 b1 s b1 w 1c\n#2 b11 s 0c\n#3 b0 w b0 s 1c\n#4 b1 w\n#5\n");
    qk_mtc("ref.vcd");
    EXPECT_EQ(gone, nullptr);
    EXPECT_THAT(said, testing::HasSubstr("End of Trace File Reached"));
    EXPECT_TRUE(reader().mappedScopes.empty());
}

}  // namespace
