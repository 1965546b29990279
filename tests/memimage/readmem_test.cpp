// Memory images. The golden images and what they load to are described in the table's first line.
#include <cinttypes>
#include <cstring>
#include <fstream>
#include <list>
#include <sstream>

#include "netdb/master_assigns.h"
#include "tests/console/console_fixture.h"

namespace {

using ReadmemTest = ConsoleTest;

struct GoldenRow {
    std::string file, kind, check, base;
    int width, left, right, args, start, finish;
    std::string fill;
    int status;
    std::string console, contents;
};

std::istream& operator>>(std::istream& in, GoldenRow& row) {
    in >> row.file >> row.kind >> row.check >> row.base >> row.width >> row.left >> row.right >>
        row.args >> row.start >> row.finish >> row.fill >> row.status >> std::ws;
    std::getline(in, row.console, '\t');
    return in >> row.contents;
}

/// The text of a quoted field, with the file's name in its place.
std::string unquoted(std::string text, const std::string& file) {
    text = text.substr(1, text.size() - 2);
    const auto replaceAll = [&](const std::string& from, const std::string& to) {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
            text.replace(at, from.size(), to);
    };
    replaceAll("\\n", "\n");
    replaceAll("{F}", file);
    EXPECT_EQ(text.find('\\'), std::string::npos) << "escapes are not read here";
    return text;
}

/// An array of any width, in parts of 64 bits.
struct AnyArray {
    int width, left, right;
    std::vector<std::vector<char>> parts;  // the lowest first

    explicit AnyArray(const GoldenRow& row) : width(row.width), left(row.left), right(row.right) {
        for (int at = 0; at < width; at += 64)
            parts.emplace_back(static_cast<size_t>(count()) *
                               static_cast<size_t>(storageBytes(partWidth(at))));
    }
    int count() const { return std::abs(left - right) + 1; }
    int partWidth(int at) const { return std::min(64, width - at); }
    void* place(int element, int at) {
        return parts[static_cast<size_t>(at / 64)].data() + element * storageBytes(partWidth(at));
    }
    void fill(uint64_t value) {
        for (int element = 0; element < count(); ++element)
            storeStorage(place(element, 0), storageBytes(partWidth(0)), value);
    }
    void registerAs(const char* module) {
        std::vector<QkGRNet> rows;
        for (int at = 0; at < width; at += 64) {
            QkGRNet row = net(0, static_cast<int>(rows.size()) + 1, "mem", place(0, at),
                              at + partWidth(at) - 1, at, (width > 64 ? 0x201 : 1) | QK_array);
            row.array_left = left;
            row.array_right = right;
            rows.push_back(row);
        }
        registerNets(module, rows);
    }
    /// The elements by ascending address, in hexadecimal without leading zeros.
    std::string contents() {
        std::string text;
        for (int i = 0; i < count(); ++i) {
            std::string element;
            for (int at = (width - 1) / 64 * 64; at >= 0; at -= 64) {
                char digits[17];
                const int bytes = storageBytes(partWidth(at));
                std::snprintf(digits, sizeof digits, element.empty() ? "%" PRIx64 : "%016" PRIx64,
                              loadStorage(place(left > right ? i : count() - 1 - i, at), bytes));
                if (!element.empty() || std::strcmp(digits, "0") != 0) element += digits;
            }
            text += (i > 0 ? "," : "") + (element.empty() ? "0" : element);
        }
        return text;
    }
};

TEST_F(ReadmemTest, LoadsGoldenImages) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/readmem/index.tsv");
    std::string line;
    std::getline(table, line);  // where it comes from
    std::getline(table, line);  // column names
    int rows = 0;
    std::list<AnyArray> arrays;  // registered ones outlive their rows
    for (; std::getline(table, line); ++rows) {
        SCOPED_TRACE(line);
        GoldenRow row;
        ASSERT_TRUE(std::istringstream(line) >> row);
        const std::string file = ZEFT_GOLDEN_DIR "/readmem/" + row.file;
        AnyArray& array = arrays.emplace_back(row);
        array.fill(std::stoull(row.fill, nullptr, 16));
        const std::string module = "m" + std::to_string(rows), name = module + ".mem";
        array.registerAs(module.c_str());
        std::string console = unquoted(row.console, file);
        if (row.status) console += "Array '" + name + "' read from file: '" + file + "'\n";
        said.clear();
        const auto load = row.base == "h" ? qk_readmemh_sf : qk_readmemb_sf;
        EXPECT_EQ(load(name.c_str(), file.c_str(), row.args, row.start, row.finish), row.status);
        EXPECT_EQ(array.contents(), row.contents);
        EXPECT_TRUE(said == console || row.check == "contents") << said;
    }
    EXPECT_EQ(rows, 76);
}

