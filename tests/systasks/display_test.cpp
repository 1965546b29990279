// The display tasks. The golden table's first line says where it comes from.
#include <fstream>
#include <sstream>

#include "tests/support/model_test.h"

namespace {

constexpr int kSigned = 0x40000000;

class DisplayTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        qk_exit = [](int) { ++exits; };
    }
    static std::string taken() { return std::exchange(said, ""); }
    static inline int exits = 0;
};

/// What a task prints: SAYS(display, 2, 0, "%h", 8, 5u)
#define SAYS(task, ...) \
    ((void)(said.clear()), qkzeft_##task(0, "top.u", nullptr, __VA_ARGS__), taken())

struct Row {
    std::string conversion, expected;
    int width = 0;
    bool isSigned = false;
    uint64_t chunks[17] = {};
};

int hexValue(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

Row parseRow(const std::string& line) {
    Row row;
    std::istringstream fields(line);
    std::string hex, text;
    fields >> row.conversion >> row.width >> row.isSigned >> hex;
    std::getline(fields, text);
    for (size_t i = 0; i < hex.size(); ++i)
        row.chunks[i / 16] |= static_cast<uint64_t>(hexValue(hex[hex.size() - 1 - i]))
                              << i % 16 * 4;
    for (size_t i = text.find('"') + 1; i + 1 < text.size(); ++i) {
        if (text[i] != '\\') {
            row.expected += text[i];
        } else if (text[++i] == 'x') {
            row.expected += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
        } else {
            row.expected += text[i] == 'n' ? '\n' : text[i] == 't' ? '\t' : text[i];
        }
    }
    return row;
}

TEST_F(DisplayTest, ValuesLookAsInOtherSimulators) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/display.tsv");
    std::string line;
    int rows = 0;
    for (std::getline(table, line), std::getline(table, line); std::getline(table, line); ++rows) {
        SCOPED_TRACE(line);
        const Row row = parseRow(line);
        const std::string format = "<" + row.conversion + ">";
        std::string expected = "<" + row.expected;
        if (expected.find('\0') != std::string::npos)
            expected.resize(expected.find('\0'));
        else
            expected += ">";
        const int size = row.width + (row.isSigned ? kSigned : 0);
        // By pointers, which is the same for all widths.
        const uint64_t* const p = row.chunks;
        EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), -size, p, p + 1, p + 2, p + 3, p + 4, p + 5,
                       p + 6, p + 7, p + 8, p + 9, p + 10, p + 11, p + 12, p + 13, p + 14, p + 15),
                  expected);
        // By value: the last chunk is an unsigned if it has 32 bits at most.
        const bool isShort = (row.width - 1) % 64 < 32;
        const auto low = static_cast<unsigned>(p[(row.width - 1) / 64]);
        switch ((row.width - 1) / 64 * 2 + isShort) {
            case 0: EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), size, p[0]), expected); break;
            case 1: EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), size, low), expected); break;
            case 2: EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), size, p[0], p[1]), expected); break;
            case 3: EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), size, p[0], low), expected); break;
            case 5:
                EXPECT_EQ(SAYS(write, 2, 0, format.c_str(), size, p[0], p[1], low), expected);
                break;
            default: break;
        }
    }
    EXPECT_GT(rows, 1800);
}

