// What the table of other simulators' results cannot hold: forms of arguments, handles, faults.
#include <filesystem>

#include "tests/textio/textio_fixture.h"

namespace {

constexpr int kSigned = 0x40000000;

TEST_F(TextioTest, ValuesTravelInEveryForm) {
    uint64_t line = 0;
    const uint8_t byte = 0x85;
    const uint16_t half = 0x8001;
    const uint64_t low = 0x8000000000000001, high = 0xabc;
    const uint8_t narrowHigh = 0x21;
    // Unsigned unless marked or of 32 bits; bits above a width do not count.
    VHDL(write_integer, 2, CELL(line), 8, 0x185u);
    VHDL(write_integer, 4, CELL(line), 8 + kSigned, 0x85u, 1, 0u, 8, 5u);
    VHDL(write_integer, 4, CELL(line), -8 - kSigned, &byte, 1, 1u, 3 + kSigned, 7u);
    VHDL(write_integer, 2, CELL(line), -16, &half);
    VHDL(write_integer, 2, CELL(line), 32, 0x80000000u);
    VHDL(write_integer, 4, CELL(line), 1 + kSigned, 1u, 1, 0u, 6, 3u);
    EXPECT_EQ(textOf(line), "133 -123-12332769-2147483648 -1");
    VHDL(deallocate, 1, CELL(line));
    VHDL(hwrite, 2, CELL(line), 12, 0xfabcu);
    VHDL(hwrite, 2, CELL(line), 33, low);
    VHDL(hwrite, 2, CELL(line), 70, low, 0xffu);
    VHDL(hwrite, 2, CELL(line), -70, &low, &narrowHigh);
    VHDL(hwrite, 2, CELL(line), 128, low, high);
    VHDL(owrite, 2, CELL(line), -65, &low, &narrowHigh);
    EXPECT_EQ(textOf(line),
              "ABC0000000013F8000000000000001218000000000000001"
              "0000000000000ABC80000000000000013000000000000000000001");
    VHDL(deallocate, 1, CELL(line));
    // Strings, the leftmost character highest or last; a text ends at its NUL.
    char array[] = {'c', '\0', 'a'};
    const uint64_t word = 0x4142434445464748;
    VHDL(write_string, 2, CELL(line), 24, 0x610062u);
    VHDL(write_string, 2, CELL(line), -72, &word, &byte);
    VHDL(write_string, 2, CELL(line), 0, static_cast<const char*>(nullptr), 0, uint64_t{8},
         uint64_t{3}, uint64_t{0}, uint64_t{2}, array);
    VHDL(write_string, 3, CELL(line), TEXT("text"), 1, 0u);
    EXPECT_EQ(textOf(line), std::string("a\0b\x85"
                                        "ABCDEFGHa\0ctext",
                                        19));
    EXPECT_EQ(fault(), "");
}

TEST_F(TextioTest, ResultsStayWithinTheirPlaces) {
    uint64_t line =
        makeLine("xyzzyplugh12 abcd1 A5FF 77 TRUE9 1_2_3_4_5_6_7_8_9_a_b_c_d_e_f_0_1_2");
    uint64_t chunks[3] = {~uint64_t{0}, ~uint64_t{0}, ~uint64_t{0}};
    uint16_t half[2] = {0xffff, 0xffff};
    VHDL(read_string, 2, CELL(line), -80, chunks, half);
    EXPECT_EQ(chunks[0], 0x7a7a79706c756768u);
    EXPECT_EQ(half[0], 0x7879u);
    EXPECT_EQ(half[1], 0xffffu);
    VHDL(sread, 3, CELL(line), -80, chunks, half, -3, &half[1]);
    EXPECT_EQ(chunks[0], 0x7a7a79706c756768u);
    EXPECT_EQ(half[0], 0x3132u);
    EXPECT_EQ(half[1], 0xff02u);  // a result of 3 bits is a byte
    uint32_t words[2] = {0xffffffff, 0xffffffff};
    VHDL(sread, 3, CELL(line), -32, &words[0], -17, &words[1]);
    EXPECT_EQ(words[0], 0x61626364u);
    EXPECT_EQ(words[1], 4u);
    VHDL(read_bit, 2, CELL(line), -9, half);
    EXPECT_EQ(half[0], 1u);
    VHDL(hread, 2, CELL(line), -16 - kSigned, half);
    EXPECT_EQ(half[0], 0xa5ffu);
    words[0] = 9;
    VHDL(oread, 2, CELL(line), -6, words);
    EXPECT_EQ(words[0], 0x3fu);
    VHDL(read_boolean, 2, CELL(line), -32, words);
    EXPECT_EQ(words[0], 1u);
    VHDL(read_character, 2, CELL(line), -16, half);
    EXPECT_EQ(half[0], '9');
    uint8_t top = 0xff;
    VHDL(hread, 2, CELL(line), -70, chunks, &top);
    EXPECT_EQ(chunks[0], 0x3456789abcdef012u);
    EXPECT_EQ(top, 0x12u);
    EXPECT_EQ(textOf(line), "");
    EXPECT_EQ(fault(), "");
}

TEST_F(TextioTest, CellsShareLines) {
    uint64_t first = makeLine("abc"), second = first;
    char c = 0;
    VHDL(read_character, 2, CELL(first), -8, &c);
    EXPECT_EQ(textOf(second), "bc");
    VHDL(new_line, 2, CELL(first), TEXT("new"));
    EXPECT_EQ(textOf(second), "bc");
    VHDL(deallocate, 1, CELL(first));
    VHDL(deallocate, 1, CELL(first));
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(textOf(second), "bc");
    first = second;
    VHDL(deallocate, 1, CELL(second));
    EXPECT_EQ(VHDL(line_length, 1, CELL(first)), 0);
    EXPECT_EQ(fault(), "\nError in ZEFT system task/function length:\nIllegal line handle of 1\n");
    EXPECT_EQ(makeLine("x"), 1u);
}

TEST_F(TextioTest, LongLinesAreReadPieceByPiece) {
    std::string text;
    for (int i = 0; i < 500'000; ++i) text += "0 1\t110 ";
    writeFile("long.txt", text + "\r\n" + text);
    uint64_t file = openFile("long.txt", kReadMode), line = 0;
    VHDL(readline, 2, CELL(file), CELL(line));
    EXPECT_EQ(VHDL(line_length, 1, CELL(line)), 4'000'000);
    int ones = 0;
    uint8_t bit = 0, good = 0;
    for (int i = 0; i < 2'500'000; ++i, ones += bit) VHDL(read_bit, 2, CELL(line), -1, &bit);
    EXPECT_EQ(ones, 1'500'000);
    VHDL(read_bit, 3, CELL(line), -1, &bit, -1, &good);
    EXPECT_EQ(good, 0);
    // Numbers are taken from the front and added at the end, so the rest has to be moved.
    VHDL(write_integer, 2, CELL(line), 32, -1);
    for (int i = -1, read = 0; i > -1'500'000; --i) {
        VHDL(write_integer, 2, CELL(line), 32, i - 1);
        VHDL(read_integer, 2, CELL(line), -32, &read);
        ASSERT_EQ(read, i);
    }
    VHDL(readline, 2, CELL(file), CELL(line));
    EXPECT_EQ(VHDL(line_length, 1, CELL(line)), 4'000'000);
    EXPECT_EQ(VHDL(endfile, 1, CELL(file)), 1);
    VHDL(write_bit, 4, CELL(line), 1, 1u, 1, 0u, 32, 5'000'000u);
    EXPECT_EQ(VHDL(line_char, 2, CELL(line), 32, 9'000'000u), '1');
    EXPECT_EXIT(VHDL(write_bit, 4, CELL(line), 1, 1u, 1, 0u, 32, INT32_MAX),
                testing::ExitedWithCode(1), "^realloc failed for qksysvhdl:text\n$");
}

TEST_F(TextioTest, CallsThatMakeNoSenseEndTheRun) {
    qk_exit = [](int status) { said += "exit " + std::to_string(status) + "\n"; };
    uint64_t line = makeLine("12"), none = 0, bad = 99, other = 0;
    uint8_t small = 0;
    writeFile("in.txt", "x\n");
    uint64_t file = openFile("in.txt", kReadMode), output = openFile("out.txt", kWriteMode);
    VHDL(deallocate, 2, CELL(line), 1, 0u);
    VHDL(endfile, 0);
    VHDL(read_bit, 1, CELL(line));
    VHDL(write_time, 6, CELL(line));
    VHDL(assert, 0);
    VHDL(read_bit, 2, 8, 1u, -1, &small);
    VHDL(read_bit, 2, CELL(line), 1, 1u);
    VHDL(read_bit, 3, CELL(line), -1, &small, -33, &small);
    VHDL(read_character, 2, CELL(line), -7, &small);
    VHDL(read_integer, 2, CELL(line), -31, &small);
    VHDL(read_time, 2, CELL(line), -32, &small);
    VHDL(hread, 2, CELL(line), 8, 1u);
    VHDL(oread, 2, CELL(line), TEXT("x"));
    VHDL(read_string, 2, CELL(line), -12, &small);
    VHDL(sread, 3, CELL(line), TEXT("x"), -8, &small);
    VHDL(write_string, 2, CELL(line), 12, 1u);
    VHDL(write_integer, 2, CELL(line), 33, uint64_t{1});
    VHDL(write_time, 2, CELL(line), 32, 1u);
    VHDL(write_bit, 3, CELL(line), 1, 1u, 2, 2u);
    VHDL(write_time, 5, CELL(line), 64, uint64_t{1}, 1, 0u, 1, 0u, 4, 8u);
    VHDL(report, 2, 32, -1, TEXT("x"));
    VHDL(file_open, 3, CELL(none), TEXT("f"), 2, 3u);
    VHDL(new_line, 2, CELL(bad), TEXT(""));
    VHDL(endfile, 1, 8, 77u);
    VHDL(file_close, 1, CELL(bad));
    EXPECT_EQ(VHDL(endfile, 1, CELL(none)), 1);
    VHDL(readline, 2, CELL(none), CELL(line));
    VHDL(writeline, 2, CELL(none), CELL(line));
    VHDL(readline, 2, CELL(output), CELL(line));
    VHDL(writeline, 2, CELL(file), CELL(line));
    VHDL(flush, 1, CELL(file));
    VHDL(tee, 2, CELL(file), CELL(line));
    VHDL(file_open, 2, CELL(none), TEXT("none"));
    VHDL(file_open, 2, CELL(none), TEXT("STD_OUTPUT"));
    VHDL(file_open, 2, CELL(file), TEXT("in.txt"));
    VHDL(line_char, 2, CELL(line), 2, 3u);
    VHDL(line_char, 2, CELL(none), 32, -1);
    VHDL(readline, 2, CELL(file), CELL(other));
    VHDL(readline, 2, CELL(file), CELL(other));
    EXPECT_EQ(said, readFile(ZEFT_GOLDEN_DIR "/faults/textio.txt"));
    EXPECT_EQ(textOf(line), "12");
    EXPECT_EQ(none + small, 0u);
    EXPECT_EQ(qksysvhdl_severity_count(0) + qksysvhdl_severity_count(4), 0u);
}

// ---- Files

TEST_F(TextioTest, FilesTakeTheLowestHandleAndPaddedNames) {
    char padded[] = {' ', ' ', 't', 'x', 't', '.', 'a', ' '};
    uint64_t first = 0, second = 0;
    VHDL(file_open, 3, CELL(first), 0, static_cast<const char*>(nullptr), 0, uint64_t{8},
         uint64_t{8}, uint64_t{0}, uint64_t{7}, padded, 2, 1u);
    VHDL(file_open, 3, CELL(second), -64, "b       ", 2, 2u);
    EXPECT_EQ(first, 3u);
    EXPECT_EQ(second, 4u);
    VHDL(file_close, 1, CELL(first));
    VHDL(file_close, 1, CELL(first));
    EXPECT_EQ(first, 0u);
    EXPECT_TRUE(std::filesystem::exists("a.txt"));
    EXPECT_TRUE(std::filesystem::exists("b"));
    EXPECT_EQ(openFile("a.txt", kReadMode), 3u);
    EXPECT_EQ(openFile("a.txt", kReadMode), 5u);
    EXPECT_EQ(openFile(".", kReadMode), 0u);  // a directory has no lines
    std::vector<uint64_t> many;
    for (int i = 0; i < 300; ++i) many.push_back(openFile("STD_OUTPUT", kWriteMode));
    EXPECT_EQ(many.back(), 305u);
    EXPECT_EQ(fault(), "");
}

TEST_F(TextioTest, TheStandardFilesAreTheConsoles) {
    uint64_t input = openFile("STD_INPUT", kReadMode), output = 2, line = 0;
    const uint64_t standardInput = 1;
    writeFile("typed", "one\r\n\r\ncommand\nlast");
    qk_stdin = std::fopen("typed", "r");
    VHDL(readline, 2, CELL(input), CELL(line));
    EXPECT_EQ(textOf(line), "one");
    VHDL(readline, 2, 1, 1u, CELL(line));
    EXPECT_EQ(textOf(line), "");
    char typed[20] = {};
    std::fgets(typed, sizeof typed, qk_stdin);
    EXPECT_STREQ(typed, "command\n");
    EXPECT_EQ(VHDL(endfile, 1, CELL(standardInput)), 0);
    VHDL(readline, 2, CELL(standardInput), CELL(line));
    EXPECT_EQ(VHDL(endfile, 1, CELL(input)), 1);
    VHDL(file_close, 1, CELL(input));
    EXPECT_NE(std::fclose(std::exchange(qk_stdin, nullptr)), EOF);
    EXPECT_EQ(VHDL(endfile, 1, CELL(standardInput)), 1);

    VHDL(write_character, 4, CELL(line), 8, 0u, 1, 1u, 8, 2u);
    VHDL(writeline, 2, 2, 2u, CELL(line));
    VHDL(flush, 1, CELL(output));
    line = makeLine(std::string(100'000, 'x'));
    static int pieces;
    qk_prints = [](const char* text) { said += text, ++pieces; };
    VHDL(tee, 2, CELL(output), CELL(line));
    EXPECT_EQ(pieces, 2);
    const std::string piece = std::string(100'000, 'x') + "\n";
    EXPECT_EQ(taken(), "last  \n" + piece + piece);
    qk_prints = nullptr;
    VHDL(writeline, 2, CELL(output), CELL(line));
}

TEST_F(TextioTest, WhoPrintsALineMayUseIt) {
    static uint64_t file, line;
    file = openFile("out.txt", kWriteMode);
    line = makeLine("abc");
    qk_prints = [](const char* text) {
        said += text;
        if (file != 0) VHDL(file_close, 1, CELL(file));
        if (line != 0) VHDL(deallocate, 1, CELL(line));
    };
    VHDL(tee, 2, CELL(file), CELL(line));
    EXPECT_EQ(taken(), "abc\n");
    EXPECT_EQ(readFile("out.txt"), "abc\n");
    EXPECT_EQ(line + file, 0u);
}

// ---- Reports

TEST_F(TextioTest, ReportsSayWhereAndWhat) {
    kelvo_module module("design", "top");
    qksysvhdl_report(0x23, &module, "u1", 2, 2, 0, TEXT("x"));
    EXPECT_EQ(taken(), "ZEFT: report note at 0ns in top.u1: x\n");
    qksysvhdl_report(0, "top.", nullptr, 2, 2, 0, 24, 0x610062u);
    EXPECT_EQ(taken(), "ZEFT: report note at 0ns in top: a b\n");
    qksysvhdl_assert(0, nullptr, nullptr, 2, 2, 1, 0, static_cast<const char*>(nullptr), 0,
                     uint64_t{9}, uint64_t{1}, uint64_t{0}, uint64_t{0}, &module);
    EXPECT_EQ(taken(), "ZEFT: assertion warning at 0ns: \n");
    EXPECT_EQ(qksysvhdl_stop_severity(0), 3);
    EXPECT_EQ(qksysvhdl_stop_severity(5), 0);
    EXPECT_EQ(qksysvhdl_stop_severity(-1), 0);
    VHDL(report, 2, 2, 0u, TEXT(""));
    EXPECT_EQ(std::exchange(exitStatus, -1), 1);
    EXPECT_EQ(qksysvhdl_severity_count(0), 3u);
    EXPECT_EQ(qksysvhdl_severity_count(1), 1u);
    EXPECT_EQ(qksysvhdl_severity_count(-1), 0u);
}

}  // namespace
