// Whole arrays, against elements told one by one.
#include <algorithm>
#include <random>

#include <gmock/gmock.h>

#include "netdb/master_assigns.h"
#include "qkzeft_arrays.h"
#include "tests/base/failed_assertions.h"

namespace {

using testing::ElementsAre;

constexpr uint64_t kUnused = 0xdeadbeefdeadbeef;
const uint64_t kWidths[] = {1,  7,  8,  9,   16,  17,  31,  32,  33,  63, 64,
                            65, 72, 73, 100, 127, 128, 129, 192, 520, 640};

struct TestArray {
    TestArray(uint64_t elementWidth, uint64_t elements) : width(elementWidth), count(elements) {
        for (size_t i = 0; i < (width + 63) / 64; ++i) areas.emplace_back(count * bytes(i));
    }
    size_t bytes(size_t chunk) const {
        const uint64_t rest = width - 64 * chunk;
        return rest > 32 ? 8 : rest > 16 ? 4 : rest > 8 ? 2 : 1;
    }
    void set(size_t chunk, size_t element, uint64_t value) {
        for (size_t i = 0; i < bytes(chunk); ++i, value >>= 8)
            areas[chunk][element * bytes(chunk) + i] = static_cast<unsigned char>(value);
    }
    /// All bytes, those that decide first in front, as unsigned numbers of the same order.
    std::vector<int> byWeight() const {
        std::vector<int> all;
        for (auto e = static_cast<size_t>(count); e-- > 0;)
            for (size_t c = areas.size(); c-- > 0;)
                for (size_t size = bytes(c), i = size; i-- > 0;)
                    all.push_back(areas[c][e * size + i] ^ (i + 1 == size ? 0x80 : 0));
        return all;
    }

    uint64_t width, count;
    std::vector<std::vector<unsigned char>> areas;
};

/// Calls visit with the indexes of as many chunks as an array has.
template <size_t N = 1, class Visit>
auto withChunks(const TestArray& array, const Visit& visit) {
    if constexpr (N < 10)
        if (array.areas.size() != N) return withChunks<N + 1>(array, visit);
    return visit(std::make_index_sequence<N>{});
}

void copy(TestArray& l, TestArray& r, uint64_t handle) {
    withChunks(
        l, [&]<size_t... I>(std::index_sequence<I...>) {
            qk_copy_array(l.width, l.count, kUnused, handle, l.areas[I].data()..., r.width, r.count,
                          kUnused, kUnused, r.areas[I].data()...);
        });
}

int compare(int (*relation)(int, ...), const TestArray& l, const TestArray& r) {
    return withChunks(
        l, [&]<size_t... I>(std::index_sequence<I...>) {
            return relation(1, kUnused, kUnused, l.width, l.count, kUnused, kUnused,
                            l.areas[I].data()..., r.width, r.count, kUnused, kUnused,
                            r.areas[I].data()...);
        });
}

class ArraysTest : public testing::Test {
protected:
    size_t upTo(uint64_t limit) { return static_cast<size_t>(random() % limit); }
    TestArray randomArray(uint64_t width) {
        TestArray array(width, 1 + upTo(upTo(50) ? 20 : 1100));
        for (auto& area : array.areas)
            for (auto& byte : area) byte = static_cast<unsigned char>(random());
        return array;
    }
    void makeList(int capacity) {
        changes.capacity = capacity;
        changes.count = 0;
        changes.list = std::make_unique<uint32_t[]>(static_cast<size_t>(capacity) + 1);
    }
    std::vector<uint32_t> listed() const {
        return {changes.list.get(), changes.list.get() + changes.count};
    }

