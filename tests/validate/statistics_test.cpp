// What a program can ask of a comparison.
#include "tests/validate/validate_fixture.h"

namespace {

class StatisticsTest : public ValidateTest {
protected:
    static qk_mtc_stats stats() {
        qk_mtc_stats numbers;
        qk_mtc_statistics(&numbers);
        return numbers;
    }
    static std::string proposal(int index) {
        const char *modelScope = "", *traceScope = "";
        if (!qk_mtc_proposal(index, &modelScope, &traceScope)) return "none";
        return std::string(modelScope) + "=" + traceScope;
    }
};

constexpr const char* kTwoSteps = "#0\n$dumpvars\n0c\n1e\n0d\nb0 n\n$end\n#5\n1c\nb1 n\n#9\n0c\n";

TEST_F(StatisticsTest, AreZeroBeforeAndStandAfterAComparison) {
    qk_mtc_stats before;
    EXPECT_EQ(qk_mtc_statistics(&before), 0);
    EXPECT_EQ(before.signals + before.comparable + before.complete, 0);
    EXPECT_EQ(proposal(0), "none");

    writeTrace(kTwoSteps);
    static qk_mtc_stats during;
    duringStep = [] {
        if (qk_cycle == 5) during = stats();
    };
    EXPECT_NE(qk_mtc("ref.vcd"), 0);
    EXPECT_EQ(during.complete, 0);
    EXPECT_EQ(during.time, 5u);
    EXPECT_GT(during.bytes_read, 200u);
    EXPECT_LT(during.bytes_read, during.file_bytes);
    const qk_mtc_stats after = stats();
    EXPECT_EQ(after.bytes_read, after.file_bytes);
    EXPECT_EQ(after.time, 9u);
    const int counts[] = {after.signals, after.linked,      after.comparable, after.compared,
                          after.driven,  after.differences, after.complete,   after.damaged};
    EXPECT_THAT(counts, testing::ElementsAre(4, 4, 2, 2, 2, 0, 1, 0));

    writeFile("none.vcd", "$enddefinitions");
    EXPECT_EQ(qk_mtc("none.vcd"), 0);
    EXPECT_EQ(qk_mtc_statistics(&before), 0);
    EXPECT_EQ(before.signals + before.complete, 0);
}

TEST_F(StatisticsTest, ProposalsAreBestFirstAndOnlyForScopesThatAreNotDriven) {
    constexpr const char* ports = "$var wire 1 c clk $end\n$var wire 1 e en $end\n";
    writeFile("ref.vcd", std::string("$scope module tb $end\n") + ports +
                             "$scope module dut $end\n" + ports +
                             "$var wire 4 n count [3:0] $end\n$upscope $end\n"
                             "$scope module half $end\n$var wire 1 c clk $end\n$upscope $end\n"
                             "$scope module wide $end\n$var wire 2 w clk [1:0] $end\n"
                             "$upscope $end\n$upscope $end\n$enddefinitions $end\n" +
                             kTwoSteps);
    EXPECT_EQ(qk_mtc("ref.vcd"), 0);
    EXPECT_EQ(proposal(0), "top=tb.dut");
    EXPECT_EQ(proposal(1), "top=tb");
    EXPECT_EQ(proposal(2), "none");
    EXPECT_EQ(proposal(-1), "none");
    qk_mtc_map("top", "tb.dut");
    qk_mtc("ref.vcd");
    EXPECT_EQ(proposal(0), "none");
}

}  // namespace
