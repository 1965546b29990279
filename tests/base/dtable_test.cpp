#include "base/dtable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Checks counts and order of a subtree in our own way. @return its depth
int checkTree(const Dtable* t, DtableCompare compare, const Dtable*& previous, int& entries) {
    if (!t) return 0;
    int left = 0, right = 0;
    const int leftDepth = checkTree(t->left, compare, previous, left);
    EXPECT_EQ(t->nleft, left);
    if (previous && previous->h == t->h) {
        EXPECT_LT(compare(previous->k, t->k), 0);
    } else if (previous) {
        EXPECT_LT(previous->h, t->h);
    }
    previous = t;
    const int rightDepth = checkTree(t->right, compare, previous, right);
    EXPECT_EQ(t->nright, right);
    entries = left + right + 1;
    return std::max(leftDepth, rightDepth) + 1;
}

/// A table whose keys are numbers standing in an array, ordered by their addresses.
class Numbers {
public:
    explicit Numbers(int count) : cells(static_cast<size_t>(count)) {
        std::iota(cells.begin(), cells.end(), 0);
    }
    Numbers(const Numbers&) = delete;
    Numbers& operator=(const Numbers&) = delete;
    ~Numbers() { Dtable_free(&root); }

    void put(int number, int32_t h = 0) {
        void* key = &cells[static_cast<size_t>(number)];
        void* value = key;
        Dtable_put(&root, h, &key, &value, Dtable_comparePointers);
    }
    void remove(int number, int32_t h = 0) {
        void* key = &cells[static_cast<size_t>(number)];
        void* value = nullptr;
        Dtable_put(&root, h, &key, &value, Dtable_comparePointers);
    }
    static int numberOf(const Dtable* t) { return *static_cast<int*>(t->k); }
    int depth() const {
        const Dtable* previous = nullptr;
        int entries = 0;
        return checkTree(root, Dtable_comparePointers, previous, entries);
    }
    std::vector<int> inOrder() {
        std::vector<int> found;
        Dtable_map(&root, &found, [](int32_t, void* k, void* v, void* context) {
            static_cast<std::vector<int>*>(context)->push_back(*static_cast<int*>(k));
            return v;
        });
        return found;
    }

    Dtable* root = nullptr;

private:
    std::vector<int> cells;
};

TEST(DtableTest, PutSwapsWhatItIsGivenWithWhatWasStored) {
    char name[] = "name", sameName[] = "name", other[] = "other";
    int first = 1, second = 2;
    struct {
        const char* what;
        void *key, *value, *keyBack, *valueBack, *stored;
    } const steps[] = {
        {"delete what is absent", name, nullptr, name, nullptr, nullptr},
        {"insert", name, &first, nullptr, nullptr, &first},
        {"delete another", other, nullptr, other, nullptr, &first},
        {"replace by an equal key", sameName, &second, name, &first, &second},
        {"replace by the same key", sameName, &first, sameName, &second, &first},
        {"delete", name, nullptr, sameName, &first, nullptr},
    };
    Dtable* table = nullptr;
    for (const auto& step : steps) {
        SCOPED_TRACE(step.what);
        void *key = step.key, *value = step.value;
        Dtable_put(&table, hashName("name"), &key, &value, Dtable_compareStrings);
        EXPECT_EQ(key, step.keyBack);
        EXPECT_EQ(value, step.valueBack);
        EXPECT_EQ(Dtable_get(table, hashName("name"), name, Dtable_compareStrings), step.stored);
        EXPECT_EQ(Dtable_nEntries(table), step.stored ? 1 : 0);
    }
    EXPECT_EQ(table, nullptr);
}

TEST(DtableTest, ThePointerEqualKeyNeedsNoComparison) {
    Numbers numbers(1);
    numbers.put(0);
    const auto never = [](const void*, const void*) {
        ADD_FAILURE();
        return 0;
    };
    EXPECT_EQ(Dtable_get(numbers.root, 0, numbers.root->k, never), numbers.root->v);
}

TEST(DtableTest, SortsBySignedHashThenKey) {
    Numbers numbers(6);
    const int32_t hashes[] = {5, INT32_MIN, 5, 0, INT32_MAX, -1};
    for (const int number : {4, 2, 0, 5, 3, 1}) numbers.put(number, hashes[number]);
    EXPECT_THAT(numbers.inOrder(), ElementsAre(1, 5, 3, 0, 2, 4));
}

TEST(DtableTest, StandardComparisonsGiveASign) {
    struct {
        const char *a, *b;
        int order;
    } const cases[] = {
        {"a", "a", 0}, {"a", "c", -1}, {"c", "a", 1}, {"\xff", "a", 1}, {"", "a", -1}};
    for (const auto& c : cases) EXPECT_EQ(Dtable_compareStrings(c.a, c.b), c.order);
    const char cells[300] = {};
    EXPECT_EQ(Dtable_comparePointers(cells, cells + 299), -1);
    EXPECT_EQ(Dtable_comparePointers(cells + 299, cells), 1);
    EXPECT_EQ(Dtable_comparePointers(cells, cells), 0);
    const auto* const highest = reinterpret_cast<const void*>(UINTPTR_MAX);
    EXPECT_EQ(Dtable_comparePointers(cells, highest), -1);
}

