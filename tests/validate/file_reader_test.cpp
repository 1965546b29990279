// What the reader takes for a trace, and what it says of the rest.
#include <zlib.h>

#include <algorithm>

#include "tests/validate/validate_fixture.h"

namespace {

class FileReaderTest : public ValidateTest {
protected:
    /// Reads the header of a file of this text. @return what was said, and the result
    std::string header(const std::string& text) {
        writeFile("t.vcd", text);
        reader().vcdModel = nullptr;
        reader().start(false);
        said.clear();
        const int result = reader().readHeader("t.vcd");
        return said + (result ? "1" : "0");
    }
    /// The same of a header with one declaration.
    std::string declare(const std::string& text) {
        return header("$scope module s $end " + text + "\n$enddefinitions $end\n");
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
    static std::string names() {
        std::string all;
        for (const QkVCDName& name : reader().vcdModel->names)
            all += name.fullName() + "[" + std::to_string(name.range.left()) + ":" +
                   std::to_string(name.range.right()) + "]" + (name.range.isRange ? "" : "?") +
                   "x" + std::to_string(name.vcdVars.size()) + " ";
        return all;
    }
};

TEST_F(FileReaderTest, ReadsHeaders) {
    const struct {
        const char *text, *said;
    } cases[] = {
        {"$enddefinitions $end", "1"},
        {"", "t.vcd:1: unexpected end of file\n0"},
        {"$version  a \t b\n c $end $date x $end\n\n$var\n",
         "VCD version: a b c\nVCD date: x\n"
         "t.vcd:5: expected non-zero width while processing: $var  \n0"},
        {"\n$upscope $end\n",
         "t.vcd:2: Warning: $upscope when at top-level\n"
         "t.vcd:3: unexpected end of file\n0"},
        {"$attr 1 $end $enddefinitions $end", "t.vcd:1: header ignored: '$attr'\n1"},
        {"$scope module a.b $end $upscope $end $upscope $end $enddefinitions $end",
         "t.vcd:1: Warning: $upscope when at top-level\n1"},
        {"\nhello $end", "t.vcd:2: header not recognised: 'hello'\n0"},
        {"$comment a b\n$scope", "t.vcd:1: $end missing by line 2\n0"},
        {"\n$comment a b\n\n", "t.vcd:2: $end missing to end of file\n0"},
        {"$enddefinitions\n", "t.vcd:1: $end missing to end of file\n0"},
        {"$dumparray 1 2 $enddumparray $end $enddefinitions $end",
         "t.vcd:1: dumparray loading not implemented\n1"},
        {"$dumparray 1\n2",
         "t.vcd:1: dumparray loading not implemented\n"
         "t.vcd:2: unexpected end of file\n0"},
        {"\x01\xff\r\f$enddefinitions\t\x80$end", "1"},
        {"$scope", "t.vcd:1: unexpected end of file\n0"},
        {"$scope ", "t.vcd:1: $end missing to end of file\n0"},
    };
    for (const auto& c : cases) EXPECT_EQ(header(c.text), c.said) << c.text;
    reader().vcdModel = nullptr;
    reader().start(false);
    said.clear();
    EXPECT_EQ(reader().readHeader("missing.vcd"), 0);
    EXPECT_EQ(said, "Failed to open file 'missing.vcd'\n");
    qk_strict = false;
    said.clear();
    reader().vcdModel = nullptr;
    reader().start(false);
    EXPECT_EQ(reader().readHeader("missing.vcd"), 0);
    EXPECT_EQ(said, "Failed to open file 'missing.vcd': No such file or directory\n");
}

TEST_F(FileReaderTest, ReadsVariables) {
    const char* const select = "t.vcd:1: expected bit-select or $end\n0";
    const char* const behind = "t.vcd:1: expected bit-select followed by $end\n0";
    const char* const badly = "t.vcd:1: badly formed bit-select\n0";
    const struct {
        const char *text, *said, *names;
    } cases[] = {
        {"$var wire 8 ! a $end", "1", "s.a[7:0]?x1 "},
        {"$var wire 8 ! a [7:0] $end", "1", "s.a[7:0]x1 "},
        {"$var wire 8 ! a [ 7 : 0\n] $end", "1", "s.a[7:0]x1 "},
        {"$var wire 8 ! a [-1:6] $end", "1", "s.a[-1:6]x1 "},
        {"$var wire 1 ! a [3] $end $var wire 1 \" a [2] $end", "1", "s.a[3:2]x2 "},
        {"$var wire 2 ! a [0:1] $end $var wire 2 \" a [2:3] $end", "1", "s.a[0:3]x2 "},
        {"$var wire 1 ! a.b.c $end $var wire 1 ! A.d $end", "1", "s.a.b.c[0:0]?x1 s.a.d[0:0]?x1 "},
        {"$var wire 1 ! \\a b\\\\c\\ $end", "1", "s.\\a b\\\\c\\[0:0]?x1 "},
        {"$var real 8 ! r $end", "1", "s.r[63:0]?x1 "},
        {"$var event 0 ! e $end $var time 0 \" t $end", "1", "s.e[0:0]?x1 s.t[63:0]?x1 "},
        {"$var parameter 0 ! p $end", "1", ""},
        {"$scope module a.b $end $upscope $end $var wire 1 ! c $end", "1", "s.c[0:0]?x1 "},
        {"$upscope $end $var wire 1 ! a $end", "1", "toplevel.a[0:0]?x1 "},
        {"$var wire 0 ! w $end",
         "t.vcd:1: expected non-zero width while processing: $var wire 0\n0", ""},
        {"$var wire -3 ! w $end",
         "t.vcd:1: expected non-zero width while processing: $var wire -3\n0", ""},
        {"$var wire 1 ! a x $end", select, ""},
        {"$var wire 1 ! a [1;0] $end", select, ""},
        {"$var wire 1 ! a [1:0; $end", select, ""},
        {"$var wire 1 ! a [x] $end", badly, ""},
        {"$var wire 1 ! a [1:] $end", badly, ""},
        {"$var wire 1 ! a [3]$end", behind, ""},
        {"$var wire 1 ! a [3] end", behind, ""},
        {"$var wire 1 ! a $end $var wire 2 ! b $end",
         "Redefinition of VCD Id Code: '!' (width=1, new width=2)\nt.vcd:1: Error\n0",
         "s.a[0:0]?x1 "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(declare(c.text), c.said) << c.text;
        EXPECT_EQ(names(), c.names) << c.text;
    }
}

TEST_F(FileReaderTest, TakesTheTimescale) {
    const char* const kInvalid = "t.vcd:1: invalid VCD $timescale ";
    const struct {
        const char* text;
        std::string said;
        uint64_t ticks;  ///< of time 3, from a precision of 1 ps
    } cases[] = {
        {"1 ns", "1", 3000},
        {"10ns", "1", 30000},
        {"1 n", "1", 3000},
        {"+001 ps", "1", 3},
        {"1000 ms", "1", 3'000'000'000'000},
        {"10 s", "t.vcd:1: VCD $timescale \"10 s\" greater than 1 second ignored\n1", 3},
        {"2 ns", kInvalid + std::string("\"2 ns\" ignored\n1"), 3},
        {"1 nsx", kInvalid + std::string("\"1 nsx\" ignored\n1"), 3},
        {"", kInvalid + std::string("\"\" ignored\n1"), 3},
    };
    qk_set_timescale(nullptr, 0, -12);
    for (const auto& c : cases) {
        EXPECT_EQ(declare(std::string("$timescale ") + c.text + " $end"), c.said) << c.text;
        writeFile("t.vcd", std::string("$timescale ") + c.text +
                               " $end $enddefinitions $end\n#3\n$dumpvars\n$end\n");
        reader().close();
        reader().start(false);
        reader().readHeader("t.vcd");
        qk_cycle = 0;
        EXPECT_EQ(reader().readInitialValues(true), 1);
        EXPECT_EQ(qk_cycle, c.ticks) << c.text;
    }
    EXPECT_EQ(declare("$timescale 100 fs $end"), "1");
    EXPECT_EQ(qk_get_timescale_precision(), -13);
}

TEST_F(FileReaderTest, ReadsGzipAndTokensAcrossBlocks) {
    // Blanks push each line of the body over a border between blocks of 8 MiB.
    constexpr size_t block = 0x800000;
    std::string text(block - 3, ' ');
    text.replace(0, 21, "$scope module top $end");
    text += "$var wire 4 n \\long\\ $end $var wire 1 c clk $end $enddefinitions $end $dumpvars ";
    text += std::string(2 * block - 3 - text.size(), '\n') + "b0101 n\n$end\n#7 ";
    text += std::string(3 * block - 9 - text.size(), ' ') + "bx1001\t\f\vn ";
    writeFile("t.vcd", text);
    const gzFile file = gzopen("t.vcd.gz", "wb1");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    for (const char* path : {"t.vcd", "t.vcd.gz"}) {
        reader().vcdModel = nullptr;
        reader().start(false);
        said.clear();
        ASSERT_EQ(reader().readHeader(path), 1) << said;
        EXPECT_EQ(names(), "top.\\long\\[3:0]?x1 top.clk[0:0]?x1 ");
        EXPECT_EQ(reader().readInitialValues(true), 1) << said;
        EXPECT_EQ(reader().runTrace(false), 0);
        EXPECT_EQ(said, std::string(path) + ":" +
                            std::to_string(1 + std::count(text.begin(), text.end(), '\n')) +
                            ": signal 'n': width 4 exceeded (5 bits given)\n");
        EXPECT_EQ(qk_cycle, 7);
        qk_cycle = 0;
    }
}

}  // namespace
