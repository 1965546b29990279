// Random numbers. The golden table's first line says where it comes from.
#include "qkzeft_random.h"

#include <fstream>
#include <map>
#include <sstream>

#include "systasks/distributions.h"
#include "tests/support/model_test.h"

namespace {

using RandomTest = ModelTest;
using Function = int (*)(int, const void*, const char*, int, ...);

const std::map<std::string, Function> kFunctions = {
    {"random", qkzeft_random},
    {"uniform", qkzeft_uniform},
    {"normal", qkzeft_normal},
    {"exponential", qkzeft_exponential},
    {"poisson", qkzeft_poisson},
    {"chi_square", qkzeft_chi_square},
    {"t", qkzeft_t},
    {"erlang", qkzeft_erlang},
};

constexpr int kIsSigned = 0x40000000;

std::vector<int64_t> numbers(const std::string& text) {
    std::vector<int64_t> result;
    std::istringstream fields(text);
    for (std::string field; std::getline(fields, field, ',');) result.push_back(std::stoll(field));
    return result;
}

TEST_F(RandomTest, DrawsWhatOtherSimulatorsDraw) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/dist.tsv");
    std::string line;
    std::getline(table, line);  // where it comes from
    std::getline(table, line);  // column names
    int rows = 0;
    for (; std::getline(table, line); ++rows) {
        SCOPED_TRACE(line.substr(0, 60));
        std::istringstream fields(line);
        std::string task, first, second, results, seeds;
        int32_t seed;
        size_t warnings;
        fields >> task >> seed >> first >> second >> warnings >> results >> seeds;
        const Function function = kFunctions.at(task);
        const int pairs = 1 + (first != "-") + (second != "-");
        const int p1 = first == "-" ? 0 : std::stoi(first);
        const int p2 = second == "-" ? 0 : std::stoi(second);
        std::vector<int64_t> drawn, after;
        said.clear();
        for (int i = 0; i < 20; ++i) {
            drawn.push_back(function(0, nullptr, nullptr, pairs, -32, &seed, 32, p1, 32, p2));
            after.push_back(seed);
        }
        EXPECT_EQ(drawn, numbers(results));
        EXPECT_EQ(after, numbers(seeds));
        EXPECT_EQ(static_cast<size_t>(std::count(said.begin(), said.end(), '\n')), warnings);
    }
    EXPECT_EQ(rows, 570);
}

