#include <cstdlib>
#include <utility>

#include "tests/support/model_test.h"

namespace {

class RegistrationTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        GTEST_FLAG_SET(death_test_style, "fast");
    }
};

uint8_t byte, wide[2];
const QkGRScope kScope{0, 1, "s", 0};

QkGRNet replacedBy(int id, const char* name, int replacement, int left = 0) {
    QkGRNet row = net(0, id, name, nullptr, left, 0, 1, QK_flag_replaced);
    row.replacement = replacement;
    return row;
}

TEST_F(RegistrationTest, ANameThatWaitsForItsNetIsNotRead) {
    kelvo_module m("m", "u");
    const QkGRNet rows[] = {net(0, 1, "n", &byte, 7, 0), replacedBy(2, "r", 1, 7)};
    QkRegistration::start(&m, 1, 2, false);
    QkRegistration::addNets(&m, 2, rows);
    qk_strict = false;  // look-up for one object finds the name, too
    for (const char* command : {"ls *", "print u.r", "savesim s", "break u.r", "setvv v = u.r"})
        EXPECT_DEATH(qk_cli(command), "trace && \\(trace != &gDummyTrace\\)") << command;
    QkRegistration::addExtracts(&m, 0, nullptr);
    QkRegistration::end(&m);
    said.clear();
    qk_cli("ls u.r");
    EXPECT_EQ(said, "u.r         : 00\n");
}

TEST_F(RegistrationTest, ANullAddressNamesItsNet) {
    static void* port = nullptr;
    EXPECT_DEATH((printToStandardError(), registerNets("u", {net(0, 1, "n", nullptr, 0, 0)})),
                 "net \"u.n\": the address is null\n(.|\n)*address != NULL");
    EXPECT_DEATH(
        (printToStandardError(), registerNets("u", {net(0, 1, "p", &port, 0, 0, QK_type_input)})),
        "net \"u.p\": the address is null\n");
}

TEST_F(RegistrationTest, FaultsThatTheProtocolLetsPassAreFoundOnDemand) {
    static uint32_t words[32];
    const auto at = [](int offset) { return reinterpret_cast<char*>(words) + offset; };
    QkGRNet memory = net(0, 6, "memory", at(16), 31, 0, QK_array);
    memory.array_right = 3;
    const auto part = [&](int offset, int left, int right) {  // of two elements of 96 bits
        QkGRNet row =
            net(0, left == 63 ? 18 : 19, "mixed", at(offset), left, right, QK_parts | QK_array);
        row.mode |= QK_interleaved;
        row.array_right = 1;
        return row;
    };
    const QkGRNet rows[] = {net(0, 1, "n", at(0), 7, 0),
                            net(0, 2, "same", at(0), 7, 0),
                            net(0, 3, "null", nullptr, 0, 0),
                            replacedBy(4, "r", 22),
                            replacedBy(5, "r0", 0),
                            memory,
                            net(0, 7, "inside", at(21), 7, 0),
                            net(0, 8, "across", at(30), 31, 0),
                            net(0, 9, "before", at(14), 31, 0),
                            net(0, 10, "beside", at(12), 15, 0),
                            net(0, 11, "w", at(40), 7, 0, QK_parts),
                            net(0, 12, "w", at(41), 7, 0, QK_parts),
                            net(0, 13, "w", at(42), 8, 8, QK_parts),
                            net(0, 14, "n", at(43), 7, 4),
                            net(1, 15, "x", at(44), 7, 0),
                            net(1, 16, "x", at(45), 7, 0),
                            net(1, 17, "x", at(45), 7, 0),
                            part(64, 63, 0),
                            part(72, 95, 64),
                            net(0, 20, "within", at(84), 15, 0),
                            net(0, 21, "after", at(88), 15, 0)};
    const QkGRExtract extracts[] = {{0, "fits", 0, 3, 0, 1, 4, 0},
                                    {0, "high", 0, 3, 0, 1, 5, 0},
                                    {1, "low", 1, 0, 0, 1, -1, 0}};
    const QkGRTerm terms[] = {{0, "term", 0, 7, 0, 1}, {0, "wider", 0, 9, 1, 11}};
    setenv("ZEFT_CHECK_TABLES", "1", 1);
    EXPECT_EXIT((qkLiveModel = nullptr, kelvo_start(), std::_Exit(qk_check_tables)),
                testing::ExitedWithCode(1), "");
    EXPECT_FALSE(std::exchange(qk_check_tables, true));
    kelvo_module m("m", "u");
    QkRegistration::start(&m, 2, 21, false);
    QkRegistration::addScopes(&m, 1, &kScope);
    QkRegistration::addNets(&m, 21, rows);
    QkRegistration::addExtracts(&m, 3, extracts);
    QkRegistration::addTerms(&m, 2, terms);
    completeRegistration(true);
    QkRegistration::end(&m);
    // Storage of a module that has gone may serve again.
    delete registerNets("gone", {net(0, 1, "n", at(52), 31, 0)});
    registerNets("v", {net(0, 1, "n", at(0), 7, 0), net(0, 2, "i", at(54), 7, 0)});
    std::string checks;
    for (size_t from = 0; from < said.size(); from = said.find('\n', from) + 1)
        if (said.compare(from, 7, "check: ") == 0)
            checks += said.substr(from + 7, said.find('\n', from) - from - 6);
    EXPECT_EQ(checks,
              "u.null: the address is null\n"
              "u.inside: its storage overlaps that of u.memory\n"
              "u.across: its storage overlaps that of u.memory\n"
              "u.before: its storage overlaps that of u.memory\n"
              "u.w: two rows have bits [7:0]\n"
              "u.n: two rows have bits [7:4]\n"
              "u.s.x: two rows have bits [7:0]\n"
              "u.within: its storage overlaps that of u.mixed\n"
              "u.r0: replaced by net 0, but ids are 1 to 21\n"
              "u.r: replaced by net 22, but ids are 1 to 21\n"
              "u.high: reads bits 5 to 8 of u.n, which has 8\n"
              "u.s.low: reads bits -1 to -1 of u.n, which has 8\n"
              "module \"u.\": its section has no end()\n");
}

