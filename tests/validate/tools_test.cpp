// Dumps of several tools drive a design from which they could have come; its nets must go through
// the values that the tool dumped. The golden directory's README tells where the dumps come from.
#include <zlib.h>

#include <fstream>
#include <sstream>

#include "tests/support/model_test.h"

namespace {

struct Dump {
    const char *name, *file, *scope;
    int signals, matched;  ///< of the header
    const char* history;   ///< each step: time in ns, up, down, bits 99..64 and 63..0 of wide
    const char* said;      ///< must be part of what is said; null: nothing is
    int result = 1;
    int (*store)(const std::string&) = nullptr;  ///< how the file is changed, null: not
};

void PrintTo(const Dump& dump, std::ostream* out) { *out << dump.file << ".vcd"; }

const char* const kEdges =
    "0:0f 0 1;5:1e 0 8;10:1e 0 8;15:2d 0 40;20:2d 0 40;25:3c 0 200;30:3c 0 200;35:4b 0 1000;"
    "40:4b 0 1000;";

/// With CR-LF at the ends of lines, and none at the end of the file.
int storeAsOnWindows(const std::string& text) {
    std::ofstream file("dump.vcd", std::ios::binary);
    for (const char c : text.substr(0, text.find_last_not_of('\n') + 1))
        file << (c == '\n' ? "\r\n" : std::string(1, c));
    return !file.fail();
}

int storeCompressed(const std::string& text) {
    const gzFile file = gzopen("dump.vcd", "wb");
    return gzwrite(file, text.data(), static_cast<unsigned>(text.size())) > 0 &&
           gzclose(file) == Z_OK;
}

const Dump kDumps[] = {
    {"Icarus", "icarus", "tb.dut", 13, 4, kEdges, nullptr},
    {"CarriageReturns", "icarus", "tb.dut", 13, 4, kEdges, nullptr, 1, storeAsOnWindows},
    {"Compressed", "icarus", "tb.dut", 13, 4, kEdges, nullptr, 1, storeCompressed},
    // x keeps what was; a dump that goes on makes no step, a dump of all does.
    {"IcarusPause", "icarus_pause", "tb.dut", 12, 4,
     "0:0f 0 1;5:1e 0 8;10:1e 0 8;12:1e 0 8;20:2d 0 40;22:2d 0 40;25:3c 0 200;30:3c 0 200;35:4b 0 "
     "1000;"
     "40:4b 0 1000;",
     "'$dumpoff' ignored\n"},
    {"IcarusRealPause", "icarus_real_pause", "tb.dut", 7, 4, "0:0f 0 1;5:1e 0 8;10:1e 0 8;",
     "invalid character 'N' in bitstring 'NaN'\n", 0},
    {"IcarusEscaped", "icarus_escaped", "tb.dut", 0, 0, "", "Open Trace: Failed to Open\n", 0},
    {"Verilator", "verilator", "TOP.dut", 9, 4, "", "Failed to read VCD 'dumpvars'\n", 0},
    {"VerilatorFst2vcd", "verilator_fst2vcd", "TOP.dut", 9, 4, kEdges, nullptr},
    {"Ghdl", "ghdl", "dut", 7, 1, "", "Failed to read VCD 'dumpvars'\n", 0},
    {"GhdlFst2vcd", "ghdl_fst2vcd", "dut", 7, 4, kEdges, nullptr},
    {"Yosys", "yosys", "dut", 2, 2, "", "Failed to read VCD 'dumpvars'\n", 0},
    {"YosysFst2vcd", "yosys_fst2vcd", "dut", 2, 2,
     "0:00 0 0;5:00 0 0;10:10 0 0;15:10 0 0;20:20 0 0;25:20 0 0;30:30 0 0;35:30 0 0;40:40 0 0;",
     "unable to find trace of 'dut.wide'"},
    {"Lxt2vcd", "lxt2vcd", "tb.dut", 13, 4, kEdges, nullptr},
};

// Outside strict mode.
const Dump kPracticalDumps[] = {
    {"Icarus", "icarus", "tb.dut", 13, 4, kEdges,
     "dump.vcd:30: 5 values of kind 'real' passed over\n"
     "dump.vcd:40: 1 value of kind 'event' passed over\n"},
    // From 12 to 17 ns nothing is driven; then the trace's values are taken over.
    {"IcarusPause", "icarus_pause", "tb.dut", 12, 4,
     "0:0f 0 1;5:1e 0 8;10:1e 0 8;17:2d 0 40;20:2d 0 40;22:2d 0 40;25:3c 0 200;30:3c 0 200;"
     "35:4b 0 1000;40:4b 0 1000;",
     "dump.vcd:68: the trace has no values from 12ns to 17ns: 0 registers taken over\n"},
    {"IcarusRealPause", "icarus_real_pause", "tb.dut", 7, 4,
     "0:0f 0 1;5:1e 0 8;10:1e 0 8;17:2d 0 40;20:2d 0 40;22:2d 0 40;25:3c 0 200;30:3c 0 200;"
     "35:4b 0 1000;40:4b 0 1000;",
     "6 values of kind 'real' passed over"},
    {"IcarusEscaped", "icarus_escaped", "tb.dut", 7, 4, kEdges, nullptr},
    {"Verilator", "verilator", "TOP.dut", 9, 4, kEdges, "5 values of kind 'real' passed over"},
    {"VerilatorFst2vcd", "verilator_fst2vcd", "TOP.dut", 9, 4, kEdges, nullptr},
    {"Ghdl", "ghdl", "dut", 7, 4, kEdges, nullptr},
    {"GhdlFst2vcd", "ghdl_fst2vcd", "dut", 7, 4, kEdges, nullptr},
    {"Yosys", "yosys", "dut", 2, 2,
     "0:00 0 0;5:00 0 0;10:10 0 0;15:10 0 0;20:20 0 0;25:20 0 0;30:30 0 0;35:30 0 0;40:40 0 0;",
     "unable to find trace of 'dut.wide'"},
    {"Lxt2vcd", "lxt2vcd", "tb.dut", 13, 4, kEdges, nullptr},
};

struct Storage {
    uint8_t clk = 0, up = 0, down = 0;
    uint8_t* clkPort = &clk;
    uint64_t wideLow = 0, wideHigh = 0;
};

class ToolsTest : public ModelTest, public testing::WithParamInterface<Dump> {
protected:
    static inline Storage storage;
    static inline std::ostringstream history;
    void drive();

