// Traces that no simulator wrote: cut, damaged and enormous ones. Whatever they hold, the run ends
// with a message, and neither time nor memory grows faster than the file.
#include <sys/resource.h>
#include <sys/stat.h>
#include <zlib.h>

#include "tests/validate/validate_fixture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* kHead =
    "$timescale 1 ns $end\n$scope module top $end\n$var wire 1 c clk $end\n$var wire 1 e en $end\n"
    "$var wire 1 d done $end\n$var reg 4 n count [3:0] $end\n$upscope $end\n"
    "$enddefinitions $end\n";
constexpr const char* kBody =
    "#0\n$dumpvars\n0c\n0e\n0d\nb0 n\n$end\n#5\n1e\n1c\nb1 n\n#6\n0c\n#7\nb0z1X n\nb1 n\n";

class DamagedTest : public ValidateTest {
protected:
    int open(const std::string& text) {
        writeFile("t.vcd", text);
        return openFile("t.vcd");
    }
    int openFile(const char* path) {
        said.clear();
        qk_cycle = 0;
        model.count = model.lastClk = 0;
        return qk_mtc(path);
    }
};

TEST_F(DamagedTest, EveryCutIsToldOfUnlessALineEndsThere) {
    const std::string whole = std::string(kHead) + kBody;
    ASSERT_EQ(open(whole), 1) << said;
    const size_t body = whole.find("#5");
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        const int good = open(whole.substr(0, cut));
        EXPECT_FALSE(said.empty());
        if (cut < body - 1) {  // the dump needs its $end, with or without a line end
            EXPECT_EQ(good, 0) << cut;
            EXPECT_THAT(said, HasSubstr("Open Trace: Failed to")) << cut;
        }
        EXPECT_FALSE(qkLiveModel->reader.fileIsOpen());
    }
}

TEST_F(DamagedTest, SaysWhatIsNoTrace) {
    std::string binary(100'000, '\0');
    uint32_t state = 1;
    for (char& c : binary) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    EXPECT_EQ(open(binary), 0);
    EXPECT_THAT(said, HasSubstr("header not recognised"));
    mkdir("folder", 0700);
    EXPECT_EQ(openFile("folder"), 0);
    EXPECT_EQ(said,
              "folder:1: Is a directory\nfolder:1: unexpected end of file\n"
              "folder: Open Trace: Failed to Open\n");
    std::string text = std::string(kHead) + kBody;
    text.replace(text.find("#6"), 4, 4, '\0');
    EXPECT_EQ(open(text), 0);
    EXPECT_THAT(said, HasSubstr("t.vcd:20: NUL byte: the file is damaged\n"));
    EXPECT_EQ(qk_cycle, 5u);
    EXPECT_EQ(qkLiveModel->reader.currentStats().damaged, 1);
}

TEST_F(DamagedTest, DamagedCompressionIsADifference) {
    std::string text = std::string(kHead) + kBody;
    for (int i = 8; i < 20000; ++i) text += "#" + std::to_string(i) + "\n0c\n";
    const gzFile file = gzopen("t.gz", "wb9");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    const std::string whole = readFile("t.gz");
    ASSERT_EQ(openFile("t.gz"), 1) << said;
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 0x55);
    std::string wrongSum = whole;
    wrongSum[whole.size() - 8] = static_cast<char>(wrongSum[whole.size() - 8] ^ 1);
    const struct {
        std::string contents;
        const char* said;
    } cases[] = {
        {whole.substr(0, whole.size() / 2), ": unexpected end of compressed data\n"},
        {whole.substr(0, whole.size() - 1), ": unexpected end of compressed data\n"},
        {wrongSum, ": damaged compressed data: "},
        {flipped, ": damaged compressed data: "},
    };
    for (const auto& c : cases) {
        writeFile("bad.gz", c.contents);
        EXPECT_EQ(openFile("bad.gz"), 0);
        EXPECT_THAT(said, HasSubstr(c.said)) << c.contents.size();
        EXPECT_EQ(qkLiveModel->reader.currentStats().damaged, 1);
    }
}

