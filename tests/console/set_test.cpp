// set, as typed; and literals of every form and many widths through it.
#include "netdb/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

class SetTest : public ConsoleTest {};

TEST_F(SetTest, SaysWhatItDidOrWhatIsWrong) {
    const struct {
        const char* line;
        const char* said;
    } cases[] = {
        {"set top.cpu.pc = 5", "top.cpu.pc set to 0x5\n"},
        {"set top.cpu.pc=6", "top.cpu.pc set to 0x6\n"},
        {"set *.up =0xc0", "top.cpu.up set to 0xc0\n"},
        {"set top.cpu.mem[3] = 0x42", "top.cpu.mem[3] set to 0x42\n"},
        {"set top.cpu.mem [ 0x4 ] = 1", "top.cpu.mem[4] set to 0x1\n"},
        {"set top.cpu.ram[0] = 7", "top.cpu.ram[0] set to 0x7\n"},
        {"set top.cpu.pair[3] = 0x123456789abcdef01",
         "top.cpu.pair[3] set to 0x123456789abcdef01\n"},
        {"set top.cpu.lane[1][0] = 9", "top.cpu.lane[1][0] set to 0x9\n"},
        {"set", " matches non or more than one nets\n"},
        {"set nosuch = 1", "nosuch matches non or more than one nets\n"},
        {"set nosuch[1] = 1", "nosuch matches non or more than one nets\n"},
        {"set top.cpu.* = 1", "top.cpu.* matches non or more than one nets\n"},
        {"set top.cpu.secret = 1", "top.cpu.secret matches non or more than one nets\n"},
        {"set top.cpu.mem = 1", "top.cpu.mem is an array\n"},
        {"set top.cpu.lane[1] = 1", "top.cpu.lane[1] is an array\n"},
        {"set top.cpu.pc[3] = 1", "top.cpu.pc is not an array\n"},
        {"set top.cpu.mem[10] = 1", "10 is an invalid index\n"},
        {"set top.cpu.mem[-1] = 1", "-1 is an invalid index\n"},
        {"set top.cpu.mem[] = 1", " is an invalid index\n"},
        {"set top.cpu.mem[3 = 1", "3 is an invalid index\n"},
        {"set top.cpu.mem[0x10000000000000000] = 1", "0x10000000000000000 is an invalid index\n"},
        {"set top.cpu.pc", " is not a recognizable operator\n"},
        {"set top.cpu.pc := 1", ":= is not a recognizable operator\n"},
        {"set top.cpu.pc == 1", "= 1 is an invalid constant\n"},
        {"set top.cpu.pc =", " is an invalid constant\n"},
        {"set top.cpu.pc = 1 2", "1 2 is an invalid constant\n"},
        {"set top.cpu.pc = 0x10000", "0x10000 exceeds bit range of top.cpu.pc\n"},
        {"set top.cpu.mem[0] = 256", "256 exceeds bit range of top.cpu.mem\n"},
        {"set top.cpu.n33 = 0x00000000000000001",
         "0x00000000000000001 exceeds bit range of top.cpu.n33\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(run(c.line), c.said);
    }
    EXPECT_EQ(model.pc, 6);
    EXPECT_EQ(model.up, 0xc0);
    EXPECT_EQ(model.mem[9 - 3], 0x42) << "offset 3 of [0:9]";
    EXPECT_EQ(model.ram[0], 7) << "offset 0 of [7:2] is element 2";
    EXPECT_EQ(model.pairLow[0], 0x23456789abcdef01u) << "offset 3 of [-2:1] is element 1";
    EXPECT_EQ(model.pairHigh[0], 1);
    EXPECT_EQ(model.lane[1], 9);
}

TEST_F(SetTest, TheNextCaptureSeesTheChange) {
    run("show top.cpu.nbusy");
    EXPECT_EQ(run("set top.cpu.nbusy = 1"), "top.cpu.nbusy set to 0x1\n");
    EXPECT_EQ(model.busy, 0) << "in its own polarity";
    EXPECT_EQ(note(1), "       1ns: top.cpu.nbusy = 1\n");
}

TEST_F(SetTest, LiteralsOfEveryForm) {
    // Net, literal, and the net's digits as `ls` prints them; null: no literal, or too wide.
    const struct {
        const char *net, *literal, *digits;
    } cases[] = {
        {"clk", "0", "0"},
        {"clk", "1'b1", "1"},
        {"clk", "2", nullptr},
        {"cpu.acc", "7'o177", "7'h7f"},
        {"cpu.acc", "0177", "7'h7f"},
        {"cpu.acc", "0200", nullptr},
        {"cpu.acc", "8#177#", "7'h7f"},
        {"cpu.acc", "'B101_0101", "7'h55"},
        {"cpu.acc", "2#_1#", nullptr},
        {"cpu.acc", "3#12#", nullptr},
        {"cpu.acc", "16#1f# x", nullptr},
        {"cpu.acc", "4'd16", nullptr},
        {"cpu.acc", "4'd15", "7'h0f"},
        {"cpu.acc", "0_1", nullptr},
        {"cpu.acc", "1_2", "7'h0c"},
        {"cpu.acc", "8'h12'", nullptr},
        {"cpu.acc", "q", nullptr},
        {"cpu.n33", "33'h1_ffff_ffff", "33'h1ffffffff"},
        {"cpu.n33", "8589934592", nullptr},
        {"cpu.n33", "8589934591", "33'h1ffffffff"},
        {"cpu.n33", "10#4_294_967_296#", "33'h100000000"},
        {"cpu.twin", "18446744073709551616", "00000000000000010000000000000000"},
        {"cpu.twin", "340282366920938463463374607431768211455", "ffffffffffffffffffffffffffffffff"},
        {"cpu.twin", "340282366920938463463374607431768211456", nullptr},
        {"cpu.twin", "128'hFEDCBA98_76543210_01234567_89abcdef",
         "fedcba98765432100123456789abcdef"},
        {"cpu.twin", "1", "00000000000000000000000000000001"},
        {"cpu.wide", "0xfffffffffffffffffffffffff", "fffffffffffffffffffffffff"},
        {"cpu.wide", "0x10000000000000000000000000", nullptr},
        {"cpu.wide", "8#1_0000_0000_0000_0000_0000_0000_0000_0001#", "1000000000000000000000001"},
        {"cpu.aw", "64'd7", "70'h000000000000000007"},
        {"cpu.aw",
         "2#10_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_0000_"
         "0001#",
         "70'h200000000000000001"},
        {"cpu.cross", "100'h123456789abcdeffedcba9876", "123456789abcdeffedcba9876"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.net << " = " << c.literal);
        const std::string name = std::string("top.") + c.net;
        const std::string answer = run(("set " + name + " = " + c.literal).c_str());
        if (!c.digits) {
            EXPECT_THAT(answer, testing::AnyOf(std::string(c.literal) + " is an invalid constant\n",
                                               std::string(c.literal) + " exceeds bit range of " +
                                                   name + "\n"));
            continue;
        }
        EXPECT_THAT(answer, testing::StartsWith(name + " set to 0x"));
        EXPECT_THAT(run(("ls " + name).c_str()),
                    testing::EndsWith(std::string(": ") + c.digits + "\n"));
    }
}

}  // namespace
