#include "licence/licence.h"

#include "tests/support/model_test.h"

namespace {

const char* closedGate = "";
std::vector<std::string> asked;

int refuseClosed(const char* gate) {
    asked.push_back(gate);
    return std::string(gate) != closedGate;
}

class LicenceTest : public ModelTest {
protected:
    static void close(const char* gate) {
        closedGate = gate;
        qk_licence_policy(refuseClosed);
        said.clear();
    }
};

TEST_F(LicenceTest, ARefusedGateSaysSoOnceAndStaysShut) {
    static uint8_t byte;
    registerNets("u", {net(0, 1, "n", &byte, 7, 0)});
    EXPECT_EQ(qk_traceto("a.vcd"), 1);
    qk_traceclose();
    close("traceto");
    EXPECT_EQ(qk_traceto("b.vcd"), 0);
    EXPECT_EQ(qk_traceto("b.vcd"), 0);
    EXPECT_EQ(said, "ZEFT: no licence for traceto\n");
    closedGate = "";
    EXPECT_EQ(qk_traceto("b.vcd"), 0);
    EXPECT_EQ(asked, (std::vector<std::string>{"traceto"}));
    EXPECT_EQ(readFile("b.vcd"), "");
    qk_licence_policy(refuseClosed);
    EXPECT_EQ(qk_traceto("b.vcd"), 1);
    qk_licence_policy(nullptr);
    EXPECT_TRUE(licensed(Gate::kTraceto));
}

TEST_F(LicenceTest, WithoutTheRunsLicenceNothingIsCompleted) {
    GTEST_FLAG_SET(death_test_style, "fast");
    close("run");
    EXPECT_FALSE(completeRegistration(false));
    EXPECT_EQ(said, "ZEFT: no licence for run\n");
    EXPECT_EXIT(completeRegistration(true), testing::ExitedWithCode(1), "");
    qk_licence_policy(nullptr);
    EXPECT_TRUE(completeRegistration(false));
}

TEST_F(LicenceTest, GeneratedCodeFeelsARefusal) {
    GTEST_FLAG_SET(death_test_style, "fast");
    uint64_t low, high;
    close("wide_shift");
    qk_wide_shift_left64(100, 1, uint64_t{3}, uint64_t{1}, &low, &high);
    EXPECT_EQ(low | high, 0u);
    close("display");
    qkzeft_display(0, "u", nullptr, 1, 8, 5u);
    EXPECT_EQ(said, "ZEFT: no licence for display\n\n");
    close("array_string");
    qkzeft_write(0, "u", nullptr, 2, 0, "<%s>", 0, static_cast<const char*>(nullptr), 0,
                 uint64_t{8}, uint64_t{1}, uint64_t{0}, uint64_t{0}, "x");
    EXPECT_EQ(said, "ZEFT: no licence for array_string\n<>");
    close("malloc");
    void* const block = qk_malloc(1, "test");
    EXPECT_NE(block, nullptr);
    EXPECT_DEATH(qk_free(block), "qk_malloc_licensed");
    qk_licence_policy(nullptr);
    qk_free(qk_malloc(1, "test"));
    qk_free(qk_realloc(block, 2, "test"));
}

// ---- Generators

uint64_t shapeSeen;

int refuseSeven(unsigned word1, unsigned, uint64_t shape) {
    shapeSeen = shape;
    return word1 != 7;
}

void registerSection(const char* instance, unsigned word1) {
    static uint8_t storage[2];
    const QkGRNet rows[] = {net(0, 1, "a", &storage[0], 7, 0), net(0, 2, "b", &storage[1], -1, 3)};
    auto* const module = new kelvo_module("design", instance);
    QkRegistration::start(module, 1, 2, false);
    QkRegistration::genid(module, word1, 0xbeef);
    QkRegistration::exportk(module, 0x12);
    QkRegistration::addNets(module, 2, rows);
    QkRegistration::end(module);
}

TEST_F(LicenceTest, AGeneratorIsCheckedAndTold) {
    GTEST_FLAG_SET(death_test_style, "fast");
    registerSection("before", 7);
    qk_generator_check(refuseSeven);
    registerSection("none", 0);
    EXPECT_EQ(shapeSeen, 0u);  // not asked
    registerSection("known", 6);
    // Made by: python3 -c "s=0
    // for h,l in [(0,1),(7,0),(1,0),(0,0),(0,0),(0,2),(0xffffffff,3),(1,0),(0,0),(0,0)]:
    //     s=((s^(h<<32|l))*0x9e3779b97f4a7c15)%2**64
    // print(hex(s))"
    EXPECT_EQ(shapeSeen, uint64_t{0xec494bb2cd4bab10});
    EXPECT_EXIT((printToStandardError(), registerSection("unknown", 7)), testing::ExitedWithCode(1),
                "^Error: ZEFT Generate id mismatch in module unknown.?\n$");
    completeRegistration(true);
    said.clear();
    qk_cli("signature");
    EXPECT_EQ(said,
              "VERSION__BUILT_FOR_ZEFT_3_1_6__LIBVER_8__CODEREQ_0x020300__unknown\n"
              "before 00000007 0000beef 00000012 ec494bb2cd4bab10\n"
              "known 00000006 0000beef 00000012 ec494bb2cd4bab10\n"
              "none 00000000 0000beef 00000012 ec494bb2cd4bab10\n");
}

}  // namespace