TEST_F(RegistrationTest, TablesMayComeInPieces) {
    kelvo_module m("m", "u");
    const QkGRScope scopes[] = {{0, 2, "a", 0}, {2, 1, "b", 1}};
    const QkGRNet rows[] = {net(1, 2, "n", &byte, 0, 0), net(0, 1, "n", &wide, 0, 0)};
    QkRegistration::start(&m, 3, 2, false);
    QkRegistration::genid(&m, 7, 8);
    QkRegistration::exportk(&m, 9);
    QkRegistration::addScopes(&m, 1, scopes);
    QkRegistration::addScopes(&m, 0, nullptr);
    QkRegistration::addScopes(&m, 1, scopes + 1);
    QkRegistration::addNets(&m, 0, nullptr);
    QkRegistration::addNets(&m, 1, rows);
    QkRegistration::addNets(&m, 1, rows + 1);
    QkRegistration::end(&m);
    EXPECT_TRUE(name("u.n"));
    EXPECT_TRUE(name("U.A.B.N"));
    const QkScope* const scope = m.qk_get_scope(false);
    EXPECT_EQ(scope->generatorWords[0], 7u);
    EXPECT_EQ(scope->generatorWords[1], 8u);
    EXPECT_EQ(scope->exportWord, 9u);
    EXPECT_EQ(said, "");
}