TEST_F(DamagedTest, TokensMayBeLong) {
    const std::string mega(1 << 20, '1');
    const struct {
        std::string text, said;
    } cases[] = {
        {mega + "\n$end\n", "t.vcd:1: header not recognised: '" + mega + "'\n"},
        {"$scope module " + mega + " $end $enddefinitions $end\n", "Failed to find stimuli\n"},
        {"$var wire " + mega + " a a $end $enddefinitions $end\n", "expected non-zero width"},
        {"$var wire 1 " + mega + " a $end $enddefinitions $end\n", "Failed to find stimuli\n"},
        {"$var wire 1 a \\" + mega + "\\ $end $enddefinitions $end\n", "Failed to find stimuli\n"},
        {"$var wire 1 a a [" + mega + "] $end $enddefinitions $end\n", "Failed to find stimuli\n"},
        {std::string(kHead) + "$dumpvars\nb" + mega + " n\n",
         "width 4 exceeded (1048576 bits given)\n"},
        {std::string(kHead) + "$dumpvars\n1" + mega + "\n",
         "VCD signal '" + mega + "' not recognised\n"},
        {std::string(kHead) + "#" + mega + " $dumpvars $end\n", "Failed to read VCD 'dumpvars'\n"},
    };
    for (const auto& c : cases) {
        const int good = open(c.text);
        EXPECT_TRUE(good == 0 || c.text.find("#1") != std::string::npos) << c.text.substr(0, 40);
        EXPECT_TRUE(good != 0 || said.find(c.said) != std::string::npos)
            << c.text.substr(0, 40) << "\n"
            << said.substr(0, 300);
    }
}

TEST_F(DamagedTest, FilesOfManyPartsComeToAnEnd) {
    // What takes more than linear time does not end in time. A `?` stands for the number of a
    // piece.
    const std::string end = "$enddefinitions $end\n", whole = std::string(kHead) + kBody;
    const struct {
        std::string before, piece, after;
        int count;
    } cases[] = {
        {"", "$scope module s $end\n", end, 100000},
        {"$var wire 1 ! s", ".s", " $end " + end, 100000},
        {"", "$scope module s $end\n$var wire 1 ! a $end\n", end, 40000},
        {"", "$scope module s? $end $upscope $end\n", end, 80000},
        {"$scope module s $end\n", "$var wire 1 !? S?.a $end\n", end, 80000},
        {whole, "$dumpon\n0c\n$end\n", "", 80000},
        {"$version ", "x ", "$end " + end, 200000},
        {"", "$var wire 1 ! a $end\n", end, 200000},
        {whole, "\n", "", 3200000},
    };
    for (const auto& c : cases) {
        std::string text = c.before;
        for (int i = 0; i < c.count / kShorter; ++i)
            for (const char letter : c.piece)
                text += letter == '?' ? std::to_string(i) : std::string(1, letter);
        open(text + c.after);
        EXPECT_FALSE(said.empty()) << c.piece;
    }
}

TEST_F(DamagedTest, AMillionVariables) {
    std::string text = "$scope module top $end\n";
    for (int i = 0; i < 1'000'000; ++i) {
        const std::string number = std::to_string(i);
        text += "$var wire 1 " + number + " v" + number + " $end\n";
    }
    const std::string head = kHead;
    text += head.substr(head.find("$var"));
    EXPECT_EQ(open(text + kBody), 1) << said.substr(0, 1000);
    EXPECT_THAT(said, HasSubstr("The Trace file contains 1000004 signals:\n    4 match"));
}

TEST_F(DamagedTest, MemoryDoesNotGrowWithTheFile) {
    const auto peak = [] {
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;  // KiB
    };
    const auto run = [&](int lines) {
        FILE* const file = std::fopen("t.vcd", "w");
        std::fprintf(file, "%s%s", kHead, kBody);
        for (int i = 0; i < lines; ++i) std::fprintf(file, "#%d\n%dc\nbx n\n0e\n", i + 8, i & 1);
        std::fclose(file);
        EXPECT_EQ(openFile("t.vcd"), 1);
        EXPECT_EQ(qk_cycle, static_cast<uint64_t>(lines) + 7);
        return peak();
    };
    const long afterBlocks = run(700'000);  // a block and more
    // A file of over 100 MB. A sanitizer keeps the blocks of earlier runs.
    EXPECT_LT(run(5'000'000), afterBlocks + 24 * 1024);
}

}  // namespace
