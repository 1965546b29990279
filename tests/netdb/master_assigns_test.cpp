// Copies of a net in several places of the model, and the change lists of arrays.
#include <cstring>

#include "tests/support/model_test.h"

namespace {

QkGRNet copyOf(QkGRNet row, const void* owner, bool promised = true) {
    row.trace_word = owner;
    if (promised) row.flags |= QK_flag_shadow;
    return row;
}

QkGRNet array(int id, const char* name, void* address, int left, int low, int high, void* cell,
              unsigned parts = 0) {
    QkGRNet row =
        net(0, id, name, address, left, parts && left > 63 ? 64 : 0, 1 | QK_array | parts);
    row.array_left = low;
    row.array_right = high;
    row.array_data = cell;
    return row;
}

MasterArrayAssign* recordOf(uint64_t cell) { return reinterpret_cast<MasterArrayAssign*>(cell); }

class MasterAssignsTest : public ModelTest {
protected:
    void SetUp() override {
        ModelTest::SetUp();
        GTEST_FLAG_SET(death_test_style, "fast");
    }
};

/// Fields at the places of both owner and shadow.
struct Fields {
    uint32_t a, b;
    uint8_t c, pad1, d;
    uint8_t pad2;
    uint16_t e;
    uint8_t pad3[4];
    uint8_t f;
    alignas(8) uint64_t g;
};

TEST_F(MasterAssignsTest, CopiesFollowTheirOwnersInFewRuns) {
    static Fields owner, shadow;
    std::memset(&owner, 0, sizeof owner);
    std::memset(&shadow, 0x55, sizeof shadow);
    struct {
        const char* name;
        void *from, *to;
        int width;
    } const fields[] = {
        {"g", &owner.g, &shadow.g, 64}, {"e", &owner.e, &shadow.e, 9},
        {"a", &owner.a, &shadow.a, 32}, {"d", &owner.d, &shadow.d, 8},
        {"b", &owner.b, &shadow.b, 17}, {"c", &owner.c, &shadow.c, 1},
        {"f", &owner.f, &shadow.f, 8},
    };
    std::vector<QkGRNet> owners, shadows;
    for (const auto& f : fields) {
        const int id = static_cast<int>(owners.size()) + 1;
        owners.push_back(net(0, id, f.name, f.from, f.width - 1, 0));
        shadows.push_back(copyOf(net(0, id, f.name, f.to, f.width - 1, 0), f.from));
    }
    // A net in the byte between c and d: it is not to be copied over.
    shadows.push_back(net(0, 8, "between", &shadow.pad1, 7, 0));
    registerNets("top", owners);
    kelvo_module* const child = registerNets("child", shadows);
    owner = Fields{1, 2, 1, 0xee, 4, 0xee, 5, {0xee, 0xee, 0xee, 0xee}, 6, 7};
    child->qk_finalize_wave();
    const auto& runs = child->qk_get_scope(false)->masterAssigns;
    ASSERT_EQ(runs.size(), 4u);
    EXPECT_EQ(runs[0].bytes, 9);  // a, b, c
    EXPECT_EQ(runs[1].bytes, 4);  // d, a byte of nobody, e
    EXPECT_EQ(runs[2].bytes, 1);  // f, too far from both neighbours
    EXPECT_EQ(shadow.a + shadow.b + shadow.c + shadow.d + shadow.e + shadow.f, 19u);
    EXPECT_EQ(shadow.g, 7u);
    EXPECT_EQ(shadow.pad1, 0x55);
    EXPECT_EQ(shadow.pad2, 0xee);
    EXPECT_EQ(shadow.pad3[0], 0x55);
    EXPECT_EQ(said, "");
}

TEST_F(MasterAssignsTest, AWriteReachesEveryCopyInItsOwnPolarity) {
    static uint8_t owner, second, third, opposite;
    registerNets("top", {net(0, 1, "n", &owner, 7, 0)});
    QkGRNet inverted = copyOf(net(0, 2, "ninv", &opposite, 7, 0, 1), &owner, false);
    kelvo_module* const a =
        registerNets("a", {copyOf(net(0, 1, "n", &second, 7, 0), &owner), inverted});
    QkGRNet replaced = net(0, 2, "nn", nullptr, 7, 0, 1, QK_flag_replaced);
    replaced.replacement = -1;
    registerNets("b", {copyOf(net(0, 1, "n", &third, 7, 0), &owner, false), replaced});
    name("a.ninv")->trace->invert = true;
    completeRegistration(true);
    const char* const names[] = {"top.n", "a.n", "a.ninv", "b.n", "b.nn"};
    for (const char* written : names) {
        SCOPED_TRACE(written);
        const bool isInverse = std::string(written) == "b.nn";
        owner = second = third = 0xf0;
        opposite = 0x0f;
        ASSERT_EQ(writeBits(name(written), 0, 2, 4, isInverse ? 0b0101 : 0b1010), 0);
        EXPECT_EQ(owner, 0xe8);
        EXPECT_EQ(second, 0xe8);
        EXPECT_EQ(third, 0xe8);
        EXPECT_EQ(opposite, 0x17);
        EXPECT_EQ(readChunk(name("b.nn"), 0, 0), 0x17u);
    }
    // Only what was promised is copied by the library.
    owner = 1;
    a->qk_finalize_wave();
    EXPECT_EQ(second, 1);
    EXPECT_EQ(third, 0xe8);
}

TEST_F(MasterAssignsTest, OwnersThatCannotBeFoundAreTold) {
    static uint8_t owner, copies[8], unknown[2];
    uint8_t* const missing = unknown;
    registerNets("top", {net(0, 1, "n", &owner, 7, 0)});
    registerNets("u", {
                          copyOf(net(0, 1, "lost", &copies[0], 7, 0), missing),
                          copyOf(net(0, 2, "narrow", &copies[1], 6, 0), &owner),
                          copyOf(net(0, 3, "x_PAM_PMabc", &copies[2], 7, 0), missing, false),
                          copyOf(net(0, 4, "x_QK_ACR_PMabc", &copies[3], 7, 0), missing, false),
                          copyOf(net(0, 5, "x_PAM_PM", &copies[4], 7, 0), missing, false),
                      });
    completeRegistration(true);
    EXPECT_EQ(said,
              "Model warning: owner variable not registered: u.lost\n"
              "Model warning: owner variables do not match: u.narrow\n"
              "Model warning: owner variable not registered: u.x_PAM_PM\n");
    registerNets("v", {net(0, 1, "promised", &copies[5], 7, 0, 1, QK_flag_shadow)});
    EXPECT_EXIT((printToStandardError(), completeRegistration(true)), testing::ExitedWithCode(1),
                "^Registration Error \\(PM\\) in net v.promised\nPlease send");
}

TEST_F(MasterAssignsTest, CopiesGoWithTheirModules) {
    static uint8_t second;
    static uint16_t other[20];
    auto owner = std::make_unique<uint8_t>();
    auto memory = std::make_unique<uint16_t[]>(20);
    auto cell = std::make_unique<uint64_t>();
    QkGRNet copy = array(2, "m", other, 15, 0, 19, nullptr);
    kelvo_module* const child = registerNets(
        "u", {copyOf(net(0, 1, "n", &second, 7, 0), owner.get()), copyOf(copy, memory.get())});
    kelvo_module* const top = registerNets(
        "top",
        {net(0, 1, "n", owner.get(), 7, 0), array(2, "m", memory.get(), 15, 0, 19, cell.get())});
    child->qk_finalize_wave();
    trace("*");
    *owner = 5;
    memory[3] = 9;
    recordOf(*cell)->note(3);
    child->qk_finalize_wave();
    EXPECT_EQ(second, 5);
    EXPECT_EQ(other[3], 9);
    delete top;
    owner.reset();
    memory.reset();
    cell.reset();
    said.clear();
    child->qk_finalize_wave();  // nothing is copied from where the owners were
    EXPECT_EQ(said,
              "Model warning: owner variable not registered: u.n\n"
              "Model warning: owner variable not registered: u.m\n");
    EXPECT_EQ(writeBits(name("u.n"), 0, 0, 8, 1), 0);
    EXPECT_EQ(second, 1);
}

// ---- Arrays

TEST_F(MasterAssignsTest, AnArraysListHasRoomByItsSize) {
    const std::pair<int, int> cases[] = {{5, 10}, {50, 10}, {119, 11}, {500, 50}, {5000, 100}};
    static uint8_t storage[5000];
    int id = 0;
    for (const auto& [elements, capacity] : cases) {
        uint64_t cell = 0;
        const std::string instance = "m" + std::to_string(++id);
        kelvo_module* const module =
            registerNets(instance.c_str(), {array(1, "a", storage, 7, elements - 1, 0, &cell)});
        ASSERT_NE(cell, 0u);
        EXPECT_EQ(recordOf(cell)->list, nullptr);
        trace((instance + ".*").c_str());
        EXPECT_EQ(recordOf(cell)->capacity, capacity);
        delete module;
    }
}

/// A memory with elements of 100 bits in two areas, an owner of shadows in two other modules.
class WideMemoryTest : public MasterAssignsTest {
protected:
    static constexpr int kElements = 200;
    static inline uint64_t low[3][kElements];
    static inline uint64_t high[3][kElements];
    uint64_t cell = 0;
    kelvo_module* modules[3];

