#include "base/dtable.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <map>
#include <random>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;
using Key = std::pair<int32_t, void*>;
using Entry = std::pair<const Key, void*>;

char cells[700];
std::mt19937 randomNumbers;

/// A table of pointers beside an ordered map that it has to agree with.
struct Twins {
    ~Twins() { Dtable_free(&table); }
    void put(Key key, void* newValue) {
        void *k = key.second, *v = newValue;
        Dtable_put(&table, key.first, &k, &v, Dtable_comparePointers);
        const auto old = map.find(key);
        const bool wasThere = old != map.end();
        EXPECT_EQ(v, wasThere ? old->second : nullptr);
        EXPECT_EQ(k, newValue && !wasThere ? nullptr : key.second);
        newValue ? void(map[key] = newValue) : void(map.erase(key));
    }
    /// Walks from the first entry to the last, and removes every third.
    void walk() {
        at = map.begin();
        Dtable_map(&table, this, [](int32_t h, void* k, void* v, void* context) -> void* {
            Twins& twins = *static_cast<Twins*>(context);
            EXPECT_EQ(*twins.at, Entry(Key(h, k), v));
            if (randomNumbers() % 3 != 0) return (twins.at++)->second = cells;
            twins.at = twins.map.erase(twins.at);
            return nullptr;
        });
        EXPECT_TRUE(at == map.end());
    }
    /// Checks a subtree against the map from `at` on. @return its entries
    int checked(const Dtable* t) {
        if (!t) return 0;
        EXPECT_EQ(t->nleft, checked(t->left));
        EXPECT_EQ(*at++, Entry(Key(t->h, t->k), t->v));
        EXPECT_EQ(t->nright, checked(t->right));
        return t->nleft + t->nright + 1;
    }

    Dtable* table = nullptr;
    std::map<Key, void*> map;
    std::map<Key, void*>::iterator at;
};

TEST(DtableTest, AgreesWithAnOrderedMap) {
    const auto below = [](size_t limit) { return static_cast<unsigned>(randomNumbers() % limit); };
    for (unsigned seed = 0; seed < 9; ++seed) {
        SCOPED_TRACE(seed);
        randomNumbers.seed(seed);
        const auto anyKey = [&] {
            const unsigned i = below(700), hashes[] = {i * 0x9e3779b9u, 0, i % 3 - 1};
            return Key(hashes[seed % 3], &cells[i]);
        };
        Twins twins;
        for (unsigned step = 0; step < 6000 && !testing::Test::HasFailure(); ++step) {
            const bool grows = step / 1500 % 2 == 0;  // thin trees meet puts again
            twins.put(anyKey(), below(10) < (grows ? 8 : 2) ? &cells[below(64)] : nullptr);
            const Key key = anyKey();
            EXPECT_EQ(Dtable_get(twins.table, key.first, key.second, Dtable_comparePointers),
                      twins.map.count(key) ? twins.map[key] : nullptr);
            if (step % 700 == 0) twins.walk();
            if (step % 50 != 0) continue;
            twins.at = twins.map.begin();
            EXPECT_EQ(twins.checked(twins.table), static_cast<int>(twins.map.size()));
        }
        Dtable_map(&twins.table, nullptr,
                   [](int32_t, void*, void*, void*) { return std::malloc(8); });
        Dtable_map(&twins.table, nullptr, Dtable_freeValue);
        EXPECT_EQ(twins.table, nullptr);
    }
}

// A put rebuilds the side that it goes to when that has more than 10 entries and twice the other's.
TEST(DtableTest, RebuildsByWeight) {
    // From a hash down to 0, then from it up to another: what the root has.
    const struct {
        int down, up, root, left, right;
    } cases[] = {{0, 11, 0, 0, 11}, {0, 12, 5, 5, 7},  {0, 15, 5, 5, 10},  {0, 16, 5, 5, 11},
                 {0, 17, 8, 8, 9},  {12, 12, 6, 6, 6}, {12, 18, 6, 6, 12}, {12, 19, 9, 9, 10}};
    for (const auto& c : cases) {
        Twins twins;
        for (int h = c.down; h >= 0; --h) twins.put({h, cells}, cells);
        for (int h = c.down + 1; h <= c.up; ++h) twins.put({h, cells}, cells);
        const Dtable* const t = twins.table;
        EXPECT_THAT((std::vector{t->h, t->nleft, t->nright}), ElementsAre(c.root, c.left, c.right));
    }
}

TEST(DtableTest, AssertsWhatNodesMustBe) {
    FailedAssertions failed;
    Twins empty;
    empty.put({0, nullptr}, nullptr);
    Dtable_free(nullptr);
    EXPECT_THAT(failed.take(), ElementsAre("t && k && v && *k", "t"));
    struct {
        const char* condition;
        int put;
        void (*spoil)(Dtable* root);
    } const cases[] = {
        {"t->nleft == Dtable_nEntries(t->left)", 30, [](Dtable* t) { t->nleft = 2; }},
        {"t->k", 30, [](Dtable* t) { t->k = nullptr; }},
        {"t->v", 30, [](Dtable* t) { t->v = nullptr; }},
        {"t->left ? t->left->h <= t->h : 1", 30, [](Dtable* t) { t->left->h = 21; }},
        {"t->right ? t->right->h >= t->h : 1", 10, [](Dtable* t) { t->right->h = 19; }},
        {"t->nright == Dtable_nEntries(t->right)", 30, [](Dtable* t) { t->right->nright = 1; }}};
    for (const auto& c : cases) {
        Twins twins;
        for (const int h : {20, 10, 30}) twins.put({h, cells}, cells);
        c.spoil(twins.table);
        twins.put({c.put, cells}, cells);
        EXPECT_THAT(failed.take(), ElementsAre(c.condition));
    }
}

TEST(DtableTest, ComparesKeysAndHashesNames) {
    EXPECT_EQ(Dtable_compareStrings("\xff", "a"), 1);
    EXPECT_EQ(Dtable_comparePointers(cells, reinterpret_cast<void*>(UINTPTR_MAX)), -1);
    EXPECT_EQ(hashName("\xe9"), -46);  // 0xffffffe8 is negative: bit 0 set, then doubled
    EXPECT_EQ(hashName("tb.dut.core0.execute.multiplier.product"), -176637906);
    EXPECT_EQ(hashNameFrom(hashName("top.cpu"), ".alu.result"), 24955872);
}

}  // namespace
