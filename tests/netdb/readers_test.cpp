// Nets that the generator optimised away, seen through the nets that are left.
#include "tests/support/model_test.h"

namespace {

uint8_t low8, flag;
uint64_t parts[2];
uint32_t up;

/// A module whose section has rows of all four tables.
void registerSection(const char* instance, const std::vector<QkGRExtract>& extracts,
                     const std::vector<QkGRTerm>& terms, int replacementOfFlag = -5) {
    QkGRNet replaced = net(0, 6, "nflag", nullptr, 0, 0, 1, QK_flag_replaced);
    replaced.replacement = replacementOfFlag;
    const QkGRNet rows[] = {net(0, 1, "low", &low8, 7, 0),
                            net(0, 2, "wide", &parts[0], 63, 0, 0x201),
                            net(0, 3, "wide", &parts[1], 99, 64, 0x201),
                            net(0, 4, "up", &up, 4, 23),
                            net(0, 5, "flag", &flag, 0, 0),
                            replaced};
    auto* const module = new kelvo_module("design", instance);
    QkRegistration::start(module, 1, 6, false);
    QkRegistration::addNets(module, 6, rows);
    QkRegistration::addExtracts(module, static_cast<int>(extracts.size()), extracts.data());
    QkRegistration::addTerms(module, static_cast<int>(terms.size()), terms.data());
    QkRegistration::end(module);
}

using ReadersTest = ModelTest;

TEST_F(ReadersTest, AreReadListedWiredTracedAndDumped) {
    registerSection("u",
                    {{0, "cross", 0, 15, 0, 2, 56, 0},  // bits 71 to 56 of wide
                     {0, "mirror", 0, 0, 7, 4, 2, 0},   // 8 bits of up, 2 above its low end
                     {0, "bit", 1, 0, 0, 1, 7, 0},
                     {0, "inverted", 1, 0, 0, -5, 0, 0},
                     {0, "nothing", 1, 0, 0, -1, 0, 0}},
                    {{0, "term", 0, 17, 10, 1},
                     {0, "upterm", 0, 10, 29, 4},
                     {0, "nterm", 1, 0, 0, -5},
                     {0, "lowpart", 0, 6, 2, 2}});
    low8 = 0x81;
    flag = 1;
    parts[0] = 0xab00000000000000;
    parts[1] = 0x3000000cd;
    up = 0x12345;
    struct {
        const char *name, *listed;
        uint64_t value;
        NameKind kind;
    } const cases[] = {
        {"u.cross", "cdab", 0xcdab, kExtractName},
        {"u.mirror", "d1", 0xd1, kExtractName},
        {"u.bit", "1", 1, kExtractName},
        {"u.inverted", "0", 0, kExtractName},
        {"u.nterm", "0", 0, kTermName},
        {"u.nflag", "0", 0, kPlainName},
        {"u.term", "81", 0x81, kTermName},
        {"u.upterm", "12345", 0x12345, kTermName},
        {"u.lowpart", "5'h00", 0, kTermName},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(name(c.name));
        EXPECT_EQ(name(c.name)->kind, c.kind);
        EXPECT_EQ(readChunk(name(c.name), 0, 0), c.value);
        said.clear();
        qk_cli((std::string("ls ") + c.name).c_str());
        EXPECT_THAT(said, testing::HasSubstr(std::string(": ") + c.listed + "\n"));
    }
    EXPECT_EQ(name("u.nothing"), nullptr);
    said.clear();
    qk_cli("wired u.flag");
    EXPECT_THAT(said, testing::HasSubstr("\tu.nflag (inverted)\n\tu.nterm (inverted)\n"));
    EXPECT_THAT(said, testing::Not(testing::HasSubstr("u.inverted")));  // in no ring of names

    // Names of the whole net share its code, slices have their own, also those of kind 1.
    qk_cli("show u.*");
    said.clear();
    const QkName* const cross = name("u.cross");
    EXPECT_EQ(writeBits(name("u.cross"), 0, 0, 16, 0x1234), 0);
    flag = 0;
    parts[0] |= 0x13;
    advance();
    EXPECT_EQ(readChunk(cross, 0, 0), 0x1234u);
    EXPECT_EQ(parts[1], 0x300000012u);
    EXPECT_THAT(said, testing::HasSubstr("u.cross    = 1234\n"));
    EXPECT_THAT(said, testing::HasSubstr("u.inverted = 1\n"));
    EXPECT_THAT(said, testing::HasSubstr("u.nterm    = 1\n"));
    EXPECT_THAT(said, testing::HasSubstr("u.lowpart  = 5'h13\n"));
    EXPECT_THAT(said, testing::Not(testing::HasSubstr("u.bit")));
    ASSERT_EQ(qk_save("x.vcd"), 1);
    const std::string vcd = readVcd("x.vcd");
    const auto codeOf = [&](const std::string& local) {
        const size_t line = vcd.rfind("$var wire ", vcd.find(" " + local + " "));
        return vcd.substr(line + 14, 1);
    };
    EXPECT_EQ(codeOf("low"), codeOf("term"));
    EXPECT_EQ(codeOf("nflag"), codeOf("nterm"));
    EXPECT_NE(codeOf("flag"), codeOf("nflag"));
    EXPECT_NE(codeOf("cross"), codeOf("wide"));
    EXPECT_NE(codeOf("lowpart"), codeOf("wide"));
    const std::string change = vcd.substr(vcd.find("$end\n#"));
    EXPECT_THAT(change, testing::HasSubstr("b1001000110100 " + codeOf("cross") + "\n"));
    EXPECT_THAT(change, testing::HasSubstr("\nb10011 " + codeOf("lowpart") + "\n"));
    EXPECT_THAT(change, testing::HasSubstr("\n1" + codeOf("inverted") + "\n"));
    EXPECT_THAT(change, testing::HasSubstr("\n0" + codeOf("flag") + "\n"));
    EXPECT_THAT(change, testing::HasSubstr("\n1" + codeOf("nflag") + "\n"));
}

}  // namespace
