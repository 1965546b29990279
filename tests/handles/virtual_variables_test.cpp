// Virtual variables: what may be catenated, and how the value is read, written and recorded.
#include <random>

#include "tests/handles/small_design.h"

namespace {

using VirtualTest = SmallDesignTest;

TEST_F(VirtualTest, CreationIsRefusedWithACode) {
    const struct {
        const char *name, *source;
        bool whole;
        int left, right, code;
    } cases[] = {
        {nullptr, "top.a", true, 0, 0, 25},
        {"", "top.a", true, 0, 0, 25},
        {"x y", "top.a", true, 0, 0, 25},
        {"x*", "top.a", true, 0, 0, 25},
        {"a", "top.b", true, 0, 0, 26},
        {"hidden", "top.b", true, 0, 0, 26},
        {"taken", "top.b", true, 0, 0, 26},
        {"v", "top.none", true, 0, 0, 2},
        {"v", nullptr, true, 0, 0, 2},
        {"v", "top.*", true, 0, 0, 2},
        {"v", "top.hidden", true, 0, 0, 2},
        {"v", "top.v", true, 0, 0, 2},
        {"v", "top.mem", true, 0, 0, 3},
        {"v", "top.mem", false, 3, 0, 3},
        {"v", "top.taken", true, 0, 0, 4},
        {"v", "top.a", false, 8, 0, 5},
        {"v", "top.a", false, 0, 7, 5},
        {"v", "top.a", false, 3, -1, 5},
        {"v", "top.b", false, 7, 0, 5},
        {"v", "top.up", false, 23, 4, 5},
        {"v", "top.up", false, 3, 8, 5},
        {"v", "top.slice", false, 9, 3, 5},
        {"v", "top.a", false, INT32_MAX, INT32_MIN, 5},
        {"v", "top.flag", false, 1, 1, 5},
    };
    ASSERT_TRUE(QkVariable::CreateByName("taken", 4, 9));
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.name ? c.name : "(null)") << " "
                                        << (c.source ? c.source : "(null)") << c.left);
        int code = -1;
        QkVariable* const made =
            c.whole ? QkVariable::CreateByName(c.name, c.source, &code)
                    : QkVariable::CreateByName(c.name, c.source, c.left, c.right, &code);
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(code, c.code);
        EXPECT_EQ(get("top.v"), nullptr);
    }
    const struct {
        int width;
        uint64_t value;
        int code;
    } idle[] = {{0, 0, 7},  {-1, 0, 7}, {65, 0, 7}, {INT32_MAX, 0, 7},    {INT32_MIN, 1, 7},
                {4, 16, 5}, {4, 15, 0}, {1, 2, 5},  {64, ~uint64_t{0}, 0}};
    for (const auto& c : idle) {
        int code = -1;
        QkVariable* v = QkVariable::CreateByName("v", c.width, c.value, &code);
        EXPECT_EQ(code, c.code) << c.width;
        EXPECT_EQ(v != nullptr, c.code == 0);
        if (v) {
            EXPECT_EQ(v->GetValue(), c.value);
            EXPECT_EQ(QkVariable::DeleteByPointer(v), 0);
        }
    }
    EXPECT_EQ(QkVariable::AddByName(nullptr, "top.a"), 9);
    EXPECT_EQ(QkVariable::AddByName(get("top.a"), "top.b"), 10);
    EXPECT_EQ(QkVariable::AddIdleBits(get("top.taken"), 4, 16), 5);
    EXPECT_EQ(QkVariable::AddByName(get("top.taken"), "top.taken"), 4) << "never of itself";
    EXPECT_EQ(get("top.taken")->GetWidth(), 4) << "a refusal adds nothing";
    EXPECT_EQ(QkVariable::DeleteByName("top.a"), 10);
    EXPECT_EQ(QkVariable::DeleteByName("nosuch"), 8);
    EXPECT_EQ(QkVariable::DeleteByName(nullptr), 8);
    EXPECT_EQ(QkVariable::DeleteByName("taken"), 0) << "by the name that it was made with";
    QkVariable* null = nullptr;
    EXPECT_EQ(QkVariable::DeleteByPointer(null), 9);
}