TEST_F(RandomTest, ReadsArgumentsOfAnyForm) {
    const struct {
        const char* what;
        int (*draw)(uint32_t* seed);
    } cases[] = {
        {"32 bits, signed seed",
         [](uint32_t* s) {
             return qkzeft_uniform(0, "top", nullptr, 3, -32 - kIsSigned, s, 32 + kIsSigned, -20,
                                   32, 5);
         }},
        {"64 bits and 100 bits",
         [](uint32_t* s) {
             return qkzeft_uniform(0, "top", "f", 3, -32, s, 64, uint64_t{0xffffffec}, 100,
                                   uint64_t{5}, uint64_t{1});
         }},
        {"65 bits, and a pointer to 8 bits",
         [](uint32_t* s) {
             const uint8_t five = 5;
             return qkzeft_uniform(0, "top", "f", 3, -32, s, 65 + kIsSigned, ~uint64_t{19}, 1u, -3,
                                   &five);
         }},
        {"pointers to 70 bits and to 33",
         [](uint32_t* s) {
             const uint64_t chunk = 0xffffffec, five = 5;
             const uint8_t top = 9;
             return qkzeft_uniform(0, "top", "f", 3, -32, s, -70, &chunk, &top, -33, &five);
         }},
        {"bits above a narrow value",
         [](uint32_t* s) { return qkzeft_uniform(0, "top", "f", 3, -32, s, 32, -20, 3, 0xfdu); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        uint32_t seed = 77, same = 77;
        EXPECT_EQ(c.draw(&seed), drawUniform(same, -20, 5));
        EXPECT_EQ(seed, same);
    }
    // Texts and arrays count as 0, and so does what is not given.
    uint32_t seed = 77, same = 77;
    EXPECT_EQ(qkzeft_normal(0, "top", "f", 3, -32, &seed, 0, "text", 32, 9),
              drawNormal(same, 0, 9));
    EXPECT_EQ(
        qkzeft_normal(0, "top", "f", 3, -32, &seed, 0, static_cast<const char*>(nullptr), 0,
                      uint64_t{65}, uint64_t{4}, uint64_t{0}, uint64_t{0}, &same, &same, 32, 9),
        drawNormal(same, 0, 9));
    EXPECT_EQ(qkzeft_uniform(0, "top", "f", 2, -32, &seed, 32, -9), drawUniform(same, -9, 0));
    EXPECT_EQ(seed, same);
}

TEST_F(RandomTest, StaysDefinedAtTheEdges) {
    auto seed = static_cast<uint32_t>(-1798353157);
    EXPECT_EQ(drawRandom(seed), 2112121339) << "a unit of 1 or more is drawn anew";
    EXPECT_EQ(static_cast<int32_t>(seed), -35363327);
    uint32_t fromZero = 0;
    EXPECT_EQ(qkzeft_random(0, nullptr, nullptr, 0), drawRandom(fromZero)) << "a seed of its own";
    for (seed = 1; seed < 200; ++seed) {
        uint32_t own = seed;
        drawErlang(own, 2000, 0);  // the product runs out to 0
        drawErlang(own, 2000, -5);
        drawExponential(own, INT32_MAX);
        drawNormal(own, INT32_MIN, INT32_MIN);
        EXPECT_GE(drawPoisson(own, INT32_MAX), 500);
    }
}

TEST_F(RandomTest, WarnsOfParametersThatCannotBe) {
    uint32_t seed = 5;
    EXPECT_EQ(qkzeft_chi_square(0, "", "", 2, -32, &seed, 32, 0), 0);
    EXPECT_EQ(qkzeft_erlang(0, "", "", 3, -32, &seed, 32, -1, 32, 5), 0);
    EXPECT_EQ(qkzeft_exponential(0, "", "", 2, -32, &seed, 32, 0), 0);
    EXPECT_EQ(qkzeft_poisson(0, "", "", 2, -32, &seed, 32, 0), 0);
    EXPECT_EQ(qkzeft_t(0, "", "", 2, -32, &seed, 32, -5), 0);
    EXPECT_EQ(seed, 5u);
    EXPECT_EQ(said,
              "WARNING: Chi_square distribution must have positive degree of freedom\n"
              "WARNING: k-stage erlangian distribution must have positive k\n"
              "WARNING: Exponential distribution must have a positive mean\n"
              "WARNING: Poisson distribution must have a positive mean\n"
              "WARNING: t distribution must have positive degree of freedom\n");
}

TEST_F(RandomTest, EndsTheRunOnASeedThatIsNone) {
    static std::vector<int> statuses;
    qk_exit = [](int status) { statuses.push_back(status); };
    uint16_t narrow = 1;
    EXPECT_EQ(qkzeft_random(0, nullptr, nullptr, 1, -16, &narrow), 0);
    EXPECT_EQ(qkzeft_t(0, nullptr, nullptr, 2, 32, 1, 32, 1), 0);
    EXPECT_EQ(qkzeft_erlang(0, nullptr, nullptr, 0), 0);
    EXPECT_THAT(statuses, testing::ElementsAre(1, 1, 1));
    EXPECT_EQ(said,
              "\nqkzeft_random seed is not a 32 bit inout\n"
              "\nqkzeft_t seed is not a 32 bit inout\n"
              "\nqkzeft_erlang seed is not a 32 bit inout\n");
}

}  // namespace
