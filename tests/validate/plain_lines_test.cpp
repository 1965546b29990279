// Value lines take a short way through the reader. The long way, by tokens, is that of a reader who
// tells each step: both must leave the model alike after each step.
#include <fstream>
#include <random>
#include <sstream>

#include "qkzeft_validate.h"
#include "tests/support/model_test.h"

namespace {

constexpr int kWidths[] = {1, 1, 3, 8, 13, 16, 32, 33, 64, 64, 40, 128};
constexpr size_t kNets = std::size(kWidths);
uint64_t storage[kNets][2];
std::string names[kNets];
std::ostringstream states;  // of the model after each step

/// What a variable of the trace stands for.
struct Variable {
    const char* code;
    size_t net;
    int width, low;
};
const Variable kVariables[] = {
    {"!", 0, 1, 0},   {"!", 1, 1, 0},                      // one code for two nets
    {"\"", 2, 3, 0},  {"#", 3, 8, 0},   {"$", 3, 8, 0},    // two codes for one net
    {"a", 4, 13, 0},  {"ab", 5, 8, 0},  {"abc", 5, 8, 8},  // a net in pieces
    {"}~", 6, 32, 0}, {"~", 7, 33, 0},  {"xy", 8, 64, 0}, {"&&&&&", 9, 64, 0},  // a long code
    {"(", 10, 40, 0}, {")", 11, 128, 0}};

std::string randomDigits(std::mt19937& random, int width) {
    const char* const from[] = {"01", "01", "01", "01xzXZ"};
    const std::string_view digits = from[random() % 4];
    std::string value(1 + random() % static_cast<unsigned>(width), '0');
    for (char& digit : value) digit = digits[random() % digits.size()];
    return value;
}

std::string lineOf(std::mt19937& random, const Variable& variable) {
    const std::string value = randomDigits(random, variable.width);
    const bool isScalar = value.size() == 1 && random() % 2 == 0;
    return isScalar ? value + variable.code + "\n" : "b" + value + " " + variable.code + "\n";
}

void writeTrace(unsigned seed) {
    std::mt19937 random(seed);
    std::ofstream out("ref.vcd");
    out << "$timescale 1 ns $end $scope module top $end\n";
    for (const Variable& v : kVariables) {
        out << "$var wire " << v.width << " " << v.code << " " << names[v.net];
        if (v.width > 1) out << " [" << v.low + v.width - 1 << ":" << v.low << "]";
        out << " $end\n";
    }
    const auto dump = [&](const char* keyword) {
        out << keyword << "\n";
        for (const Variable& v : kVariables) out << lineOf(random, v);
        out << "$end\n";
    };
    out << "$upscope $end $enddefinitions $end\n#0\n";
    dump("$dumpvars");
    for (int time = 1; time < 300; ++time) {
        out << "#" << time << "\n";
        for (auto left = random() % 40; left > 0; --left)
            out << lineOf(random, kVariables[random() % std::size(kVariables)]);
        if (time % 100 == 50) dump("$dumpon");
    }
}

class PlainLinesTest : public ModelTest, public testing::WithParamInterface<unsigned> {};

TEST_P(PlainLinesTest, SayWhatTokensSay) {
    qk_strict = GetParam() % 2 == 0;
    std::vector<QkGRNet> rows;
    for (size_t i = 0; i < kNets; ++i) {
        names[i] = "n" + std::to_string(i);
        for (int low = 0; low < kWidths[i]; low += 64)
            rows.push_back(net(0, static_cast<int>(rows.size()) + 1, names[i].c_str(),
                               &storage[i][low / 64], std::min(kWidths[i], low + 64) - 1, low,
                               kWidths[i] > 64 ? 1 | QK_parts : 1, QK_flag_register));
    }
    registerNets("top", rows);
    writeTrace(GetParam());
    qk_mtc_step_on_clock(0);
    for (const std::string& name : names)
        qk_mtc_stimulus(("top." + name).c_str(), ("top." + name).c_str());
    qk_step_fn = [] {
        states << qk_cycle;
        for (const auto& words : storage) states << " " << words[0] << "," << words[1];
        states << "\n";
    };
    std::string told[2];
    for (const bool byTokens : {false, true}) {
        for (auto& words : storage) words[0] = words[1] = 0;
        states.str("");
        qkLiveModel->reader.verbosestep = byTokens;
        said.clear();
        EXPECT_EQ(qk_mtc("ref.vcd"), 1) << said;
        told[byTokens] = states.str() + said.substr(said.find("End of Trace"));
    }
    EXPECT_EQ(told[0], told[1]);
    EXPECT_GT(told[0].size(), 20000u);
}

INSTANTIATE_TEST_SUITE_P(Of, PlainLinesTest, testing::Range(1u, 6u));

}  // namespace