    void SetUp() override {
        MasterAssignsTest::SetUp();
        const char* const instances[] = {"top", "a", "b"};
        for (int i = 0; i < 3; ++i) {
            // Owner and shadows count in different directions.
            const int first = i == 1 ? 10 : 10 + kElements - 1, last = i == 1 ? 209 : 10;
            QkGRNet rows[] = {array(1, "mem", low[i], 63, first, last, &cell, 0x200),
                              array(2, "mem", high[i], 99, first, last, &cell, 0x200)};
            if (i > 0) {
                rows[0].array_data = rows[1].array_data = nullptr;
                rows[0] = copyOf(rows[0], low[0]);
                rows[1] = copyOf(rows[1], high[0]);
            }
            modules[i] = registerNets(instances[i], {rows[0], rows[1]});
        }
        completeRegistration(true);
    }
    void write(int element, uint64_t highChunk) {
        high[0][element] = highChunk;
        if (recordOf(cell)) recordOf(cell)->note(static_cast<uint32_t>(element));
    }
    void wave() {
        ++qk_cycle;
        for (kelvo_module* module : modules) module->qk_finalize_wave();
    }
};

TEST_F(WideMemoryTest, ShadowsAndShownChangesFollowTheWrites) {
    qk_strict = false;
    qk_cli("show top.mem");
    said.clear();
    write(3, 0xabc);
    write(3, 0xabd);
    write(4, 0);  // no change
    wave();
    EXPECT_EQ(said, "       1ns: top.mem =  [13] 000000abd0000000000000000\n");
    EXPECT_EQ(high[1][3], 0xabdu);
    EXPECT_EQ(high[2][3], 0xabdu);
    EXPECT_EQ(readChunk(name("a.mem"), 1, 206), 0xabdu);

    // More writes than the list has room for: all are found.
    said.clear();
    for (int i = 0; i < 50; ++i) write(4 * i, static_cast<uint64_t>(i));
    EXPECT_EQ(recordOf(cell)->count, recordOf(cell)->capacity + 1);
    low[0][199] = 7;  // unlisted
    wave();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 50);  // element 0 stays 0, 199 is new
    EXPECT_THAT(said, testing::HasSubstr("top.mem =  [209] 0000000000000000000000007\n"));
    EXPECT_EQ(recordOf(cell)->count, 0);
    EXPECT_EQ(std::memcmp(high[0], high[2], sizeof high[0]), 0);
    EXPECT_EQ(std::memcmp(low[0], low[1], sizeof low[0]), 0);