TEST_F(VirtualTest, AgreesWithAModelOfDigits) {
    // Elements with the bits that they show, top first, as places in the sources' own texts.
    const struct {
        const char* name;
        int width, left, step;  // the number of the top bit, and from one bit to the next
    } sources[] = {{"top.a", 8, 7, -1},     {"top.wide", 100, 99, -1}, {"top.up", 20, 4, 1},
                   {"top.b", 8, 40, -1},    {"top.slice", 6, 9, -1},   {"top.term", 20, 0, 1},
                   {"top.nflag", 1, 0, -1}, {"top.flag", 1, 0, -1}};
    std::mt19937 random(20261121);
    const auto below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const auto digits = [](const char* net) {
        std::string text;
        QkVariable* const v = get(net);
        for (int bit = v->GetWidth(); bit-- > 0;)
            text += v->GetWideValue(bit / 64) >> bit % 64 & 1 ? '1' : '0';
        return text;
    };
    for (int turn = 0; turn < 200; ++turn) {
        SCOPED_TRACE(turn);
        QkVariable* v = QkVariable::CreateByName("v", 3, 5);
        ASSERT_TRUE(v);
        std::string expected = "101";
        for (int i = below(6); i > 0; --i) {
            const auto& s = sources[below(8)];
            if (below(4) == 0) {
                ASSERT_EQ(QkVariable::AddIdleBits(v, 2, 2), 0);
                expected += "10";
                continue;
            }
            const int from = below(s.width), count = 1 + below(s.width - from);
            if (count == s.width)
                ASSERT_EQ(QkVariable::AddByName(v, s.name), 0);
            else
                ASSERT_EQ(QkVariable::AddByName(v, s.name, s.left + s.step * from,
                                                s.left + s.step * (from + count - 1)),
                          0);
            expected +=
                digits(s.name).substr(static_cast<size_t>(from), static_cast<size_t>(count));
        }
        EXPECT_EQ(digits("top.v"), expected);
        // What is written is read back through the sources; constants stay.
        for (int chunk = 0; chunk * 64 < v->GetWidth(); ++chunk)
            ASSERT_EQ(v->SetWideValue(random() * (uint64_t{random()} << 20), chunk), 0);
        EXPECT_EQ(digits("top.v").substr(0, 3), "101");
        EXPECT_EQ(v->GetWideArrayValue(0, 1), 0u);
        EXPECT_EQ(v->SetWideArrayValue(1, 0, 1), 1);
        ASSERT_EQ(QkVariable::DeleteByPointer(v), 0);
    }
    QkVariable* v = QkVariable::CreateByName("v", "top.a", 3, 0);
    QkVariable::AddIdleBits(v, 4, 6);
    QkVariable::AddByName(v, "top.up", 8, 15);
    EXPECT_EQ(v->SetValue(0xf1234), 0);
    EXPECT_EQ(v->GetValue(), 0x1634u) << "a write passes constants over";
    EXPECT_EQ(a & 0xf, 1);
}

TEST_F(VirtualTest, IsListedTracedShownAndDumped) {
    QkVariable* v = QkVariable::CreateByName("v", "top.wide");
    QkVariable::AddByName(v, "top.a", 3, 2);
    EXPECT_EQ(v->GetWidth(), 102);
    EXPECT_EQ(v->GetDimension() | v->GetBound(0), 0);
    EXPECT_EQ(v->GetAddress(), nullptr);
    EXPECT_EQ(v->GetCanonical(), nullptr);
    EXPECT_TRUE(v->IsStateful());
    for (const char* line : {"ls -v", "ls -d top.v", "trace top.v", "ls -t", "ls -vt top.v"})
        qk_cli(line);
    // 64 bits and the 38 below them, each with digits of its own
    EXPECT_EQ(takeSaid(),
              "top.v     v   : 123456789fedcba921d950c842\n"
              "top.v [101:0]\n"
              "No matching signals (in 12 names)\n"
              "top.v     vt  : 123456789fedcba921d950c842\n");
}