// The weight rule, seen at the root: rebuilt when the side passed through has more than 10 entries
// and at least twice those of the other.
TEST(DtableTest, RebuildsByWeight) {
    struct {
        int puts, root, left, right;
    } const ascending[] = {
        {12, 0, 0, 11},  // no put has found 11 yet
        {13, 5, 5, 7},   // the rebuild of 12 gives the left side 5
        {16, 5, 5, 10},  // 10 is not above 10
        {17, 5, 5, 11},  // found 10
        {18, 8, 8, 9},   // found 11, twice 5: the rebuild of 17
    };
    for (const auto& c : ascending) {
        SCOPED_TRACE(c.puts);
        Numbers up(c.puts);
        for (int i = 0; i < c.puts; ++i) up.put(i);
        EXPECT_EQ(Numbers::numberOf(up.root), c.root);
        EXPECT_EQ(up.root->nleft, c.left);
        EXPECT_EQ(up.root->nright, c.right);
        up.depth();
    }
    Numbers down(20);
    for (int i = 12; i >= 0; --i) down.put(i);
    EXPECT_EQ(Numbers::numberOf(down.root), 6);
    EXPECT_EQ(down.root->nleft, 6);
    EXPECT_EQ(down.root->nright, 6);
    for (int i = 13; i <= 18; ++i) down.put(i);
    EXPECT_EQ(Numbers::numberOf(down.root), 6);
    down.put(19);  // finds 12, exactly twice 6
    EXPECT_EQ(Numbers::numberOf(down.root), 9);
}

TEST(DtableTest, TheNextEntryMovesUpIntoADeletedOne) {
    Numbers numbers(7);
    for (const int number : {2, 1, 6, 3, 5, 4}) numbers.put(number);
    numbers.remove(2);
    EXPECT_EQ(Numbers::numberOf(numbers.root), 3);
    // The node of 3 has only a right side, 5 above 4: it keeps its place and takes in the 4.
    const Dtable* const emptied = numbers.root->right->left;
    EXPECT_EQ(Numbers::numberOf(emptied), 4);
    EXPECT_EQ(Numbers::numberOf(emptied->right), 5);
    numbers.depth();
    EXPECT_THAT(numbers.inOrder(), ElementsAre(1, 3, 4, 5, 6));
}

TEST(DtableTest, AMillionEntriesStayShallow) {
    constexpr int kCount = 1000000;
    std::vector<int> order(kCount);
    std::iota(order.begin(), order.end(), 0);
    for (const bool isShuffled : {false, true}) {
        SCOPED_TRACE(isShuffled ? "shuffled" : "ascending");
        if (isShuffled) std::shuffle(order.begin(), order.end(), std::mt19937(5));
        Numbers numbers(kCount);
        for (const int number : order) numbers.put(number);
        EXPECT_EQ(Dtable_nEntries(numbers.root), kCount);
        EXPECT_LE(numbers.depth(), 45);  // a side holds at most two thirds
    }
}

// A random life beside an ordered map: every operation, many collisions, removal during the walk.
struct Life {
    Life(DtableCompare compareKeys, int32_t (*hashOf)(const std::string&), unsigned seed)
        : compare(compareKeys), hash(hashOf), random(seed) {}
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;
    ~Life() { Dtable_free(&table); }

    using Key = std::pair<int32_t, std::string>;

    void* keptKey(const Key& key) {
        return const_cast<std::string&>(*kept.insert(key.second).first).data();
    }
    Key pick() {
        const std::string text = "n" + std::to_string(random() % 700);
        return {hash(text), text};
    }

    void put(const Key& key, void* newValue) {
        void *k = keptKey(key), *v = newValue;
        Dtable_put(&table, key.first, &k, &v, compare);
        const auto old = expected.find(key);
        const bool wasThere = old != expected.end();
        EXPECT_EQ(v, wasThere ? old->second : nullptr);
        EXPECT_EQ(k == nullptr, newValue && !wasThere);
        if (newValue) {
            expected[key] = newValue;
        } else {
            expected.erase(key);
        }
    }

    struct Walk {
        Life* life;
        std::map<Key, void*>::iterator at;
        uint64_t removedOf10;
    };
    static void* visit(int32_t h, void* k, void* v, void* context) {
        auto& walk = *static_cast<Walk*>(context);
        Life& life = *walk.life;
        if (walk.at == life.expected.end()) {
            ADD_FAILURE() << "an entry too many";
            return v;
        }
        EXPECT_EQ(h, walk.at->first.first);
        EXPECT_EQ(static_cast<char*>(k), walk.at->first.second);
        EXPECT_EQ(v, walk.at->second);
        if (life.random() % 10 < walk.removedOf10) {
            walk.at = life.expected.erase(walk.at);
            return nullptr;
        }
        walk.at->second = life.value();
        return (walk.at++)->second;
    }
    void walk(uint64_t removedOf10) {
        Walk context{this, expected.begin(), removedOf10};
        Dtable_map(&table, &context, visit);
        EXPECT_TRUE(context.at == expected.end());
    }