TEST_F(RegistrationTest, NamesAndTracesAreShared) {
    static uint8_t a, b, pair[2];
    static uint8_t* port = &a;
    const QkGRNet secondAddress = net(0, 4, "x", &b, 7, 0);  // the name has its trace
    registerNets(
        "u",
        {net(0, 1, "x", &a, 7, 0), net(0, 2, "alias", &a, 7, 0),
         net(0, 3, "port", &port, 7, 0, QK_type_inout), secondAddress,
         net(0, 5, "flag", &b, 0, 0, 1 | QK_invert), replacedBy(6, "not_flag", -5),
         net(1, 7, "pair", &pair[0], 7, 0, 0x201), net(1, 8, "pair", &pair[1], 15, 8, 0x401),
         replacedBy(9, "whole", 7, 7), replacedBy(10, "bit", 8), replacedBy(11, "lost", 12),
         replacedBy(12, "chain", 11), net(1, 13, "same", &pair[0], 7, 0, 0x201),
         net(1, 14, "same", &pair[1], 15, 8, 0x401)},
        {kScope});
    QkTrace* const x = name("u.x")->trace;
    EXPECT_EQ(name("u.alias")->trace, x);
    EXPECT_EQ(name("u.port")->trace, x);
    EXPECT_EQ(x->names->n_next->n_next->n_next, x->names);

    // The second storage of x is a trace as well, with flag's name on it, and has an inverted twin.
    QkTrace* const flag = name("u.flag")->trace;
    QkTrace* const notFlag = name("u.not_flag")->trace;
    EXPECT_EQ(flag->address, &b);
    EXPECT_EQ(notFlag->address, &b);
    EXPECT_FALSE(flag->invert);
    EXPECT_TRUE(notFlag->invert);
    EXPECT_EQ(flag->sameAddr_n, notFlag);
    EXPECT_EQ(notFlag->sameAddr_n, flag);

    QkTrace* const header = name("u.s.pair")->trace;
    EXPECT_EQ(name("u.s.same")->trace, header);
    EXPECT_EQ(header->range.width, 16);
    EXPECT_EQ(header->bits->address, &pair[1]);  // the part registered last comes first
    EXPECT_EQ(header->bits->bits->address, &pair[0]);
    EXPECT_EQ(name("u.whole")->trace, header);
    EXPECT_EQ(name("u.bit")->trace->address, &pair[1]);

    // Newest first: chain names a net that has no trace yet, and lost one that was dropped.
    EXPECT_EQ(said,
              "warning: Net Registration: Ignoring rterm rule for net: u.chain\n"
              "         (this net will not appear in VCD traces) (reason: bad replacement)\n"
              "warning: Net Registration: Ignoring rewrite rule for net: u.lost\n"
              "         (this net will not appear in VCD traces) (reason: no replacement)\n");
    EXPECT_EQ(name("u.lost"), nullptr);
}

TEST_F(RegistrationTest, InvertedFormsAndFurtherVariablesAreNoPartsOfTheNet) {
    static uint64_t low = 5, spare;
    static uint8_t high = 2, scalar = 3;
    kelvo_module* const m =
        registerNets("u", {net(0, 1, "w", &low, 63, 0, 0x301), net(0, 2, "w", &high, 66, 64, 0x301),
                           net(0, 3, "s", &scalar, 7, 0), net(0, 4, "s", &spare, 63, 0, 0x201)});
    EXPECT_EQ(readChunk(name("u.w"), 0, 0), 5u);
    EXPECT_EQ(readChunk(name("u.w"), 1, 0), 2u);
    EXPECT_EQ(readChunk(name("u.s"), 0, 0), 3u);
    delete m;
    EXPECT_EQ(qkLiveModel->traces, nullptr);
}

TEST_F(RegistrationTest, ByHandOneNetACall) {
    static uint32_t a = 5, array[4];
    qk_register1("Top.U.a", 1, &a, 7, 0, 0, 0);
    qk_register1("top.u.A", 1 | QK_invert, &a, 7, 0, 0, 0);
    qk_register1("alone", 1, &array[3], 3, 0, 0, 0);
    EXPECT_EQ(said, "");
    qk_register1("top.m", 1 | QK_array, array, 31, 0, 2, 0);
    EXPECT_EQ(said, "");
    qk_register1("top.n", 1, &array[1], 31, 0, 0, 4);
    EXPECT_THAT(said, testing::StartsWith("ZEFT: qk_graphics_register1: The interface for manual "
                                          "registration of C models\nhas changed. "));
    EXPECT_THAT(said, testing::EndsWith("or'd into the mode field\n"));
    EXPECT_TRUE(name("toplevel.alone"));
    EXPECT_EQ(name("Top.M")->trace->nel, 3u);
    EXPECT_EQ(qkLiveModel->matching("top.u.a").size(), 2u);  // both spellings, in one scope
    EXPECT_NE(qkLiveModel->tracesAt(&a)->sameAddr_n, qkLiveModel->tracesAt(&a));
}

}  // namespace
