#include <zlib.h>

#include "tests/support/model_test.h"

namespace {

class VcdFileTest : public ModelTest {};

std::string gunzip(const std::string& path) {
    gzFile file = gzopen(path.c_str(), "rb");
    std::string text(10 << 20, '\0');
    text.resize(static_cast<size_t>(gzread(file, text.data(), static_cast<unsigned>(text.size()))));
    gzclose(file);
    return text;
}

TEST_F(VcdFileTest, EveryKindOfNetIsDeclaredAndWritten) {
    static uint8_t clk, bit3 = 1, up = 0x81, inverted = 5, untraced = 1, deep = 1;
    static uint16_t bus = 0x00a0;
    static uint64_t low = 0, high = 0, six[3];
    static uint8_t top65;
    registerNets("top",
                 {net(0, 1, "clk", &clk, 0, 0, 1, QK_flag_clock), net(0, 2, "bit3", &bit3, 3, 3),
                  net(1, 3, "up", &up, 0, 7), net(1, 4, "a_long_name", &bus, 15, 4),
                  net(0, 5, "inv", &inverted, 2, 0, 1 | QK_invert),
                  net(2, 6, "untraced", &untraced, 0, 0), net(0, 7, "wide", &low, 63, 0, 0x201),
                  net(0, 8, "wide", &high, 127, 64, 0x201), net(0, 9, "w65", &six[0], 63, 0, 0x201),
                  net(0, 10, "w65", &top65, 64, 64, 0x201), net(4, 11, "deep", &deep, 3, 0)},
                 {QkGRScope{0, 1, "u", 0}, QkGRScope{0, 2, "none", 0}, QkGRScope{1, 3, "empty", 0},
                  QkGRScope{3, 4, "v", 0}});
    trace("top.clk");
    trace("top.b*");
    trace("top.u.*");
    trace("top.w*");
    trace("top.inv");
    ASSERT_EQ(qk_traceto(" \t x.vcd"), 1);
    clk = 1, up = 0, high = 1, six[0] = 0x8000000000000000;
    advance(5);
    low = 0xf, high = 0, top65 = 1, bus = 0, bit3 = 0xfe, inverted = 0xfd;
    advance(5);
    advance(5);
    ASSERT_EQ(qk_traceclose(), 1);
    EXPECT_EQ(said, "VCD written to file: x.vcd\n");

    const std::string text = readFile("x.vcd");
    EXPECT_THAT(text, testing::MatchesRegex(
                          "\\$version\n    Halbrix VCD graphics V3.0\n    "
                          "VERSION__BUILT_FOR_ZEFT_3_1_6__LIBVER_8__CODEREQ_0x020300__unknown\n"
                          "\\$end\n\\$date\n    [A-Z][a-z]+ [0-9][0-9], [0-9]+ "
                          "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [A-Z]+\n\\$end\n(.|\n)*"));
    EXPECT_EQ(readVcd("x.vcd"),
              "$timescale\n    1 ns\n$end\n"
              "\n$scope module top $end\n"
              "$var wire 1   !   bit3   [3] $end\n"
              "$var wire 1   \"   clk    $end\n"
              "$var wire 3   #   inv    [2:0] $end\n"
              "$var wire 65  $   w65    [64:0] $end\n"
              "$var wire 128 %   wide   [127:0] $end\n"
              "\n$scope module u $end\n"
              "$var wire 12  &   a_long_name [15:4] $end\n"
              "$var wire 8   '   up     [0:7] $end\n"
              "\n$scope module empty $end\n"
              "\n$scope module v $end\n"
              "$var wire 4   (   deep   [3:0] $end\n"
              "$upscope $end\n\n$upscope $end\n\n$upscope $end\n\n$upscope $end\n\n"
              "$enddefinitions $end\n"
              // The order is that of tracing here, and newest first, clocks last, below.
              "#0\n$dumpvars\n0\"\n1!\nb10100000 &\nb10000001 '\nb1 (\nb0 $\nb0 %\nb101 #\n$end\n"
              "#5\nb1" +
                  std::string(64, '0') + " %\nb1" + std::string(63, '0') +
                  " $\nb0 '\n1\"\n"
                  "#10\nb101 #\nb1111 %\nb11" +
                  std::string(63, '0') +
                  " $\nb0 &\n0!\n"
                  "#15\n");
}

TEST_F(VcdFileTest, GzipHoldsTheSameText) {
    static uint32_t words[40];
    std::vector<QkGRNet> rows;
    std::vector<std::string> names;
    for (int i = 0; i < 40; ++i) names.push_back("n" + std::to_string(i));
    for (int i = 0; i < 40; ++i)
        rows.push_back(net(0, i + 1, names[static_cast<size_t>(i)].c_str(), &words[i], 31, 0));
    registerNets("top", rows);
    trace("*");
    const auto run = [](const char* file) {
        qk_cycle = 0;
        for (uint32_t& word : words) word = 0;
        qkLiveModel->writer.captureEntry();
        ASSERT_EQ(qk_save("start.vcd"), 1);
        ASSERT_EQ(qk_traceto(file), 1);
        for (int step = 0; step < 2000; ++step) {
            for (uint32_t& word : words) word = word * 1664525 + 1013904223;
            advance();
        }
        ASSERT_EQ(qk_traceclose(), 1);
    };
    run("x.vcd");
    run("y.vcd.gz");
    EXPECT_THAT(said, testing::EndsWith("VCD written to gzipped file: y.vcd.gz\n"));
    const std::string text = gunzip("y.vcd.gz");
    EXPECT_GT(text.size(), 2000000u);  // many times the buffer
    EXPECT_EQ(text.substr(text.find("$timescale")), readVcd("x.vcd"));
}

TEST_F(VcdFileTest, AFileWithoutChangesEndsWithItsInitialValues) {
    static uint8_t byte = 1;
    registerNets("top", {net(0, 1, "n", &byte, 0, 0)});
    ASSERT_EQ(qk_save("empty.vcd"), 1);
    EXPECT_THAT(readVcd("empty.vcd"),
                testing::EndsWith("$end\n$enddefinitions $end\n#0\n$dumpvars\n$end\n"));
    trace("*");
    ASSERT_EQ(qk_save("one.vcd"), 1);
    EXPECT_THAT(readVcd("one.vcd"), testing::EndsWith("#0\n$dumpvars\n1!\n$end\n"));
}

TEST_F(VcdFileTest, WhatIsNoLongerTracedIsNotWritten) {
    static uint8_t a, b;
    registerNets("top", {net(0, 1, "a", &a, 7, 0), net(0, 2, "b", &b, 7, 0)});
    trace("*");
    ASSERT_EQ(qk_save("first.vcd"), 1);  // both have codes now
    a = b = 1;
    advance();
    qkLiveModel->writer.stopTracing(name("top.a"));
    ASSERT_EQ(qk_save("x.vcd"), 1);
    EXPECT_THAT(readVcd("x.vcd"), testing::EndsWith("$var wire 8   \"   b      [7:0] $end\n"
                                                    "$upscope $end\n\n$enddefinitions $end\n"
                                                    "#1\n$dumpvars\n$end\nb1 \"\n"));
}

}  // namespace
