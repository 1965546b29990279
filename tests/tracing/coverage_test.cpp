// Which bits count as covered.
#include "tracing/coverage.h"

#include "qkzeft_coverage.h"
#include "tests/support/model_test.h"

namespace {

class CoverageTest : public ModelTest {
protected:
    static inline uint8_t reg, plain, output;
    static inline uint8_t* outputPort = &output;
    static inline uint64_t wide[2];

    void SetUp() override {
        ModelTest::SetUp();
        registerNets("top", {net(0, 1, "reg", &reg, 7, 0, 1, QK_flag_register),
                             net(0, 2, "plain", &plain, 7, 0),
                             net(0, 3, "output", &outputPort, 0, 3, QK_type_output),
                             net(0, 4, "wide", &wide[0], 63, 0, 1 | QK_parts),
                             net(0, 5, "wide", &wide[1], 65, 64, 1 | QK_parts)});
    }
    /// @return "NAME RANGE ROSE FELL" of each covered net
    static std::vector<std::string> counted() {
        std::vector<std::string> lines;
        for (const auto& net : qkLiveModel->writer.coverage.nets())
            lines.push_back(net.name + " " + net.range + " " + net.rose + " " + net.fell);
        return lines;
    }
};

TEST_F(CoverageTest, BitsRiseAndFallBetweenCaptures) {
    reg = 0x81;
    EXPECT_EQ(qk_cover(nullptr), 2);
    advance();
    reg = 0x03;
    output = 5;
    plain = 0xff;
    advance();
    reg = 0xf0;  // seen by no capture
    reg = 0x02;
    advance();
    EXPECT_THAT(counted(), testing::ElementsAre("top.output [0:3] 0101 0000",
                                                "top.reg [7:0] 00000010 10000001"));
    qk_cover_stop();
    reg = 0xff;
    advance();
    EXPECT_EQ(qk_cover("top.pl*"), 1);
    advance();
    reg = 0xfe;
    plain = 0;
    advance();
    EXPECT_THAT(counted(), testing::ElementsAre("top.output [0:3] 0101 0000",
                                                "top.plain [7:0] 00000000 11111111",
                                                "top.reg [7:0] 00000010 10000001"));
}

TEST_F(CoverageTest, WideNetsAndNamesThatGo) {
    EXPECT_EQ(qk_cover("top.wide"), 1);
    wide[0] = uint64_t{1} << 63;
    wide[1] = 2;
    advance();
    wide[1] = 0;
    advance();
    const std::string zeros(63, '0');
    EXPECT_THAT(counted(), testing::ElementsAre("top.wide [65:0] 101" + zeros + " 100" + zeros));
}

}  // namespace
