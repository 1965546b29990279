// ls, lstofile, wired, and how values print.
#include <string>

#include "tests/console/console_fixture.h"

namespace {

class ListingTest : public ConsoleTest {};

TEST_F(ListingTest, ListsEverythingInColumns) {
    EXPECT_EQ(run("ls"),
              "     top.clk     c   : 1\n"
              "     top.rst     i   : 0\n"
              "     top.done        : 1\n"
              " top.cpu.Pc          : 9\n"
              " top.cpu.acc         : 7'h2a\n"
              " top.cpu.aw          : 70'h2b0123456789abcdef\n"
              " top.cpu.bit3        : 1\n"
              " top.cpu.bits        : array: [40:1]\n"
              " top.cpu.busy        : 1\n"
              " top.cpu.cross       : 123456789abcdefabcdef0123\n"
              " top.cpu.lane[1]     : array: [0:1]\n"
              " top.cpu.low       r : 6'h2a\n"
              " top.cpu.mem         : array: [0:9]\n"
              " top.cpu.n33         : 33'h180000001\n"
              " top.cpu.nbusy       : 0\n"
              " top.cpu.pair        : array: [-2:1]\n"
              " top.cpu.pc        r : 012f\n"
              " top.cpu.pc_copy   r : 012f\n"
              " top.cpu.ram         : array: [7:2]\n"
              " top.cpu.total       : ffffffff\n"
              " top.cpu.twin        : 800000000000000100000000000000ff\n"
              " top.cpu.up          : c3\n"
              " top.cpu.vast        : array: [1:0]\n"
              " top.cpu.wide      r : 123456789fedcba9876543210\n"
              "top.vhdl.State       : 3'h5\n");
}

TEST_F(ListingTest, ReadsTheStorageEachTime) {
    model.busy = 0;
    model.low = 0x15;
    model.wideHigh = 0;
    EXPECT_EQ(run("ls top.cpu.*busy"), "top.cpu.busy      : 0\ntop.cpu.nbusy     : 1\n");
    EXPECT_EQ(run("ls top.cpu.low"), "top.cpu.low     r : 6'h15\n");
    EXPECT_EQ(run("print top.cpu.wide"), "top.cpu.wide    r : 000000000fedcba9876543210\n");
}

TEST_F(ListingTest, DescribesBounds) {
    EXPECT_EQ(run("ls -d"),
              "top.clk\n"
              "top.rst\n"
              "top.done\n"
              "top.cpu.Pc [3:0]\n"
              "top.cpu.acc [6:0]\n"
              "top.cpu.aw [0:69]\n"
              "top.cpu.bit3 [3:3]\n"
              "top.cpu.bits [1] [40:1]\n"
              "top.cpu.busy\n"
              "top.cpu.cross [99:0]\n"
              "top.cpu.lane[1] [3:0] [0:1]\n"
              "top.cpu.low [8:3]\n"
              "top.cpu.mem [7:0] [0:9]\n"
              "top.cpu.n33 [32:0]\n"
              "top.cpu.nbusy\n"
              "top.cpu.pair [69:0] [-2:1]\n"
              "top.cpu.pc [15:0]\n"
              "top.cpu.pc_copy [15:0]\n"
              "top.cpu.ram [11:0] [7:2]\n"
              "top.cpu.total [31:0]\n"
              "top.cpu.twin [127:0]\n"
              "top.cpu.up [0:7]\n"
              "top.cpu.vast [159:0] [1:0]\n"
              "top.cpu.wide [99:0]\n"
              "top.vhdl.State [2:0]\n");
}

TEST_F(ListingTest, OptionsAndPatternsChoose) {
    run("trace top.cpu.pc");
    run("trace top.rst");
    run("show top.cpu.up");
    const struct {
        const char* line;
        const char* listing;
    } cases[] = {
        {"ls -t",
         "    top.rst   it  : 0\n"
         "top.cpu.pc     tr : 012f\n"
         "top.cpu.up     s  : c3\n"},
        {"ls -t *.pc", "top.cpu.pc     tr : 012f\n"},
        {"ls -u *.pc*", "top.cpu.pc_copy   r : 012f\n"},
        {"ls -ut top.cpu.p*c*",
         "top.cpu.pc       tr : 012f\n"
         "top.cpu.pc_copy   r : 012f\n"},
        {"ls -i", "top.clk   c   : 1\ntop.rst   it  : 0\n"},
        {"ls -r",
         "top.cpu.low       r : 6'h2a\n"
         "top.cpu.pc       tr : 012f\n"
         "top.cpu.pc_copy   r : 012f\n"
         "top.cpu.wide      r : 123456789fedcba9876543210\n"},
        {"ls -dt top.*p*c", "top.cpu.pc [15:0]\n"},
        {"ls - top.clk", "top.clk   c   : 1\n"},
        {"ls TOP.VHDL.sTATE", "top.vhdl.State     : 3'h5\n"},
        {"ls top.CPU.up", "No matching signals (in 26 names)\n"},
        {"ls top.cpu.PC", "No matching signals (in 26 names)\n"},
        {"ls top.cpu.Pc", "top.cpu.Pc        : 9\n"},
        {"ls top.cpu.secret", "No matching signals (in 26 names)\n"},
        {"ls -v", "No matching signals (in 26 names)\n"},
        {"ls -r nosuch", "No matching signals (in 26 names)\n  Searched a total of: 5 registers"},
        {"ls -ri nosuch",
         "No matching signals (in 26 names)\n"
         "  Searched a total of: 2 inputs, 5 registers"},
        {"ls -x top.clk", "ls: Unknown option '-x'\n"},
        {"ls -tb", "ls: Unknown option '-b'\n"},
        {"ls -T", "ls: Unknown option '-T'\n"},
        {"ls --t", "ls: Unknown option '--'\n"},
        {"ls -te", "ls: Unknown option '-e'\n"},
        {"ls -c", "ls: options [cmno] not available, ZEFT Validate not running\n"},
        {"ls -tm *", "ls: options [cmno] not available, ZEFT Validate not running\n"},
        {"ls -n", "ls: options [cmno] not available, ZEFT Validate not running\n"},
        {"ls -o", "ls: options [cmno] not available, ZEFT Validate not running\n"},
        {"ls -ox", "ls: Unknown option '-x'\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(run(c.line), c.listing);
        EXPECT_EQ(qk_cli(c.line), 1);
    }
}

TEST_F(ListingTest, PrintsElementsOfArrays) {
    const std::string vastHead = "top.cpu.vast      : ";
    const std::string vast1 =
        "\n[1] 00000007"
        "0000000000000005"
        "0000000000000004";
    const std::string vast0 =
        "\n[0] 00000006"
        "0000000000000005"
        "0000000000000004";
    const struct {
        const char* line;
        std::string listing;
    } cases[] = {
        {"ls top.cpu.mem", "top.cpu.mem       : array: [0:9]\n"},
        {"ls top.cpu.mem[3]", "top.cpu.mem       : \n[3] 13\n\n"},
        {"ls top.cpu.mem [ 0x4 ]", "top.cpu.mem       : \n[4] 14\n\n"},
        {"ls top.cpu.mem[2:4]", "top.cpu.mem       : \n[2:4] 12 13 14\n\n"},
        {"ls top.cpu.mem[]", "top.cpu.mem       : \n[0:9] 10 11 12 13 14 15 16 17 18 19\n\n"},
        {"ls top.cpu.mem[ ]", "top.cpu.mem       : \n[0:9] 10 11 12 13 14 15 16 17 18 19\n\n"},
        {"ls top.cpu.mem[9:2]", "top.cpu.mem       : Invalid indices, array is: [0:9]\n\n"},
        {"ls top.cpu.mem[10]", "top.cpu.mem       : Invalid indices, array is: [0:9]\n\n"},
        {"ls top.cpu.mem[18446744073709551615]",
         "top.cpu.mem       : Invalid indices, array is: [0:9]\n\n"},
        {"ls top.cpu.mem[4294967299]", "top.cpu.mem       : Invalid indices, array is: [0:9]\n\n"},
        {"ls top.cpu.ram[7:2]", "top.cpu.ram       : \n[7:2] 0a7 0a6 0a5 0a4 0a3 0a2\n\n"},
        {"ls top.cpu.ram[5]", "top.cpu.ram       : \n[5] 0a5\n\n"},
        {"ls top.cpu.ram[2:7]", "top.cpu.ram       : Invalid indices, array is: [7:2]\n\n"},
        {"ls top.cpu.ram[1]", "top.cpu.ram       : Invalid indices, array is: [7:2]\n\n"},
        {"ls top.cpu.bits[]",
         "top.cpu.bits      : "
         "\n[40:6] 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0 1 0"
         "\n[5:1] 1 0 1 0 1\n\n"},
        {"ls top.cpu.pair[]",
         "top.cpu.pair      : "
         "\n[-2:0] 0100000000000000ee 0200000000000000ef 0300000000000000f0"
         "\n[1] 0400000000000000f1\n\n"},
        {"ls top.cpu.pair[18446744073709551615]",
         "top.cpu.pair      : Invalid indices, array is: [-2:1]\n\n"},
        {"ls top.cpu.pair[9223372036854775808]",
         "top.cpu.pair      : Invalid indices, array is: [-2:1]\n\n"},
        {"ls top.cpu.lane[1][]", "top.cpu.lane[1]     : \n[0:1] e f\n\n"},
        {"ls top.cpu.vast[]", vastHead + vast1 + vast0 + "\n\n"},
        {"ls top.cpu.pc[3]", "top.cpu.pc      r : 012f\n"},
        {"ls *nosuch[3]", "No matching signals (in 26 names)\n"},
        {"ls top.cpu.mem[x]", "Syntax error (bad index 1)\n"},
        {"ls top.cpu.mem[-1]", "Syntax error (bad index 1)\n"},
        {"ls top.cpu.mem[1:]", "Syntax error (bad index 2)\n"},
        {"ls top.cpu.mem[1:x]", "Syntax error (bad index 2)\n"},
        {"ls top.cpu.mem[1:2:3]", "Syntax error (no matching brace)\n"},
        {"ls top.cpu.mem[1,2]", "Syntax error (unrecognised character ',')\n"},
        {"ls top.cpu.mem]", "No matching signals (in 26 names)\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(run(c.line), c.listing);
    }
}

TEST_F(ListingTest, PrintsSlicesFromTheirTopBits) {
    static uint64_t low = 0xfedcba9876543210, high = 0x123456789;
    const QkGRNet nets[] = {net(0, 1, "w", &low, 63, 0, 0x201),
                            net(0, 2, "w", &high, 99, 64, 0x201)};
    const QkGRExtract slices[] = {{0, "down", 0, 69, 0, 1, 10, 0},
                                  {0, "up", 0, 0, 69, 1, 10, 0},
                                  {0, "bit", 1, 0, 0, 1, 12, 0},
                                  {0, "past", 0, 5, 0, 1, 95, 0}};
    kelvo_module module("design", "opt");
    QkRegistration::start(&module, 1, 2, false);
    QkRegistration::addNets(&module, 2, nets);
    QkRegistration::addExtracts(&module, 4, slices);
    QkRegistration::end(&module);
    // 70 bits from bit 10 up: Python's (w >> 10) & (2**70 - 1), its low 6 bits split off.
    EXPECT_EQ(run("ls opt.*"),
              "opt.bit       : 1\n"
              "opt.down      : 6789fedcba9876540c\n"
              "opt.past      : 00\n"
              "opt.up        : 6789fedcba9876540c\n"
              "opt.w         : 123456789fedcba9876543210\n");
    EXPECT_EQ(run("ls -d opt.*"),
              "opt.bit\nopt.down [69:0]\nopt.past [5:0]\nopt.up [0:69]\nopt.w [99:0]\n");
}

TEST_F(ListingTest, WritesAListingToAFileAlone) {
    useDefaultDelivery();
    run("log out.log");
    EXPECT_EQ(run("lstofile listing -i"), "lstofile: written file 'listing'\n");
    EXPECT_EQ(readFile("listing"), "top.clk   c   : 1\ntop.rst   i   : 0\n");
    EXPECT_EQ(run("lstofile listing   top.done"), "lstofile: written file 'listing'\n");
    EXPECT_EQ(readFile("listing"), "top.done      : 1\n");
    EXPECT_EQ(run("lstofile"), "lstofile: No filename specified\n");
    EXPECT_EQ(run("lstofile missing/x *"), "lstofile: failed to open file 'missing/x'\n");
    run("log close");
    EXPECT_EQ(readFile("out.log"),
              "lstofile: written file 'listing'\nlstofile: written file 'listing'\n"
              "lstofile: No filename specified\nlstofile: failed to open file 'missing/x'\n");
}

TEST_F(ListingTest, FindsWhatIsWired) {
    const struct {
        const char* line;
        const char* text;
    } cases[] = {
        {"wired top.cpu.pc", "\nSignals wired to: top.cpu.pc\n\ttop.cpu.pc_copy\n"},
        {"wired *.pc_c*", "\nSignals wired to: top.cpu.pc_copy\n\ttop.cpu.pc\n"},
        {"wired top.cpu.busy", "\nSignals wired to: top.cpu.busy\n\ttop.cpu.nbusy (inverted)\n"},
        {"wired top.cpu.nbusy", "\nSignals wired to: top.cpu.nbusy\n\ttop.cpu.busy (inverted)\n"},
        {"wired top.cpu.up", "\nSignals wired to: top.cpu.up\n\n    (none found)\n"},
        {"wired top.cpu.wide", "\nSignals wired to: top.cpu.wide\n\n    (none found)\n"},
        {"wired top.cpu.secret", "\nNo matching signals\n"},
        {"wired", "\nNo matching signals\n"},
        {"wired top.*", "\nMore than one signal matches\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(run(c.line), c.text);
    }
}

}  // namespace
