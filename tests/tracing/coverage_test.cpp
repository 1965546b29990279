// Which bits count as covered.
#include "tracing/coverage.h"

#include <array>
#include <bitset>
#include <random>
#include <set>

#include "base/storage.h"
#include "qkzeft_coverage.h"
#include "tests/support/model_test.h"
#include "tracing/hot_loops.h"

namespace {

/// @return "NAME RANGE ROSE FELL" of each covered net
std::vector<std::string> counted() {
    std::vector<std::string> lines;
    for (const auto& net : qkLiveModel->writer.coverage.nets())
        lines.push_back(net.name + " " + net.range + " " + net.rose + " " + net.fell);
    return lines;
}

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

class CoverageOfUnits : public ModelTest, public testing::WithParamInterface<VectorUnit> {};

TEST_P(CoverageOfUnits, CountsAreThoseOfTheDefinition) {
    if (!hotLoopsOf(GetParam())) GTEST_SKIP() << "not on this machine";
    useVectorUnit(GetParam());
    constexpr int count = 300, joined = 200;
    // Those of one bit are soon done, all of a stretch of memory.
    const auto widthOf = [](int i) {
        return i / 80 == 1 ? 1 : std::array{1, 8, 64, 7, 33, 2}[i % 6];
    };
    static uint64_t storage[count];
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.push_back((i < joined ? "n" : "o") + std::to_string(i));
    std::vector<QkGRNet> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(net(0, i + 1, names[i].c_str(), &storage[i], widthOf(i) - 1, 0));
    rows.push_back(net(0, count + 1, "not2", &storage[2], 63, 0, 1, QK_flag_replaced));
    rows.back().replacement = -3;
    rows.push_back(net(0, count + 2, "in8", reinterpret_cast<uint8_t*>(&storage[8]) + 1, 4, 0));
    auto* const module = new kelvo_module("top", "top");
    QkRegistration::start(module, 1, count + 2, false);
    QkRegistration::addNets(module, count + 2, rows.data());
    QkRegistration::addExtracts(module, 0, nullptr);
    QkRegistration::end(module);

    std::mt19937_64 random(11);
    uint64_t rose[count] = {}, fell[count] = {};
    qk_cover("top.*n*");  // not yet those of "o"
    for (int step = 0; step < 150; ++step) {
        if (step == 20) qk_cover("*");
        if (step < 30 && step % 7 == 0) counted();  // lays the words out anew
        for (int i = 0; i < count; ++i) {
            const uint64_t before = storage[i];
            if (random() % 4 == 0) storage[i] ^= random() & random() & bitMask(widthOf(i));
            if (step < 20 && i >= joined) continue;
            rose[i] |= storage[i] & ~before;
            fell[i] |= before & ~storage[i];
        }
        advance();
    }
    std::set<std::string> lines;
    for (const std::string& line : counted()) lines.insert(line);
    const auto expect = [&](const std::string& name, int width, uint64_t up, uint64_t down) {
        const auto digits = [&](uint64_t word) {
            return std::bitset<64>(word).to_string().substr(64 - static_cast<size_t>(width));
        };
        const std::string range = width > 1 ? "[" + std::to_string(width - 1) + ":0]" : "";
        const std::string line =
            "top." + name + " " + range + " " + digits(up) + " " + digits(down);
        EXPECT_EQ(lines.count(line), 1U) << line;
    };
    for (int i = 0; i < count; ++i) expect(names[i], widthOf(i), rose[i], fell[i]);
    expect("not2", 64, fell[2], rose[2]);
    expect("in8", 5, rose[8] >> 8 & 31, fell[8] >> 8 & 31);
}

INSTANTIATE_TEST_SUITE_P(Units, CoverageOfUnits,
                         testing::Values(kPlainUnit, kAvx2Unit, kAvx512Unit));

}  // namespace
