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

// Conversions by other programs, some of which are not what they should be.
class ConverterTest : public DialectsTest {
protected:
    void SetUp() override {
        DialectsTest::SetUp();
        qk_mtc_clock("top.clk", 0);
        writeTrace("#0\n$dumpvars\n0c\n1e\n0d\nb0 n\n$end\n#5\n1c\nb1 n\n#10\n0c\n");
        text = readFile("ref.vcd");
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