TEST_F(ReadmemTest, ReadsOddFiles) {
    const std::string zeros(200'000, '0'), ones(70'000, '1'), blanks(65'530, ' ');
    const struct {
        const char* what;
        std::string text;
        int status;
        std::string says;
        uint8_t first[4];
    } cases[] = {
        {"comment never closed", "11\n/* *", 0, "f:2: unexpected end of file\n", {0x11}},
        {"stars before the closing slash", "/***/ 1 /*/ 9 **/2//", 1, "", {1, 2}},
        {"a comment's star does not close it", "/*/ 1", 0, "f:1: unexpected end of file\n", {}},
        {"slash at the end", "1/", 0, "f:1: unexpected character  (00 '", {1}},
        {"slash and a high byte", "/\x80", 0, "f:1: unexpected character  (ffffff80 '\x80')\n", {}},
        {"newline after the slip counts",
         "1\n123\n",
         0,
         "f:3: too many digits (3) for 8 bit value\n",
         {1}},
        {"zero bytes are blank", std::string("1\0002\0", 4), 1, "", {1, 2}},
        {"x in an address",
         "@x2 z7",
         1,
         "Warning: X or Z digits in 'f' being treated as 0\n",
         {0, 0, 7}},
        {"address at the end of the file", "1 @", 0, "f:1: bad address\n", {1}},
        {"underscore in an address", "@1_0 5", 0, "f:1: unexpected character (5f '_')\n", {}},
        {"address runs into a value", "@2/**/5@0 6", 1, "", {6, 0, 5}},
        {"value over the end of a block",
         blanks + "  " + blanks + "   1_2@3 4",
         1,
         "",
         {0x12, 0, 0, 4}},
        {"digits over the end of a block",
         zeros,
         0,
         "f:1: too many digits (200000) for 8 bit value\n",
         {}},
        {"lines of many blocks",
         zeros.substr(0, 1) + "\n//" + zeros + ones + "\n\ng",
         0,
         "f:4: unexpected character (67 'g')\n",
         {}},
        {"underscores alone after a value", "1 _ __2", 1, "", {1, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        uint8_t memory[4] = {};
        writeFile("f", c.text);
        said.clear();
        EXPECT_EQ(qk_readmem_lr_c(16, memory, 8, 3, 0, "f", 0, 0, 0), c.status);
        EXPECT_EQ(said, c.says);
        EXPECT_THAT(memory, testing::ElementsAreArray(c.first));
    }
}

TEST_F(ReadmemTest, MasksValuesOfOddWidthsAndCountsNegativeIndices) {
    uint8_t narrow[2] = {};
    writeFile("f", "ff 40");
    EXPECT_EQ(qk_readmem_lr_c(16, narrow, 6, 0, -1, "f", 0, 0, 0), 1);
    EXPECT_THAT(narrow, testing::ElementsAre(0x3f, 0));
    writeFile("f", "@ffffffff 5");
    EXPECT_EQ(qk_readmem_lr_c(16, narrow, 6, -1, 0, "f", 1, -1, 0), 1);
    EXPECT_THAT(narrow, testing::ElementsAre(0x3f, 5));
    EXPECT_EQ(said, "");
    const std::string tooLong(10'000'000, 'f');
    writeFile("f", tooLong);
    EXPECT_EQ(qk_readmemh("top.cpu.pair", "f"), 0);
    EXPECT_EQ(said, "f:1: too many digits for 70-bit value\n");
}

TEST_F(ReadmemTest, SplitsValuesAmongPartsOfAnyWidth) {
    struct {
        uint64_t low[2] = {}, high[2] = {};
    } split;
    QkGRNet rows[] = {net(0, 1, "mem", split.low, 37, 99, 0x201 | QK_array),
                      net(0, 2, "mem", split.high, 0, 36, 0x201 | QK_array)};
    for (QkGRNet& row : rows) row.array_left = 1;
    registerNets("split", {rows[0], rows[1]});
    writeFile("f", "1234567890abcdef012345678 8000000008000000000000001\n");
    EXPECT_EQ(run("readmemh split.mem f"), "Array 'split.mem' read from file: 'f'\n");
    EXPECT_THAT(split.low, testing::ElementsAre(0x0abcdef012345678, 1));
    EXPECT_THAT(split.high, testing::ElementsAre(0x2468acf12, 0x1000000001));
    EXPECT_EQ(run("writememh split.mem out"), "Array 'split.mem' written to file: 'out'\n");
    EXPECT_EQ(readFile("out"), "@0\n1234567890abcdef012345678\n8000000008000000000000001\n");
}

TEST_F(ReadmemTest, InterleavedPartsOfAnElementLieSideBySide) {
    uint32_t words[3][4] = {};  // [3:1] of [99:0]
    std::vector<QkGRNet> rows = {
        net(0, 1, "mem", words, 63, 0, 0x201 | QK_array | QK_interleaved),
        net(0, 2, "mem", &words[0][2], 99, 64, 0x201 | QK_array | QK_interleaved)};
    for (QkGRNet& row : rows) {
        row.array_left = 3;
        row.array_right = 1;
    }
    kelvo_module* const module = registerNets("wide", rows);
    writeFile("f", "1 @3 edcba98765432100123456789\n");
    EXPECT_EQ(run("readmemh wide.mem f"), "Array 'wide.mem' read from file: 'f'\n");
    EXPECT_THAT(words[0], testing::ElementsAre(1, 0, 0, 0));
    EXPECT_THAT(words[1], testing::ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(words[2], testing::ElementsAre(0x23456789, 0x54321001, 0xdcba9876, 0xe));
    run("set wide.mem[1] = 100'h300000002_0000000000000000");
    EXPECT_THAT(words[1], testing::ElementsAre(0, 0, 2, 3));
    EXPECT_EQ(run("writememh wide.mem out"), "Array 'wide.mem' written to file: 'out'\n");
    EXPECT_EQ(readFile("out"),
              "@1\n0000000000000000000000001\n3000000020000000000000000\n"
              "edcba98765432100123456789\n");
    run("show wide.mem");
    said.clear();
    words[1][3] = 7;  // its neighbours have not changed with it
    module->qk_finalize_wave();
    EXPECT_THAT(said, testing::HasSubstr("wide.mem =  [2] 7000000020000000000000000\n"));
    EXPECT_THAT(said, testing::Not(testing::ContainsRegex("\\[[13]\\]")));
}

TEST_F(ReadmemTest, TellsOfCallsThatCannotBeMade) {
    writeFile("f", "1");

    said.clear();
    EXPECT_EQ(qk_readmemh(nullptr, "f") + qk_readmemb("", "f"), 0);
    EXPECT_EQ(qk_readmemh("top.cpu.mem", nullptr) + qk_readmemb_sf("a", "", 0, 0, 0), 0);
    EXPECT_EQ(qk_readmem_lr_c(2, model.mem, 8, 0, 9, nullptr, 0, 0, 0), 0);
    EXPECT_EQ(qk_writememh(nullptr, "f"), 0);
    EXPECT_EQ(said,
              "qk_readmemh: Array name must be provided\n"
              "qk_readmemb: Array name must be provided\n"
              "qk_readmemh: File name must be provided\n"
              "qk_readmemb: File name must be provided\n"
              "qk_readmemb: File name must be provided\n"
              "qk_writememh: Array and File names must be provided\n");
}

TEST_F(ReadmemTest, DeprecatedFormCountsFromTheLowIndex) {
    uint16_t memory[3] = {};
    writeFile("f", "@5 101 10");
    EXPECT_EQ(qk_readmem_c(2, memory, 9, 4, 3, "f", 0, 0, 0), 1);
    EXPECT_THAT(memory, testing::ElementsAre(0, 5, 2));
    EXPECT_THAT(said, testing::StartsWith("ZEFT: qk_readmem_c: Deprecated interface:\n"));
    EXPECT_THAT(said, testing::EndsWith("elements. See qkzeft.h.\n\n"));
    writeFile("f", "@7 1");
    EXPECT_EQ(qk_readmem_c(2, memory, 9, 4, 3, "f", 0, 0, 0), 0) << "beyond the last of three";
}

TEST_F(ReadmemTest, MarksTheChangeListAndKeepsPolarity) {
    MasterArrayAssign record;
    record.capacity = 10;
    QkTrace* const mem = name("top.cpu.mem")->trace;
    mem->extras->arrayRecord = &record;
    writeFile("f", "7 g");
    EXPECT_EQ(qk_readmemh("top.cpu.mem", "f"), 0);
    EXPECT_EQ(record.count, 11) << "a load that fails has written too";
    mem->extras->arrayRecord = nullptr;

    QkName* const inverse =
        qkLiveModel->addName(name("top.cpu.mem")->scope, "nmem", 1 | QK_array, 0);
    qkLiveModel->addNet(inverse,
                        {model.mem, BitRange(7, 0), 0, 9, 1 | QK_array, 0, nullptr, nullptr, true});
    writeFile("f", "0f");
    EXPECT_EQ(qk_readmemh("top.cpu.nmem", "f"), 1);
    EXPECT_EQ(model.mem[9], 0xf0);
}

TEST_F(ReadmemTest, ReachesCopiesOfTheArray) {
    static uint16_t owner[3], copy[3];
    QkGRNet rows[] = {net(0, 1, "mem", owner, 8, 0, 1 | QK_array),
                      net(0, 1, "mem", copy, 8, 0, 1 | QK_array)};
    for (QkGRNet& row : rows) row.array_left = 2;
    rows[1].trace_word = owner;
    registerNets("owner", {rows[0]});
    registerNets("child", {rows[1]});
    writeFile("f", "1ff 2 3");
    EXPECT_EQ(qk_readmemh("child.mem", "f"), 1);
    EXPECT_THAT(owner, testing::ElementsAre(0x1ff, 2, 3));
    EXPECT_THAT(copy, testing::ElementsAre(0x1ff, 2, 3));
}

using ReadmemDeathTest = ConsoleTest;

TEST_F(ReadmemDeathTest, AssertsThePlainFormsArguments) {
    const struct {
        int base, width, args;
        const char* condition;
    } cases[] = {
        {10, 8, 0, "(base == 2) || (base == 16)"},
        {2, 0, 0, "awidth >= 1"},
        {2, 65, 0, "awidth <= 64"},
        {2, 8, 3, "args >= 0 && args <= 2"},
    };
    for (const auto& c : cases)
        EXPECT_DEATH(qk_readmem_lr_c(c.base, model.mem, c.width, 9, 0, "f", c.args, 0, 0),
                     testing::HasSubstr(c.condition));
    EXPECT_DEATH(qk_readmem_lr_c(2, nullptr, 8, 9, 0, "f", 0, 0, 0), "abase");
}

}  // namespace
