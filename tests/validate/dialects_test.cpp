// What the reader takes outside strict mode: traces as simulators really write them.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "tests/validate/validate_fixture.h"
#include "validate/declared_name.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST(DeclaredNameTest, TakesBoundsFromNames) {
    const struct {
        const char* text;
        int width;
        std::string name,
            bounds;  ///< a `?` behind those that are not declared, a bracket for a bit
    } cases[] = {
        {"a", 8, "a", "7:0?"},
        {"a [7:0]", 8, "a", "7:0"},
        {"a [ -1 : 6 ]", 8, "a", "-1:6"},
        {"a[7:0]", 8, "a", "7:0"},
        {"a(7 downto 0)", 8, "a", "7:0"},
        {"a (0 to 7)", 8, "a", "0:7"},
        {"a[7:0]", 4, "a[7:0]", "3:0?"},
        {"a[7:7]", 1, "a", "7:7"},
        {"a [3]", 1, "a", "3:3"},
        {"a [3]", 8, "a[3]", "7:0?"},
        {"a[3]", 1, "a", "3:3["},
        {"a(3)", 1, "a", "3:3("},
        {"a[3]", 8, "a[3]", "7:0?"},
        {"m [3] [7:0]", 8, "m[3]", "7:0"},
        {"m[3] [7:0]", 8, "m[3]", "7:0"},
        {"m[3][7:0]", 8, "m[3]", "7:0"},
        {"m[3][2]", 1, "m[3][2]", "0:0?"},
        {"[7:0]", 8, "[7:0]", "7:0?"},
        {"esc+reg [3:0]", 4, "esc+reg", "3:0"},
        {"a(b [3:0]", 4, "a(b", "3:0"},
        {"\\bus+index [7:0]", 8, "\\bus+index", "7:0"},
        {"\\bus+index[7:0]", 8, "\\bus+index", "7:0"},
        {"\\a.b", 1, "\\a.b", "0:0?"},
        {"\\q[3]", 1, "\\q[3]", "0:0?"},
        {"\\q[3] [7:0]", 8, "\\q[3]", "7:0"},
        {"\\back\\slash", 1, "\\back\\slash", "0:0?"},
        {"\\mem[3]\\[7:0]", 8, "\\mem[3]\\", "7:0"},
        {"\\a b\\", 1, "\\a b\\", "0:0?"},
        {"\\a b\\ [7:0]", 8, "\\a b\\", "7:0"},
        {"a b", 1, "", ""},
        {"\\a b", 1, "", ""},
        {"a [9999999999]", 1, "", ""},
        {"", 1, "", "0:0?"},
    };
    for (const auto& c : cases) {
        const DeclaredName read = parseDeclaredName(c.text, c.width);
        EXPECT_EQ(read.name, c.name) << c.text;
        if (c.name.empty()) continue;
        std::string bounds =
            std::to_string(read.range.left()) + ":" + std::to_string(read.range.right());
        bounds += read.bitBracket ? std::string(1, read.bitBracket) : read.range.isRange ? "" : "?";
        EXPECT_EQ(bounds, c.bounds) << c.text;
    }
}

