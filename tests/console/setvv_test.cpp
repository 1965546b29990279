// setvv, as typed; and the two sides of an assignment.
#include "console/words.h"
#include "netdb/live_model.h"
#include "tests/console/console_fixture.h"

namespace {

class SetvvTest : public ConsoleTest {};

TEST_F(SetvvTest, SaysWhatItDidOrWhatIsWrong) {
    const struct {
        const char* line;
        const char* said;
    } steps[] = {
        {"setvv v = 4(9)", "top.v is created as 4'h9\n"},
        {"setvv v += top.cpu.pc[3:0] , top.cpu.up[0:3],8 ( 16#2b# )",
         "top.v is catenated with top.cpu.pc[3:0]\n"
         "top.v is catenated with top.cpu.up[0:3]\n"
         "top.v is catenated with 8'h2b\n"},
        {"setvv top.v+=top.clk", "top.v is catenated with top.clk[0:0]\n"},
        {"ls -v *", "top.v     v   : 13f857\n"},
        {"setvv w=top.cpu.lo*,top.cpu.low [ 4 : 3 ]",
         "top.w is created as top.cpu.low[8:3]\ntop.w is catenated with top.cpu.low[4:3]\n"},
        {"setvv v = 1(0)", "failure: top.v matches the name of another net\n"},
        {"setvv clk = 1(0)", "failure: top.clk matches the name of another net\n"},
        {"setvv", "failure: no name is specified for the PV\n"},
        {"setvv = 1(0)", "failure: no name is specified for the PV\n"},
        {"setvv x* = 1(0)", "failure: no name is specified for the PV\n"},
        {"setvv += 1(0)", "failure: no PV is specified for the operation\n"},
        {"setvv x", "failure:  is an invalid operator\n"},
        {"setvv x + 1(0)", "failure: + is an invalid operator\n"},
        {"setvv x remove it", "failure: remove is an invalid operator\n"},
        {"setvv v delete x y", "failure: x y is redundant for delete\n"},
        {"setvv x delete", "failure: x matches none or more than one nets\n"},
        {"setvv top.clk delete", "failure: top.clk is not a PV\n"},
        {"setvv clk delete", "failure: clk is not a PV\n"},
        {"setvv x += 1(0)", "failure: x matches none or more than one nets\n"},
        {"setvv top.clk += 1(0)", "failure: top.clk is not a PV\n"},
        {"setvv x =", "failure: no data slice is defined\n"},
        {"setvv x = top.clk,", "failure: no data slice is defined\n"},
        {"setvv x = [1:0]", "failure: no data slice is defined\n"},
        {"setvv x = nosuch", "failure: nosuch matches none or more than one nets\n"},
        {"setvv x = nosuch[1:0]", "failure: nosuch matches none or more than one nets\n"},
        {"setvv x = top.clk top.rst",
         "failure: top.clk top.rst matches none or more than one nets\n"},
        {"setvv x = top.v", "failure: top.v itself is a PV\n"},
        {"setvv x = top.v[1:0]", "failure: top.v[1:0] itself is a PV\n"},
        {"setvv x = top.cpu.mem", "failure: top.cpu.mem is an array\n"},
        {"setvv x = top.cpu.lane[1]", "failure: top.cpu.lane[1] is an array\n"},
        {"setvv x = top.cpu.lane[1][3:0]", "failure: top.cpu.lane[1][3:0] is an array\n"},
        {"setvv x = top.cpu.pc[16:3]", "failure: top.cpu.pc[16:3] has an invalid range\n"},
        {"setvv x = top.cpu.up[7:0]", "failure: top.cpu.up[7:0] has an invalid range\n"},
        {"setvv x = top.cpu.pc[:0]", "failure: top.cpu.pc[:0] has an invalid left bound\n"},
        {"setvv x = top.cpu.pc[3 0:0]", "failure: top.cpu.pc[3 0:0] has an invalid left bound\n"},
        {"setvv x = top.cpu.pc[3]", "failure: top.cpu.pc[3:] has an invalid right bound\n"},
        {"setvv x = top.cpu.pc[3:z]", "failure: top.cpu.pc[3:z] has an invalid right bound\n"},
        {"setvv x = top.cpu.pc[3:0", "failure: top.cpu.pc[3:0] has an invalid right bound\n"},
        {"setvv x = top.cpu.pc[9999999999999:0]",
         "failure: top.cpu.pc[2147483647:0] has an invalid range\n"},
        {"setvv x = 4(31)", "failure: 4('h1f) has an invalid range\n"},
        {"setvv x = z(1)", "failure: z(1) has an invalid width\n"},
        {"setvv x = (1)", "failure: (1) has an invalid width\n"},
        {"setvv x = 4(z)", "failure: 4(z) has an invalid pattern\n"},
        {"setvv x = 4(1", "failure: 4(1) has an invalid pattern\n"},
        {"setvv x = 65(1)", "failure: 65(1) has an invalid width, width must be within [1, 64]\n"},
        {"setvv x = 0(0)", "failure: 0(0) has an invalid width, width must be within [1, 64]\n"},
        {"setvv x = 64(0x10000000000000000)",
         "failure: 64(0x10000000000000000) has an invalid width, width must be within [1, 64]\n"},
        {"setvv x = top.clk, 4(9), nosuch", "failure: nosuch matches none or more than one nets\n"},
        {"setvv v += top.clk, nosuch", "failure: nosuch matches none or more than one nets\n"},
        {"ls -vd *", "top.v [20:0]\ntop.w [7:0]\n"},  // what failed left nothing
        {"set top.v = 0x2", "top.v set to 0x2\n"},
        {"ls top.v", "top.v     v   : 120056\n"},
        {"setvv v delete", "top.v is deleted\n"},
        {"setvv top.w delete", "top.w is deleted\n"},
        {"ls -v *", "No matching signals (in 26 names)\n"},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.line);
        EXPECT_EQ(run(step.line), step.said);
    }
}

TEST_F(SetvvTest, AnAssignmentHasTwoWords) {
    const struct {
        const char *text, *left, *right;
    } cases[] = {
        {"top.cpu = /tb/cpu", "top.cpu", "tb.cpu"},
        {"a=b", "a", "b"},
        {" a_$-1  b/c/d e", "a_$-1", "b.c.d"},
        {"a*=b", "a", "b"},
        {"a", "a", ""},
        {"  ", "", ""},
        {"=b", "", "b"},
        {"a/b", "a", "b"},
        {"a = /", "a", ""},
        {"a=b//c/", "a", "b..c."},
        {nullptr, "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text ? c.text : "(null)");
        const Assignment split = splitAssignment(c.text);
        EXPECT_EQ(split.left, c.left);
        EXPECT_EQ(split.right, c.right);
    }
}

}  // namespace