    void* value() { return &values[random() % std::size(values)]; }

    void check() {
        const Dtable* previous = nullptr;
        int entries = 0;
        checkTree(table, compare, previous, entries);
        EXPECT_EQ(entries, static_cast<int>(expected.size()));
    }

    DtableCompare compare;
    int32_t (*hash)(const std::string&);
    std::mt19937 random;
    Dtable* table = nullptr;
    std::map<Key, void*> expected;
    std::set<std::string> kept;
    char values[64];
};

TEST(DtableTest, BehavesAsAnOrderedMap) {
    int32_t (*const hashes[])(const std::string&) = {
        [](const std::string& text) { return hashName(text.c_str()); },
        [](const std::string&) { return 0; },
        [](const std::string& text) { return text.back() % 3 - 1; },
    };
    for (unsigned seed = 0; seed < 9; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Life life(Dtable_compareStrings, hashes[seed % std::size(hashes)], seed);
        for (int step = 0; step < 6000 && !testing::Test::HasFailure(); ++step) {
            const Life::Key key = life.pick();
            // Growth and decay take turns, so that thin trees meet puts again.
            const bool grows = step / 1500 % 2 == 0;
            life.put(key, life.random() % 10 < (grows ? 8 : 2) ? life.value() : nullptr);
            const Life::Key other = life.pick();
            const auto stored = life.expected.find(other);
            EXPECT_EQ(Dtable_get(life.table, other.first, other.second.c_str(), life.compare),
                      stored == life.expected.end() ? nullptr : stored->second);
            if (step % 50 == 0) life.check();
            if (step % 700 == 0) life.walk(life.random() % 11);
        }
        life.walk(10);
        EXPECT_EQ(life.table, nullptr);
    }
}

TEST(DtableTest, TheCleanUpVisitFreesValues) {
    Numbers keys(50);
    for (int i = 0; i < 50; ++i) keys.put(i);
    Dtable_map(&keys.root, nullptr, [](int32_t, void*, void*, void*) { return std::malloc(8); });
    Dtable_map(&keys.root, nullptr, Dtable_freeValue);
    EXPECT_EQ(keys.root, nullptr);
    Dtable_map(&keys.root, nullptr, Dtable_freeValue);
}

TEST(DtableTest, RefusesANullKeyAndNullTables) {
    FailedAssertions failed;
    Dtable* table = nullptr;
    char cell = 0;
    void *key = nullptr, *value = &cell;
    Dtable_put(&table, 0, &key, &value, Dtable_compareStrings);
    EXPECT_EQ(table, nullptr);
    EXPECT_THAT(failed.take(), ElementsAre("t && k && v && *k"));
    Dtable_free(nullptr);
    EXPECT_THAT(failed.take(), ElementsAre("t"));
    Dtable_free(&table);
    EXPECT_THAT(failed.take(), IsEmpty());
}

TEST(DtableTest, APutChecksTheNodesItPasses) {
    struct {
        const char* condition;
        void (*spoil)(Dtable* root);
    } const cases[] = {
        {"t->nleft == Dtable_nEntries(t->left)", [](Dtable* t) { t->nleft = 2; }},
        {"t->k", [](Dtable* t) { t->k = nullptr; }},
        {"t->v", [](Dtable* t) { t->v = nullptr; }},
        {"t->left ? t->left->h <= t->h : 1", [](Dtable* t) { t->left->h = 21; }},
        // On the way back the count of the side passed through is taken anew.
        {"t->nright == Dtable_nEntries(t->right)", [](Dtable* t) { t->right->nright = 1; }},
    };
    for (const auto& c : cases) {
        Numbers numbers(4);
        for (const int number : {2, 1, 3}) numbers.put(number, number * 10);
        c.spoil(numbers.root);
        FailedAssertions failed;
        numbers.put(3, 30);
        EXPECT_THAT(failed.take(), ElementsAre(c.condition));
    }
    Numbers numbers(4);
    for (const int number : {2, 1, 3}) numbers.put(number, number * 10);
    numbers.root->right->h = 19;
    FailedAssertions failed;
    numbers.put(1, 10);
    EXPECT_THAT(failed.take(), ElementsAre("t->right ? t->right->h >= t->h : 1"));
}

TEST(DtableTest, HashesNames) {
    const struct {
        const char* name;
        int32_t hash;
    } cases[] = {
        {"", 1},
        {"a", (1 ^ 'a') * 2},
        {"ab", 324},
        {"\xe9", -46},  // 0xffffffe8 is negative: bit 0 set, then doubled
        {"top.cpu.alu.result", 24955872},
        {"top.cpu.alu.result[31]", 399293014},
        {"tb.dut.core0.execute.multiplier.product", -176637906},  // wrapped, negative on the way
    };
    for (const auto& c : cases) EXPECT_EQ(hashName(c.name), c.hash) << c.name;
    EXPECT_EQ(hashNameFrom(hashName("top.cpu"), ".alu.result"), hashName("top.cpu.alu.result"));
}

}  // namespace