/// The design with a bus that nothing but a trace drives, as `top.bus`.
class DialectsTest : public ValidateTest {
protected:
    void SetUp() override {
        ValidateTest::SetUp();
        qk_strict = false;
        history.clear();
        duringStep = [] {
            history += std::to_string(qk_cycle) + ":" + std::to_string(counter->clk) +
                       std::to_string(counter->en) + "," + std::to_string(counter->count) + " ";
        };
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
    /// Compares the design with a file. @return the result of the comparison
    int compare(const std::string& text, const char* path = "t.vcd") {
        writeFile(path, text);
        return compareFile(path);
    }
    int compareFile(const char* path) {
        said.clear();
        history.clear();
        model.clk = model.en = model.done = model.count = model.lastClk = 0;
        return qk_mtc(path);
    }
    static inline std::string history;  ///< of steps: time, clk and en, count
};

constexpr const char* kVars =
    "$var wire 1 c clk $end\n$var wire 1 e en $end\n$var wire 1 d done $end\n"
    "$var reg 4 n count [3:0] $end\n";
constexpr const char* kHead = "$timescale 1ns $end\n$scope module top $end\n";
constexpr const char* kTail = "$upscope $end\n$enddefinitions $end\n";
/// A body that strict mode takes, too, and the steps that it comes to.
constexpr const char* kBody = "#0\n$dumpvars\n0c\n1e\n0d\nb0 n\n$end\n#5\n1c\nb1 n\n#10\n0c\n";
constexpr const char* kSteps = "0:01,0 5:11,1 10:01,1 ";

TEST_F(DialectsTest, TakesHeaders) {
    qk_mtc_clock("top.clk", 0);
    const std::string head = kHead, vars = kVars, tail = kTail;
    const struct {
        std::string header, said;
    } cases[] = {
        {"$version x\n$timescale 1 NS $end $scope module top $end " + vars + tail,
         "VCD version: x\nt.vcd:1: Warning: $version has no $end\n\nThe Trace file contains 4"},
        {"$date today$end $timescale 1Ns$end $scope module top $end " + vars +
             "$upscope$end $enddefinitions$end\n",
         "VCD date: today\n\nThe Trace file contains 4 signals"},
        {"$attrbegin misc 02 x 1 $end $attrend $end $comment $scope $var $end " + head + vars +
             tail,
         "\nThe Trace file contains 4 signals"},
        {head + "$var string 0 s s $end $var event 0 v v $end $var enum 0 w w $end " +
             "$var realtime 1 r r $end $var real_parameter 64 P P $end $scope module $end " +
             "$upscope $end " + vars + tail,
         "contains 8 signals:\n    4 match"},
        {head + "$scope module a.x $end $var wire 1 ! y $end $upscope $end " + vars + tail,
         "contains 5 signals:\n    4 match"},
        {head + "$var wire 1 c \\clk $end $var wire 1 e \\en\\ $end $var wire 1 d done $end " +
             "$var reg 4 n count(3 downto 0)$end " + tail,
         "contains 4 signals:\n    4 match"},
        {head + vars + "$scope module \\sub\\ $end $var wire 8 b bus $end $var wire 1 x other[2] " +
             "$end $var wire 1 y other[1] $end $var wire 1 z other[0] $end $upscope $end " + tail,
         "contains 6 signals:\n    6 match"},
        {head + "$var wire 1 c clk $end $var wire 1 e en $end $var wire 1 d done $end " +
             "$var reg 4 n count [4:1] $end " + tail,
         "\nWarning: bounds differ, linked from the left: 'top.count' [4:1] in the file, "
         "'top.count' [3:0] in the model\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compare(c.header + kBody), 1) << c.header << said;
        EXPECT_THAT(said, HasSubstr(c.said)) << c.header;
        EXPECT_EQ(history, kSteps) << c.header;
        EXPECT_THAT(said, HasSubstr("\n  0 differences found\n")) << c.header;
    }
}

TEST_F(DialectsTest, TakesBodies) {
    qk_mtc_clock("top.clk", 0);
    const std::string head = std::string(kHead) + kVars +
                             "$var real 64 r r $end\n$var string 0 s s $end\n"
                             "$var parameter 8 p P $end\n" +
                             kTail;
    const std::string dump = "#0\n0c\n1e\n0d\nb0 n\n", rest = "#5\n1c\nb1 n\n#10\n0c\n";
    const struct {
        std::string body, steps, said;
    } cases[] = {
        {"0c\n1e\n0d\nb0 n\n" + rest, kSteps, ""},
        {"$dumpall\n0c\n1e\n0d\nb0 n\n$end\n" + rest, kSteps, ""},
        {"#0\n$dumpports\n0c\n$end\n1e\n0d\nb0 n\n" + rest, kSteps, ""},
        {"#0\n#2\n" + dump.substr(3) + rest, "2:01,0 5:11,1 10:01,1 ", ""},
        {"$dumpvars $end\n#2\n" + dump.substr(3) + rest, "2:01,0 5:11,1 10:01,1 ", ""},
        {"$comment b1 n $end\n$dumpvars 0c $comment 1c\n$end 1e\n0d b0 n $end\n#5 1c b1 n\n" +
             std::string("$comment #20\n b0 # $end\n#10\n0c\n"),
         kSteps, ""},
        {"#0\nLc\nHe\nld\nbLLL0 n\n#5\nhc\nUd\nbLl0H n\n#10\n0c\nWd\nb-uwU n\n", kSteps, ""},
        {"#  0\n0 c\n1 e\n0d\nb0n\n#  5\n1 c\nb1n\n#10\n0c\n", kSteps, ""},
        {dump + "rNaN r\nsidle s\n#5\nr-inf r\n1c\nb1 n\nstwo words s\n#10\n0c\nr1.5e3 r\n", kSteps,
         "t.vcd:17: 3 values of kind 'real' passed over\n"
         "t.vcd:18: 2 values of kind 'string' passed over\n"},
        {dump + "b101 p\n" + rest + "$dumpall\nb0101 p\n$end\n", kSteps, ""},
        {dump + rest + "$vcdclose #10 $end\n", kSteps, ""},
        {dump + "$dumpoff\nxc\nxe\nbx n\nrNaN r\n$end\n#3\n$dumpon\n" + dump.substr(3) + "$end\n" +
             rest,
         "0:01,0 3:01,0 5:11,1 10:01,1 ",
         "t.vcd:24: the trace has no values from 0ns to 3ns: 2 registers taken over\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compare(head + c.body), 1) << c.body << said;
        EXPECT_EQ(history, c.steps) << c.body;
        EXPECT_THAT(said, HasSubstr(c.said)) << c.body;
        EXPECT_THAT(said, HasSubstr("\n  0 differences found\n")) << c.body;
        EXPECT_THAT(said, testing::Not(HasSubstr("ignored"))) << c.body;
    }
    const std::string damaged = ": the trace is damaged\n";
    const struct {
        std::string body, said;
    } refused[] = {
        {"$dumpvars\n0c\n", "t.vcd:14  - unexpected end of file while reading $dumpvars\n"},
        {"#0\n#5\n",
         "while reading $dumpvars\nt.vcd:14: Open Trace: Failed to read VCD 'dumpvars'"},
        {dump + rest + "#9\n", "t.vcd:22: time '#9' is before 10ns" + damaged},
        {dump + rest + "#-11\n", "t.vcd:22: time '#-11' is not a whole number" + damaged},
        {dump + rest + "#11.5\n", "t.vcd:22: time '#11.5' is not a whole number" + damaged},
        {dump + rest + "#18446744073709551616\n", "' does not fit 64 bits" + damaged},
        {dump + rest + "r1.5 n\n", "'r1.5' is no value for 'n', which is linked to the model\n"},
        {dump + rest + "sidle n\n", "'sidle' is no value for 'n', which is linked to the model\n"},
        {dump + rest + "b101 p\nb100 p\n",
         "t.vcd:23: parameter 'p' has the value 100, and had 101"},
        {dump + rest + "1\n", "t.vcd:22: invalid value line containing '1'\n"},
        {dump + rest + "b1\n", "t.vcd:23: VCD signal '' not recognised\n"},
        {dump + rest + "b10000 n\n", "width 4 exceeded"},
    };
    for (const auto& c : refused) {
        EXPECT_EQ(compare(head + c.body), 0) << c.body;
        EXPECT_THAT(said, HasSubstr(c.said)) << c.body;
        EXPECT_EQ(reader().currentStats().damaged, c.said.find(damaged) != std::string::npos);
    }
}

TEST_F(DialectsTest, TakesExtendedVcd) {
    qk_mtc_clock("top.clk", 0);
    qk_mtc_map("top", "tb.top");
    EXPECT_EQ(compare("$timescale 1ns $end $scope module tb.top $end $var port 1 <0 clk $end\n"
                      "$var port <1 en $end $var port 1 <2 done $end\n"
                      "$var port [3:0] <3 count $end $upscope $end $enddefinitions $end\n"
                      "#0\n$dumpports\npD 6 0 <0\npU 0 6 <1\npL 6 0 <2\npLLLL 6666 0000 <3\n$end\n"
                      "#5\npU 0 6 <0\npLLLH 6666 0000 <3\n#10\npD 6 0 <0\npZfT1 0 0 <3\n"),
              1)
        << said;
    EXPECT_EQ(history, kSteps);
    EXPECT_THAT(said, HasSubstr("Compared 1 changes in 2 signals"));
}

TEST_F(DialectsTest, LinksBitsAndReals) {
    static uint8_t bits[3];
    static uint64_t level;
    registerNets("bits", {net(0, 1, "q[1]", &bits[0], 0, 0), net(0, 2, "q[0]", &bits[1], 0, 0),
                          net(0, 3, "d", &bits[2], 1, 0), net(0, 4, "level", &level, 63, 0)});
    for (const char* name : {"bits.q[1]", "bits.q[0]", "bits.d", "bits.level"})
        qk_mtc_stimulus(name, name);
    qk_mtc_step_on_clock(0);
    static std::string driven;
    driven.clear();
    duringStep = [] {
        driven += std::to_string(bits[0]) + std::to_string(bits[1]) + std::to_string(bits[2]) +
                  " " + std::to_string(static_cast<int64_t>(level)) + ";";
    };
    EXPECT_EQ(compare("$scope module bits $end\n$var wire 1 a q[1] $end\n$var wire 1 b q[0] $end\n"
                      "$var wire 1 c d[1] $end\n$var wire 1 d d[0] $end\n"
                      "$var real 1 l level $end\n$upscope $end\n$enddefinitions $end\n"
                      "#0\n0a\n1b\n1c\n0d\nr0.5 l\n#1\n1a\nr-3 l\n#2\n1d\nrNaN l\n#3\nr1e30 l\n"
                      "#4\nr2.5e2 l\n#5\n"),
              1)
        << said;
    EXPECT_EQ(driven, "012 1;112 -3;113 -3;113 -3;113 250;");
    EXPECT_THAT(said, HasSubstr("contains 4 signals:\n    4 match"));
}

TEST_F(DialectsTest, APauseSettlesTheModel) {
    qk_mtc_clock("top.clk", 0);
    const std::string dump = "$dumpon\n0c\n1e\n1d\nb11 n\n$end\n";
    // What has not met its counterpart before the pause never does.
    const struct {
        const char* before;
        int differences;
        const char* longest;
    } cases[] = {{"b1 n\n", 0, "0ns"}, {"#6\nb1 n\n", 0, "1ns"}, {"#6\n", 1, "2ns"}};
    for (const auto& c : cases) {
        EXPECT_EQ(compare(std::string(kHead) + kVars + kTail + "#0\n0c\n1e\n0d\nb0 n\n#5\n1c\n" +
                          c.before + "#7\n$dumpoff\nxc\nbx n\n$end\n1c\n#20\n" + dump +
                          "#25\n1c\nb100 n\n0d\n#26\n"),
                  c.differences == 0);
        EXPECT_EQ(history, "0:01,0 5:11,1 20:01,3 25:11,4 ");
        EXPECT_THAT(said, HasSubstr("the trace has no values from 7ns to 20ns: 2 registers"));
        EXPECT_THAT(said, HasSubstr("  Compared 3 changes in 2 signals\n  Longest time to "
                                    "synchronise was " +
                                    std::string(c.longest)));
    }
}

// Conversions by other programs, some of which are not what they should be.
class ConverterTest : public DialectsTest {
protected:
    void SetUp() override {
        DialectsTest::SetUp();
        qk_mtc_clock("top.clk", 0);
        text = std::string(kHead) + kVars + kTail + kBody;
    }
    /// Has a script found as the program of a name.
    static void provide(const std::string& program, const std::string& script) {
        writeFile(program.c_str(), "#!/bin/sh\n" + script);
        chmod(program.c_str(), 0700);
        setenv("PATH", ".", 1);
    }
    static bool hasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

    std::string text;
};

TEST_F(ConverterTest, ReadsWhatOtherProgramsExpand) {
    writeFile("-a b.vcd", text);
    const struct {
        const char *program, *compress, *path;
    } cases[] = {{"xz", "xz -k -- '-a b.vcd'", "-a b.vcd.xz"},
                 {"zstd", "zstd -q -- '-a b.vcd'", "-a b.vcd.zst"},
                 {"bzip2", "bzip2 -k -- '-a b.vcd'", "-a b.vcd.bz2"}};
    for (const auto& c : cases) {
        ASSERT_EQ(std::system(c.compress), 0) << c.compress;
        EXPECT_EQ(compareFile(c.path), 1) << said;
        EXPECT_EQ(history, kSteps);
        EXPECT_THAT(said, testing::StartsWith(std::string("zeft: reading ") + c.path + " through " +
                                              c.program + "\n"));
        const std::string whole = readFile(c.path);
        EXPECT_EQ(compare(whole.substr(0, whole.size() - 4), c.path), 0);
        EXPECT_THAT(said, HasSubstr(std::string(c.program) + " failed with status "));
        EXPECT_EQ(reader().currentStats().damaged, 1);
        EXPECT_FALSE(hasChildren());
    }
}

TEST_F(ConverterTest, ReportsProgramsThatFail) {
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(compare(text, "t.fst"), 0);
    EXPECT_EQ(said,
              "zeft: reading t.fst through fst2vcd\nFailed to open file 't.fst': fst2vcd "
              "cannot be run: No such file or directory (Debian package gtkwave)\n"
              "t.fst: Open Trace: Failed to Open\n");
    EXPECT_EQ(compareFile("nosuch.fst"), 0);
    EXPECT_THAT(said, testing::StartsWith("Failed to open file 'nosuch.fst': No such file"));
    provide("fst2vcd", "while read -r line; do echo \"$line\"; done <\"$2\"; exit 3\n");
    EXPECT_EQ(compare(text, "t.fst"), 0);
    EXPECT_EQ(history, "0:01,0 5:11,1 ") << "all but the last time step";
    EXPECT_THAT(said, HasSubstr("t.fst:21: fst2vcd failed with status 3\n"));
    provide("fst2vcd", "kill -9 $$\n");
    EXPECT_EQ(compare(text, "t.fst"), 0);
    EXPECT_THAT(said, HasSubstr("t.fst:1: fst2vcd was ended by signal 9\n"));
    qk_strict = true;
    EXPECT_EQ(compare(text, "t.fst"), 1);
    EXPECT_FALSE(hasChildren());
}

TEST_F(ConverterTest, EndsTheProgramWithTheReading) {
    provide("xz",
            "while read -r line; do echo \"$line\"; done <\"$2\"\n"
            "trap '' TERM\nexec /usr/bin/yes '#11'\n");
    duringStep = [] {
        if (stepped == 3) qk_cli("close");
    };
    stepped = 0;
    compare(text, "t.xz");
    EXPECT_EQ(stepped, 3);
    EXPECT_FALSE(hasChildren());
}

}  // namespace