TEST_F(DisplayTest, PairsAndFormatsFollowEachOther) {
    const uint8_t byte = 0xa5;
    const unsigned char reversed[] = "cba";
    const char* const null = nullptr;
    EXPECT_EQ(SAYS(display, 0), "\n");
    EXPECT_EQ(SAYS(display, 1, 8, 5u), "  5\n");
    EXPECT_EQ(SAYS(displayh, 2, 8, 5u, -8, &byte), "05a5\n");
    EXPECT_EQ(SAYS(writeo, 1, 6, 8u), "10");
    EXPECT_EQ(SAYS(writeb, 1, 3, 5u), "101");
    EXPECT_EQ(SAYS(display, 3, 8, 1u, 0, null, 8, 2u), "  1   2\n");
    EXPECT_EQ(SAYS(display, 5, 0, "a=%0d,%%", 8, 5u, 0, " b=%h", 4, 11u, 4, 12u), "a=5,% b=b12\n");
    EXPECT_EQ(SAYS(display, 3, 0, "%S|%C", 0, "text", 16, 0x4142u), "text|B\n");
    EXPECT_EQ(SAYS(write, 2, 0, "%s.", 32, 0x6162u), "  ab.");
    // An array of characters counts from its end; others print nothing, nor do texts as numbers.
    EXPECT_EQ(SAYS(write, 2, 0, "%s.", 0, null, 0, uint64_t{8}, uint64_t{3}, uint64_t{0},
                   uint64_t{2}, reversed),
              "abc.");
    EXPECT_EQ(SAYS(write, 3, 0, "%h,%d.", 0, null, 0, uint64_t{70}, uint64_t{3}, uint64_t{0},
                   uint64_t{2}, reversed, reversed, 4, 9u),
              ", 9.");
    EXPECT_EQ(SAYS(write, 2, 0, "%d.", 0, "text"), ".");
    // A NUL ends the text, but not the line.
    EXPECT_EQ(SAYS(display, 2, 0, "a%cb", 8, 0u), "a\n");
    // What is above the width does not count.
    EXPECT_EQ(SAYS(write, 2, 0, "%h", 4, 0xffu), "f");
    EXPECT_EQ(exits, 0);
}

TEST_F(DisplayTest, DecimalsHaveTheirLimits) {
    std::vector<uint64_t> ones(40, ~uint64_t{0});
    const uint64_t* const p = ones.data();
#define P16(i)                                                                                     \
    p + i, p + i + 1, p + i + 2, p + i + 3, p + i + 4, p + i + 5, p + i + 6, p + i + 7, p + i + 8, \
        p + i + 9, p + i + 10, p + i + 11, p + i + 12, p + i + 13, p + i + 14, p + i + 15
    const std::string limited = SAYS(write, 2, 0, "%0d", -2000, P16(0), P16(16));
    EXPECT_EQ(limited.size(), 308u);  // 2^1024 - 1 has 309 digits
    EXPECT_EQ(limited.substr(0, 8), "?9769313");
    EXPECT_EQ(limited.substr(290), "356329624224137215");
    EXPECT_EQ(SAYS(write, 2, 0, "%d", -2000, P16(0), P16(16)).size(), 603u);
    EXPECT_EQ(SAYS(write, 2, 0, "%0d", -(2000 + kSigned), P16(0), P16(16)), "-1");
    EXPECT_EQ(SAYS(write, 2, 0, "%d", 8 + kSigned, 5u), "   5");
    EXPECT_EQ(SAYS(write, 2, 0, "%d", 64 + kSigned, uint64_t{1} << 63), " -9223372036854775808");
}

