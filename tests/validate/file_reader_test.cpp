// What the reader takes for a trace; headers and values are in sessions/.
#include <zlib.h>

#include <algorithm>

#include "tests/validate/validate_fixture.h"

namespace {

class FileReaderTest : public ValidateTest {
protected:
    /// Reads the header of a file of this text. @return what was said, and the result
    std::string header(const std::string& text) {
        writeFile("t.vcd", text);
        reader().vcdModel = nullptr;
        reader().start(false);
        said.clear();
        const int result = reader().readHeader("t.vcd");
        return said + (result ? "1" : "0");
    }
    static QkFileReader& reader() { return qkLiveModel->reader; }
};

TEST_F(FileReaderTest, TakesControlCharactersForBlanks) {
    EXPECT_EQ(header("\x01\xff\r\f$enddefinitions\t\x80$end"), "1");
}

TEST_F(FileReaderTest, ReadsGzipAndTokensAcrossBlocks) {
    // Blanks push each line of the body over a border between blocks of 8 MiB.
    constexpr size_t block = 0x800000;
    std::string text(block - 3, ' ');
    text.replace(0, 21, "$scope module top $end");
    text += "$var wire 4 n \\long\\ $end $var wire 1 c clk $end $enddefinitions $end $dumpvars ";
    text += std::string(2 * block - 3 - text.size(), '\n') + "b0101 n\n$end\n#7 ";
    text += std::string(3 * block - 9 - text.size(), ' ') + "bx1001\t\f\vn ";
    writeFile("t.vcd", text);
    const gzFile file = gzopen("t.vcd.gz", "wb1");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    for (const char* path : {"t.vcd", "t.vcd.gz"}) {
        reader().vcdModel = nullptr;
        reader().start(false);
        said.clear();
        ASSERT_EQ(reader().readHeader(path), 1) << said;
        EXPECT_EQ(declaredNames(), "top.\\long\\[3:0]?x1 top.clk[0:0]?x1 ");
        EXPECT_EQ(reader().readInitialValues(true), 1) << said;
        EXPECT_EQ(reader().runTrace(false), 0);
        EXPECT_EQ(said, std::string(path) + ":" +
                            std::to_string(1 + std::count(text.begin(), text.end(), '\n')) +
                            ": signal 'n': width 4 exceeded (5 bits given)\n");
        EXPECT_EQ(qk_cycle, 7);
        qk_cycle = 0;
    }
}

}  // namespace