    std::mt19937_64 random{4711};
    MasterArrayAssign changes;
    const uint64_t handle = reinterpret_cast<uint64_t>(&changes);
};

TEST_F(ArraysTest, CopiesMoveEveryAreaAsAWhole) {
    for (const uint64_t width : kWidths) {
        SCOPED_TRACE(width);
        TestArray from = randomArray(width), to(width, from.count);
        makeList(10);
        copy(to, from, width % 2 ? handle : 0);
        EXPECT_EQ(to.areas, from.areas);
        EXPECT_EQ(changes.count, width % 2 ? 11 : 0);
    }
    char text[] = "abcdefgh";
    qk_copy_array(16, 3, kUnused, 0, text + 2, uint64_t{16}, uint64_t{3}, kUnused, kUnused, text);
    EXPECT_STREQ(text, "ababcdef");
}

TEST_F(ArraysTest, FillsTouchTheirRangeAndListItWhileThereIsRoom) {
    for (int round = 0; round < 2000; ++round) {
        const uint64_t width = kWidths[upTo(std::size(kWidths))];
        TestArray array = randomArray(width), expected = array;
        uint64_t value[10];
        for (uint64_t& chunk : value) chunk = upTo(3) ? random() : upTo(2) * 0x100;
        const uint64_t first = upTo(array.count + 2), last = upTo(array.count + 2);
        const int capacity = static_cast<int>(upTo(20));
        SCOPED_TRACE(testing::Message() << width << " bits, " << first << " to " << last << " of "
                                        << array.count << ", room for 1 and " << capacity);
        makeList(capacity);
        changes.note(7);
        std::vector<uint32_t> numbers{7};
        const uint64_t topMask = width % 64 ? (uint64_t{1} << width % 64) - 1 : ~uint64_t{0};
        for (auto e = static_cast<size_t>(first); e <= last && e < array.count; ++e) {
            for (size_t c = 0; c < array.areas.size(); ++c)
                expected.set(c, e,
                             value[c] & (c + 1 < array.areas.size() ? ~uint64_t{0} : topMask));
            numbers.push_back(static_cast<uint32_t>(e));
        }
        const auto full = static_cast<size_t>(capacity) + 1;
        if (numbers.size() > full) numbers.resize(1), numbers.resize(full);
        withChunks(
            array, [&]<size_t... I>(std::index_sequence<I...>) {
                qk_set_array(first, last, width, array.count, kUnused, handle,
                             array.areas[I].data()..., value[I]...);
            });
        ASSERT_EQ(array.areas, expected.areas);
        ASSERT_EQ(listed(), numbers);
    }
}

TEST_F(ArraysTest, RelationsWeighElementsAndChunks) {
    for (int round = 0; round < 4000; ++round) {
        TestArray l = randomArray(kWidths[upTo(std::size(kWidths))]), r = l;
        for (uint64_t flips = upTo(3); flips > 0; --flips) {  // often of a sign
            auto& area = r.areas[upTo(r.areas.size())];
            area[upTo(area.size())] ^= static_cast<unsigned char>(upTo(2) ? 0x80 : random());
        }
        SCOPED_TRACE(testing::Message() << l.width << " bits, " << l.count << " elements");
        ASSERT_EQ(compare(qk_array_relation_dgtd64, l, r), l.byWeight() > r.byWeight());
        ASSERT_EQ(compare(qk_array_relation_dged64, l, r), l.byWeight() >= r.byWeight());
        auto left = l.areas, right = r.areas;
        if (l.width % 64 == 0)
            for (auto* areas : {&left, &right}) areas->back().resize(static_cast<size_t>(l.count));
        ASSERT_EQ(compare(qk_array_relation_deqd64, l, r), left == right);
    }
}

TEST_F(ArraysTest, FormsThatDoNotAgreeAreTheGeneratorsFault) {
    TestArray a = randomArray(40), shorter(40, a.count - 1), narrower(39, a.count);
    FailedAssertions failed;
    copy(shorter, a, 0);
    copy(narrower, a, 0);
    EXPECT_EQ(narrower.areas, TestArray(39, a.count).areas);
    qk_copy_array(0, 3, kUnused, 0, uint64_t{0}, uint64_t{3}, kUnused, kUnused);
    qk_set_array(0, 2, 0, 3, kUnused, 0);
    EXPECT_EQ(compare(qk_array_relation_deqd64, a, shorter), 0);
    EXPECT_EQ(compare(qk_array_relation_dged64, a, narrower), 0);
    const uint64_t one[] = {1};
    qk_array_relation_deqd64(0, uint64_t{8}, uint64_t{1}, kUnused, kUnused, one, uint64_t{72},
                             uint64_t{1}, kUnused, kUnused, one, one);
    qk_array_relation_dgtd64(2, kUnused, kUnused, uint64_t{8}, uint64_t{1}, kUnused, kUnused, one,
                             uint64_t{8}, uint64_t{1}, kUnused, kUnused, one);
    EXPECT_THAT(failed.take(), ElementsAre("l_elem_count == r_elem_count", "r_wid == l_wid",
                                           "n_chunks > 0", "n_chunks > 0", "l.n_elems == r.n_elems",
                                           "l.ms_chunk_width == r.ms_chunk_width",
                                           "l.n_chunks == r.n_chunks", "no_of_dims == 1"));
}

TEST_F(ArraysTest, WritesAreCheckedAndNoted) {
    makeList(2);
    testing::internal::CaptureStdout();
    EXPECT_EQ(qk_array_write_check_fn(1, "mem", 8, handle, 7), 0);
    EXPECT_EQ(qk_array_write_check_fn(0, "mem", ~0u, handle, 7), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ZEFT: bad index in write to array \"mem\": index is 8, max is 7\n");
    for (const unsigned index : {7u, 0u, 6u, 5u})  // the last finds the list full
        EXPECT_EQ(qk_array_write_check_fn(1, "mem", index, handle, 7), 1);
    EXPECT_THAT(listed(), ElementsAre(7, 0, 6));
    EXPECT_EQ(qk_array_write_check_fn(1, "mem", 7, 0, 7), 1);
    changes.list.reset();
    changes.count = 0;
    EXPECT_EQ(qk_array_write_check_fn(1, "mem", 7, handle, 7), 1);
    EXPECT_EQ(changes.count, 0);
}

}  // namespace