TEST_F(DisplayTest, FaultyCallsEndTheRun) {
    struct {
        const char* format;
        const char* message;
    } const cases[] = {
        {"%d",
         "\nError in ZEFT system task/function $display:\nfound %d format specifier with no "
         "arguments remaining\n"},
        {"%0X",
         "\nError in ZEFT system task/function $display:\nfound %X format specifier with no "
         "arguments remaining\n"},
        {"%5d", "\nZEFT display/write unrecognised format character %5 in $display\n"},
        {"%e", "\nZEFT display/write unrecognised format character %e in $display\n"},
        {"100%", "\nZEFT display/write unrecognised format character % in $display\n100\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        exits = 0;
        EXPECT_THAT(SAYS(display, 1, 0, c.format), testing::StartsWith(c.message));
        EXPECT_EQ(exits, 1);
    }
}

TEST_F(DisplayTest, TheTraceIsWrittenWhenAFaultEndsTheRun) {
    static uint8_t n;
    registerNets("u", {net(0, 1, "n", &n, 7, 0)});
    for (const char* file : {"x.vcd", "x.vcd.gz"}) {
        trace("u.n");
        ASSERT_EQ(qk_traceto(file), 1);
        advance();
        n ^= 0x55;
        ++qk_cycle;
        qkzeft_display(0, "u", nullptr, 1, 0, "%d");
        if (std::string(file) == "x.vcd") {
            EXPECT_THAT(readVcd(file), testing::HasSubstr("#2\nb1010101 !\n"));
        }
        EXPECT_GT(readFile(file).size(), 100u);
        qk_traceclose();
        qk_cli("untrace *");
    }
}

TEST_F(DisplayTest, TheLocationIsTheCallers) {
    kelvo_module module("design", "u.v");
    module.qk_get_scope(false);
    const auto location = [](int flags, const void* instance, const char* scope) {
        said.clear();
        qkzeft_write(flags, instance, scope, 1, 0, "%m");
        return taken();
    };
    EXPECT_EQ(location(0, "top.u", nullptr), "top.u");
    EXPECT_EQ(location(0, "top.u", ""), "top.u");
    EXPECT_EQ(location(4, "top.u", "task"), "top.u.task");
    EXPECT_EQ(location(4, "top.u", "block."), "top.u.block");
    EXPECT_EQ(location(1, &module, "task"), "u.v.task");
    EXPECT_EQ(location(0x20, &module, nullptr), "u.v");
    EXPECT_EQ(location(0, nullptr, nullptr), "");
}

TEST_F(DisplayTest, ACallFromADeliveryHasALineOfItsOwn) {
    static int depth = 0;
    qk_prints = [](const char* text) {
        if (depth++ == 0) qkzeft_write(0, "", nullptr, 1, 0, "inner");
        said += text;
    };
    EXPECT_EQ(SAYS(display, 2, 0, "outer %0d", 8, 7u), "innerouter 7\n");
}

// ---- Time

TEST_F(DisplayTest, TimesFollowTheFormat) {
    qk_set_timescale("test", -9, -12);
    struct {
        uint64_t ticks;
        int units, decimals;
        const char* suffix;
        int width;
        const char* expected;
    } const cases[] = {
        {1234567, 1, 0, nullptr, -1, "             1234567"},
        {1234567, -9, 3, " ns", 0, "1234.567 ns"},
        {1234567, -9, 5, "", 12, "  1234.56700"},
        {1234567, -9, 0, "ns", 0, "1235ns"},
        {1234500, -9, 0, nullptr, 0, "1234"},  // a tie goes to the even one
        {1235500, -9, 0, nullptr, 0, "1236"},
        {5, -9, 1, nullptr, 0, "0.0"},
        {50, -9, 1, nullptr, 0, "0.0"},
        {150, -9, 1, nullptr, 0, "0.2"},
        {7, -15, 0, "fs", 8, "  7000fs"},
        {7, -15, 2, "fs", 0, "7000.00fs"},
        {0, -15, 2, "fs", 9, "   0.00fs"},
        {3, 0, 15, "s", 0, "0.000000000003000s"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        qk_cycle = c.ticks;
        if (c.width >= 0) qk_timeformat(c.units, c.decimals, c.suffix, c.width);
        EXPECT_EQ(SAYS(write, 2, 0, "%t", 64, uint64_t{99}), c.expected);
    }
    testing::internal::CaptureStderr();
    qk_timeformat(1, 0, nullptr, 0);
    qk_timeformat(-16, 0, nullptr, 0);
    qk_timeformat(-9, 16, nullptr, 0);
    qk_timeformat(-9, 0, nullptr, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\nZEFT $timeformat: Invalid units number 1 (must be between 0 and -15)\n"
              "\nZEFT $timeformat: Invalid units number -16 (must be between 0 and -15)\n"
              "\nZEFT $timeformat: Invalid precision number 16 (must be between 0 and 15)\n"
              "\nZEFT $timeformat: Invalid minimum field width -1 (must be >= 0)\n");
    qk_cycle = 3;
    EXPECT_EQ(SAYS(write, 2, 0, "%0t.", 0, "text"), ".");
    EXPECT_EQ(SAYS(write, 1, 0, "%t"),
              "\nError in ZEFT system task/function $write:\nfound %t format specifier with no "
              "arguments remaining\n");
}

}  // namespace