TEST_F(VirtualTest, IsRecordedWhenItChanges) {
    QkVariable* v = QkVariable::CreateByName("v", "top.a", 7, 4);
    QkVariable::AddByName(v, "top.a", 1, 1);
    QkVariable::AddByName(v, "top.b");
    trace("top.v");
    qk_cli("show top.v");
    takeSaid();
    a = 0x5f;  // no bit of it in sight
    step();
    a = 0x1d;
    b = 1;
    step();
    EXPECT_EQ(takeSaid(), "       2ns: top.v = 0201\n") << "once for both sources";
    EXPECT_EQ(QkVariable::AddIdleBits(v, 3, 2), 0);
    step();
    a = 0;
    step();
    EXPECT_EQ(takeSaid(), "       4ns: top.v = 000a\n");
    qk_save("x.vcd");
    EXPECT_THAT(readVcd("x.vcd"), testing::EndsWith("$var wire 16  !   v      [15:0] $end\n"
                                                    "$upscope $end\n\n$enddefinitions $end\n"
                                                    "#0\n$dumpvars\nb1000000001010 !\n$end\n"
                                                    "#2\n#4\nb1010 !\n"))
        << "values of the narrower variable are no values of this one";
}

TEST_F(VirtualTest, AContinuousSaveKeepsATracedVariable) {
    QkVariable* v = QkVariable::CreateByName("v", "top.a");
    QkVariable* w = QkVariable::CreateByName("w", "top.a");
    trace("top.v");
    ASSERT_EQ(qk_traceto("x.vcd"), 1);
    EXPECT_EQ(QkVariable::AddIdleBits(v, 1, 1), 30);
    EXPECT_EQ(QkVariable::DeleteByPointer(v), 30);
    EXPECT_EQ(QkVariable::DeleteByName("v"), 30);
    EXPECT_EQ(QkVariable::AddIdleBits(w, 1, 1), 0);
    EXPECT_EQ(QkVariable::DeleteByPointer(w), 0);
    EXPECT_TRUE(v && !w);
    qk_traceclose();
    EXPECT_EQ(QkVariable::DeleteByPointer(v), 0);
    EXPECT_EQ(qkLiveModel->writer.active_traces, nullptr);
    EXPECT_EQ(name("top.a")->trace->ntrace, 0);
}

TEST_F(VirtualTest, ASourceMayGoAndTheTopScopeStaysAWrapper) {
    static uint8_t x = 0xff;
    kelvo_module outer("outer", "aaa");
    outer.qk_get_scope(false);
    auto* const inner = new kelvo_module("inner");
    inner->qk_setup("inner", &outer);
    const QkGRNet row = net(0, 1, "x", &x, 7, 0, QK_type_inout);
    uint8_t* port = &x;
    QkGRNet rows[] = {row};
    rows[0].address = &port;
    QkRegistration::start(inner, 1, 1, false);
    QkRegistration::addNets(inner, 1, rows);
    QkRegistration::end(inner);

    QkVariable* v = QkVariable::CreateByName("v", "aaa.inner.x");
    ASSERT_TRUE(v);
    EXPECT_STREQ(v->GetFullname(), "aaa.v");
    QkVariable::AddByName(v, "top.a");
    EXPECT_TRUE(isStimulus(name("aaa.inner.x"))) << "a user's name makes no level of the design";
    v->RegisterBreak(nullptr, QkVariable::BreakOnChange, nullptr);
    qk_cli("show aaa.v");
    delete inner;
    EXPECT_EQ(v->GetValue(), 0x5au) << "its bits are zero then";
    x = 1;
    a = 3;
    takeSaid();
    step();
    EXPECT_EQ(takeSaid(), "       1ns: aaa.v = 0003\nStopped at breakpoint 1\n");
    EXPECT_EQ(v->SetValue(0x1234), 0);
    EXPECT_EQ(a, 0x34);
    EXPECT_EQ(QkVariable::DeleteByPointer(v), 0);
}

TEST_F(VirtualTest, ThereIsALimitToItsWidth) {
    QkVariable* v = QkVariable::CreateByName("v", "top.wide");
    int added = 1;
    while (QkVariable::AddByName(v, "top.wide") == 0) ++added;
    EXPECT_EQ(added, (1 << 24) / 100);
    EXPECT_EQ(v->GetWidth(), added * 100);
    EXPECT_EQ(v->GetWideValue(added * 100 / 64), wide[1] << 12 | wide[0] >> 52);
    qk_cli("trace top.v");
    a = 1;
    step();
}

}  // namespace