    static void step() {
        int64_t tick = 1;
        for (int power = qk_get_timescale_precision(); power < -9; ++power) tick *= 10;
        history << std::dec << qk_cycle / static_cast<uint64_t>(tick) << ':' << std::hex
                << int{storage.up} << int{storage.down} << ' ' << storage.wideHigh << ' '
                << storage.wideLow << ';';
    }
};

void ToolsTest::drive() {
    const Dump& dump = GetParam();
    qk_set_timescale(nullptr, -9, -9);
    registerNets("dut", {net(0, 1, "clk", &storage.clkPort, 0, 0, QK_type_input, QK_flag_clock),
                         net(0, 2, "up", &storage.up, 3, 0), net(0, 3, "down", &storage.down, 0, 3),
                         net(0, 4, "wide", &storage.wideLow, 63, 0, 0x201),
                         net(0, 5, "wide", &storage.wideHigh, 99, 64, 0x201)});
    qk_step_fn = step;
    const std::string scope = dump.scope;
    const std::string text = readFile(ZEFT_GOLDEN_DIR "/vcd/" + std::string(dump.file) + ".vcd");
    ASSERT_FALSE(text.empty());
    ASSERT_TRUE(dump.store ? dump.store(text) : !(std::ofstream("dump.vcd") << text).fail());
    qk_mtc_map("dut", dump.scope);
    qk_mtc_clock("dut.clk", 0);  // the order of lines within a time is the tool's
    for (const char* net : {"up", "down", "wide"})
        qk_mtc_stimulus(("dut." + std::string(net)).c_str(), (scope + "." + net).c_str());
    said.clear();
    EXPECT_EQ(qk_mtc("dump.vcd"), dump.result) << said;
    EXPECT_EQ(history.str(), dump.history) << said;
    if (dump.signals > 0) {
        EXPECT_THAT(
            said, testing::HasSubstr("contains " + std::to_string(dump.signals) +
                                     " signals:\n    " + std::to_string(dump.matched) + " match"));
    }
    if (dump.said)
        EXPECT_THAT(said, testing::HasSubstr(dump.said));
    else
        EXPECT_THAT(said, testing::Not(testing::HasSubstr("ignored")));
}

std::string nameOf(const testing::TestParamInfo<Dump>& dump) { return dump.param.name; }
INSTANTIATE_TEST_SUITE_P(Of, ToolsTest, testing::ValuesIn(kDumps), nameOf);

TEST_P(ToolsTest, DrivesTheDesign) { drive(); }

class PracticalToolsTest : public ToolsTest {};
TEST_P(PracticalToolsTest, DrivesTheDesign) {
    qk_strict = false;
    drive();
}
INSTANTIATE_TEST_SUITE_P(Of, PracticalToolsTest, testing::ValuesIn(kPracticalDumps), nameOf);

// Dumps of names.v and names.vhd: names in need of escapes, and bounds other than the model's.
struct NamedDump {
    const char *name, *file, *scope;
    const char* history;  ///< each step: time in ns, clk, esc+reg, q[3], shifted and turned
    const char* said;
};
const char* const kNamedEdges =
    "0:0 0 0 1 1;5:1 1 1 2 2;10:0 1 1 2 2;15:1 2 0 4 4;20:0 2 0 4 4;25:1 3 1 8 8;30:0 3 1 8 8;"
    "35:1 4 0 10 10;40:0 4 0 10 10;";
const NamedDump kNamedDumps[] = {
    {"Icarus", "icarus_names.vcd", "tb.top.odd.one",
     "0:0 0 0 1 1;5:1 1 1 2 2;10:0 1 1 2 2;15:1 2 0 4 4;20:0 2 0 4 4;32:0 3 1 8 8;35:1 4 0 10 10;"
     "40:0 4 0 10 10;",
     "no values from 22ns to 32ns"},
    {"IcarusFst", "icarus_names.fst", "tb.top.odd.one",
     "0:0 0 0 1 1;5:1 1 1 2 2;10:0 1 1 2 2;15:1 2 0 4 4;20:0 2 0 4 4;32:0 3 1 8 8;35:1 4 0 10 10;"
     "40:0 4 0 10 10;",
     "zeft: reading dump.fst through fst2vcd\n"},
    {"Verilator", "verilator_names.vcd", "TOP.top.odd.one", kNamedEdges,
     "Warning: bounds differ, linked from the left: 'TOP.top.odd.one.shifted' [8:1] in the file, "
     "'dut.shifted' [7:0] in the model\nWarning: bounds differ, linked from the left: "
     "'TOP.top.odd.one.turned' [0:7] in the file, 'dut.turned' [7:0] in the model\n"},
    {"Ghdl", "ghdl_names.vcd", "top.\\odd.one\\", kNamedEdges, "'top.\\odd.one\\.shifted' [8:1]"},
    {"Yosys", "yosys_names.vcd", "top.odd.one",
     "0:0 0 0 1 1;5:0 0 0 1 1;10:1 1 1 2 2;15:0 1 1 2 2;20:1 2 0 4 4;25:0 2 0 4 4;30:1 3 1 8 8;"
     "35:0 3 1 8 8;40:1 4 0 10 10;",
     "5 stimulus signals found \nZEFT Validate: no variables"},
};
void PrintTo(const NamedDump& dump, std::ostream* out) { *out << dump.file; }

class NamesTest : public ModelTest, public testing::WithParamInterface<NamedDump> {
protected:
    static inline uint8_t values[5];
    static inline uint8_t* ports[5];
    static inline std::ostringstream history;
};

TEST_P(NamesTest, LinksThem) {
    const NamedDump& dump = GetParam();
    qk_strict = false;
    qk_set_timescale(nullptr, -9, -9);
    for (size_t i = 0; i < 5; ++i) ports[i] = &values[i];
    registerNets("dut", {net(0, 1, "clk", &ports[0], 0, 0, QK_type_input),
                         net(0, 2, "esc+reg", &ports[1], 3, 0, QK_type_input, QK_flag_register),
                         net(0, 3, "\\q[3] ", &ports[2], 0, 0, QK_type_input),
                         net(0, 4, "shifted", &ports[3], 7, 0, QK_type_input),
                         net(0, 5, "turned", &ports[4], 7, 0, QK_type_input)});
    qk_step_fn = [] {
        history << qk_cycle / (qk_get_timescale_precision() == -15 ? 1000000 : 1) << ":"
                << std::hex;
        for (size_t i = 0; i < 5; ++i) history << int{values[i]} << (i < 4 ? " " : ";");
        history << std::dec;
    };
    const std::string path = std::string("dump") + std::strrchr(dump.file, '.');
    std::ofstream(path, std::ios::binary)
        << readFile(ZEFT_GOLDEN_DIR "/vcd/" + std::string(dump.file));
    qk_mtc_map("dut", dump.scope);
    said.clear();
    EXPECT_EQ(qk_mtc(path.c_str()), 1) << said;
    EXPECT_EQ(history.str(), dump.history) << said;
    EXPECT_THAT(said, testing::HasSubstr(dump.said));
}
INSTANTIATE_TEST_SUITE_P(Of, NamesTest, testing::ValuesIn(kNamedDumps),
                         [](const auto& dump) { return std::string(dump.param.name); });

}  // namespace