    // A write through a shadow reaches the owner and the other shadow, and is seen at the next
    // wave.
    said.clear();
    EXPECT_EQ(writeBits(name("b.mem"), 12, 60, 8, 0xff), 0);
    EXPECT_EQ(high[0][2], 0xfu);
    EXPECT_EQ(low[1][2], uint64_t{0xf} << 60);
    wave();
    EXPECT_EQ(said, "       3ns: top.mem =  [12] 00000000ff000000000000000\n");

    qk_cli("unshow *");
    qk_cli("untrace *");
    said.clear();
    write(7, 1);
    wave();
    EXPECT_EQ(said, "");
    EXPECT_EQ(high[2][7], 1u);
}

TEST_F(WideMemoryTest, AShadowIsFollowedAsAWhole) {
    trace("a.mem");
    qk_cli("show a.mem");
    said.clear();
    write(3, 0xabc);
    wave();
    EXPECT_EQ(said, "       1ns: a.mem =  [206] 000000abc0000000000000000\n\n") << "strict";
    // History has the change under the time of its wave.
    ASSERT_EQ(qk_save("x.vcd"), 1);
    EXPECT_THAT(readVcd("x.vcd"), testing::HasSubstr("#1\n"));
}

TEST_F(WideMemoryTest, AnArrayOfNoModuleIsComparedAtCaptures) {
    qk_strict = false;
    static uint8_t mem[4];
    qk_register1("free.mem", 1 | QK_array, mem, 5, 0, 3, 0);
    qk_cli("show free.mem");
    const auto saidBy = [](auto&& act) {
        said.clear();
        act();
        return said;
    };
    mem[2] = 0xff;  // bits above the width are not shown
    EXPECT_EQ(saidBy([] { advance(); }), "       1ns: free.mem =  [2] 3f\n");
    EXPECT_EQ(saidBy([] { advance(); }), "");
    // A break hears of no change before it, and the older ones do.
    QkVariable* const variable = QkVariable::GetByName("free.mem");
    variable->RegisterBreak(nullptr, QkVariable::BreakOnChange, 0);
    mem[1] = 1;
    const auto addBreak = [&] { variable->RegisterBreak(nullptr, QkVariable::BreakOnChange, 0); };
    EXPECT_EQ(saidBy(addBreak), "       2ns: free.mem =  [1] 01\nStopped at breakpoint 1\n");
    EXPECT_EQ(saidBy([] { advance(); }), "");
    mem[0] = 1;
    EXPECT_EQ(saidBy([] { kelvo_finish(); }),
              "       3ns: free.mem =  [0] 01\nStopped at breakpoint 1\nStopped at breakpoint 2\n");
    qk_cli("untrace *");
    variable->UnregisterBreak();
    EXPECT_TRUE(qkLiveModel->unwaved.empty());
}

}  // namespace
