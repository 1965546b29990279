// Handles: finding, counting, reading and writing, and answering when there is nothing behind.
#include "handles/handles.h"

#include "tests/handles/small_design.h"

namespace {

using HandleTest = SmallDesignTest;

TEST_F(HandleTest, ANameHasOneHandleForTheOneThatMatches) {
    const struct {
        const char* pattern;
        const char* found;
    } cases[] = {
        {"top.a", "top.a"},      {"*.up", "top.up"}, {"top.w*", "top.wide"},  {"top.*", nullptr},
        {"top.none", nullptr},   {"a", nullptr},     {"top.hidden", nullptr}, {"top.h*", nullptr},
        {"top.b_copy", nullptr}, {"top.A", nullptr}, {"", nullptr},           {nullptr, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern ? c.pattern : "(null)");
        QkVariable* const found = get(c.pattern);
        EXPECT_EQ(found != nullptr, c.found != nullptr);
        if (!found) continue;
        EXPECT_STREQ(found->GetFullname(), c.found);
        EXPECT_EQ(get(c.found), found);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(QkVariable::Destroy(found), 0);
        EXPECT_EQ(get(c.found), found) << "as long as the name is there";
    }
}

TEST_F(HandleTest, WalksGiveEachMatchOnceInTheOrderOfListings) {
    const struct {
        const char* pattern;
        const char* names;
    } cases[] = {
        {"top.*a*", "top.a top.flag top.nflag "},
        {"top.b", "top.b "},
        {"*", "top.a top.b top.flag top.mem top.nflag top.slice top.term top.up top.wide "},
        {"none", ""},
        {"none*", ""},
        {nullptr, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pattern ? c.pattern : "(null)");
        std::string names;
        QkVariable* cookie;
        for (QkVariable* v = QkVariable::GetFirstByName(c.pattern, cookie); v;
             v = QkVariable::GetNextByName(c.pattern, cookie))
            names += std::string(v->GetFullname()) + " ";
        EXPECT_EQ(names, c.names);
        EXPECT_EQ(cookie, nullptr);
    }
}

TEST_F(HandleTest, Properties) {
    const struct {
        const char* name;
        int width, dimension, bound;
        uint64_t value;
        const void* address;
        const char* canonical;
    } cases[] = {
        {"top.a", 8, 0, 0, 0x5a, &a, "top.a"},
        {"top.wide", 100, 0, 0, wide[0], nullptr, "top.wide"},
        {"top.flag", 1, 0, 0, 1, &flag, "top.flag"},
        {"top.nflag", 1, 0, 0, 0, nullptr, "top.nflag"},
        {"top.up", 20, 0, 0, 0x12345, &up, "top.up"},
        {"top.term", 20, 0, 0, 0x12345, &up, "top.up"},
        {"top.slice", 6, 0, 0, 0x1f, nullptr, "top.wide"},
        {"top.mem", 12, 1, 16, 0, mem, "top.mem"},
        {"top.b", 8, 0, 0, 0x77, &b, "top.b"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QkVariable* const v = get(c.name);
        ASSERT_TRUE(v);
        EXPECT_EQ(v->GetWidth(), c.width);
        EXPECT_EQ(v->GetDimension(), c.dimension);
        EXPECT_EQ(v->GetBound(0), c.bound);
        EXPECT_EQ(v->GetBound(7), c.bound);
        EXPECT_EQ(v->GetValue(), c.value);
        EXPECT_EQ(v->GetAddress(), c.address);
        EXPECT_TRUE(v->IsStateful() && v->IsReupdate());
        EXPECT_STREQ(v->GetCanonical()->GetFullname(), c.canonical);
        EXPECT_EQ(v->GetHandle(), nullptr);
        EXPECT_EQ(v->SetHandle(&a), 0);
        EXPECT_EQ(get(c.name)->GetHandle(), &a);
    }
}

TEST_F(HandleTest, ChunksAndElements) {
    QkVariable* const w = get("top.wide");
    EXPECT_EQ(w->GetWideValue(1), 0x123456789u);
    const struct {
        const char* name;
        int chunk, index, result;
        uint64_t value, readBack;
    } writes[] = {
        {"top.wide", 1, 0, 0, ~uint64_t{0}, 0xfffffffff},
        {"top.wide", 2, 0, 18, 1, 0},
        {"top.wide", -1, 0, 18, 1, 0},
        {"top.wide", 0, 1, 1, 1, 0},
        {"top.wide", 0, 0, 0, 5, 5},
        {"top.slice", 0, 0, 0, 0x2a, 0x2a},
        {"top.a", 0, 0, 0, 0x1ff, 0xff},
        {"top.a", 1 << 30, 0, 18, 1, 0},
        {"top.nflag", 0, 0, 0, 1, 1},
        {"top.mem", 0, -3, 0, 0x1abc, 0xabc},
        {"top.mem", 0, 12, 0, 7, 7},
        {"top.mem", 0, 13, 1, 1, 0},
        {"top.mem", 0, -4, 1, 1, 0},
        {"top.mem", 1, 0, 18, 1, 0},
    };
    for (const auto& c : writes) {
        SCOPED_TRACE(testing::Message() << c.name << " " << c.chunk << " " << c.index);
        EXPECT_EQ(get(c.name)->SetWideArrayValue(c.value, c.chunk, c.index), c.result);
        EXPECT_EQ(get(c.name)->GetWideArrayValue(c.chunk, c.index), c.readBack);
    }
    EXPECT_EQ(wide[0], 0xa000000000000005);
    EXPECT_EQ(wide[1], 0xffffffffeu) << "the slice has the two lowest bits of this part";
    EXPECT_EQ(flag, 0);
    EXPECT_EQ(mem[15], 0xabc);
    EXPECT_EQ(mem[0], 7);
    EXPECT_EQ(get("top.mem")->GetArrayValue(12), 7u);
    EXPECT_EQ(get("top.mem")->SetArrayValue(3, 0), 0);
    EXPECT_EQ(get("top.mem")->GetValue(), 3u);
    EXPECT_EQ(get("top.up")->SetValue(0xedcba), 0);
    EXPECT_EQ(up, 0xedcbau);
    EXPECT_EQ(get("top.b")->SetValue(0x12), 0);
    EXPECT_EQ(bCopy, 0x12) << "every copy is written";
}

/// Every member, called on a handle with nothing behind. The sanitizer
/// must not mind that one is null.
__attribute__((no_sanitize("undefined"), noinline)) void expectNothing(QkVariable* v, int forBreaks,
                                                                       int forEnabling) {
    EXPECT_EQ(v->GetValue() | v->GetWideValue(0) | v->GetArrayValue(0), 0u);
    EXPECT_EQ(v->SetValue(1), 11);
    EXPECT_EQ(v->SetWideArrayValue(1, 9, 9), 11);
    EXPECT_EQ(v->GetWidth() | v->GetDimension() | v->GetBound(0), 0);
    EXPECT_EQ(v->GetFullname(), nullptr);
    EXPECT_EQ(v->GetCanonical(), nullptr);
    EXPECT_EQ(v->GetAddress(), nullptr);
    EXPECT_FALSE(v->IsStateful() || v->IsReupdate() || v->GetChangeNotify());
    EXPECT_EQ(v->SetHandle(nullptr), 0);
    EXPECT_EQ(v->GetHandle(), nullptr);
    EXPECT_EQ(v->RegisterBreak(nullptr, QkVariable::BreakOnChange, nullptr), forBreaks);
    EXPECT_EQ(v->RegisterBreak(nullptr, QkVariable::BreakOnEqual, 1, uint64_t{1}), forBreaks);
    EXPECT_EQ(v->UnregisterBreak(), forBreaks);
    EXPECT_EQ(v->EnableBreak(), forEnabling);
    EXPECT_EQ(v->DisableBreak(), forEnabling);
    EXPECT_EQ(v->SetChangeNotify(true), 11);
    QkVariable* cookie = v;
    if (v) {
        EXPECT_EQ(QkVariable::GetNextByName("*", cookie), nullptr) << "no place to go on from";
    }
    cookie = v;
    EXPECT_EQ(QkVariable::DeleteByPointer(cookie), v ? 11 : 9);
    EXPECT_EQ(QkVariable::AddIdleBits(v, 1, 0), v ? forBreaks : 9);
}

TEST_F(HandleTest, NullAndStaleHandlesAnswer) {
    expectNothing(nullptr, 11, 11);
    EXPECT_EQ(QkVariable::Destroy(nullptr), 9);

    static uint8_t x;
    kelvo_module* const later = registerNets("later", {net(0, 1, "x", &x, 7, 0)});
    QkVariable* const gone = get("later.x");
    QkVariable* const unused = get("later.x");
    ASSERT_EQ(gone->RegisterBreak(nullptr, QkVariable::BreakOnChange, nullptr), 0);
    ASSERT_EQ(gone->SetChangeNotify(true), 0);
    delete later;
    expectNothing(gone, 31, 27);
    EXPECT_EQ(QkVariable::Destroy(unused), 0);  // GetNextByName() has given one back
    expectNothing(gone, 11, 11);
    EXPECT_EQ(QkVariable::Destroy(gone), 11) << "all references were given back";
    step();
    EXPECT_THAT(qkLiveModel->handles.brks, testing::SizeIs(1)) << "stays, as that of no variable";
}

TEST_F(HandleTest, MemoryOfHandlesServesAgainButNotAtOnce) {
    QkVariable* first = QkVariable::CreateByName("v", 1, 1);
    QkVariable* const stale = first;
    ASSERT_EQ(QkVariable::DeleteByPointer(first), 0);
    for (int i = 0; i < 1000; ++i) {
        QkVariable* next = QkVariable::CreateByName("v", 1, 1);
        ASSERT_NE(next, stale);
        ASSERT_EQ(QkVariable::DeleteByPointer(next), 0);
        ASSERT_EQ(stale->GetValue(), 0u);
    }
    for (int i = 0; i < 100; ++i) {
        QkVariable* next = QkVariable::CreateByName("v", 1, 1);
        if (next == stale) return;
        QkVariable::DeleteByPointer(next);
    }
    FAIL() << "never used again";
}

}  // namespace
