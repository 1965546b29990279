#include "netdb/index.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "netdb/store.h"

namespace {

TEST(HashIndexTest, AgreesWithAMultimapUnderInsertsRemovalsAndReplacements) {
    std::mt19937 random(20240607);
    HashIndex index;
    std::multimap<uint32_t, uint32_t> reference;
    uint32_t nextId = 0;
    for (int step = 0; step < 60000; ++step) {
        // Few hashes, so that runs are long and hold equal hashes.
        const auto hash = static_cast<uint32_t>(random() % 700 * (step % 3 == 0 ? 1 : 0x01000193u));
        const auto entry = reference.find(hash);
        if (random() % 100 < 55 || entry == reference.end()) {
            reference.emplace(hash, nextId);
            index.insert(hash, nextId++);
        } else if (random() % 4 == 0) {
            index.replace(hash, entry->second, nextId);
            entry->second = nextId++;
        } else {
            index.remove(hash, entry->second);
            reference.erase(entry);
        }
        if (step % 16 != 0) continue;
        std::multiset<uint32_t> found, expected;
        index.find(hash, [&](uint32_t id) {
            found.insert(id);
            return false;
        });
        const auto [from, to] = reference.equal_range(hash);
        for (auto it = from; it != to; ++it) expected.insert(it->second);
        ASSERT_EQ(found, expected) << "step " << step;
    }
}

TEST(StoreTest, RecordsStayWherePutAndPlacesAreUsedAgain) {
    struct Record {
        uint64_t value;
    };
    Store<Record> store;
    std::vector<Record*> records;
    for (uint32_t i = 0; i < 10000; ++i) {
        uint32_t id;
        records.push_back(store.make(id));
        ASSERT_EQ(id, i);
        ASSERT_EQ(records.back()->value, 0u);
        records.back()->value = i;
    }
    for (uint32_t i = 0; i < 10000; ++i) {
        ASSERT_EQ(store.at(i), records[i]);
        ASSERT_EQ(records[i]->value, i);
    }
    store.release(77);
    uint32_t id;
    EXPECT_EQ(store.make(id), records[77]);
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(records[77]->value, 0u);
}

TEST(TextStoreTest, KeepsTextsOfAllLengthsApart) {
    TextStore store;
    std::map<const char*, std::string> texts;
    std::mt19937 random(5);
    for (int step = 0; step < 5000; ++step) {
        if (step % 3 == 2) {
            auto it = texts.begin();
            std::advance(it, static_cast<long>(random() % texts.size()));
            store.release(it->first);
            texts.erase(it);
        }
        const std::string text(random() % 600, static_cast<char>('a' + step % 26));
        const char* const kept = store.add(text.c_str());
        ASSERT_TRUE(texts.emplace(kept, text).second);
    }
    for (const auto& [kept, text] : texts) ASSERT_EQ(kept, text);
    for (const auto& [kept, text] : texts)
        if (text.size() > 200) store.release(kept);  // long ones have blocks of their own
}

}  // namespace
